#include "cli/cli_servo.h"

#include "cli/cli_platform.h"
#include "cli/cli_session.h"
#include "common/clock.h"
#include "params/panel_fields.h"
#include "params/panel_model.h"
#include "params/param_files.h"
#include "params/param_values.h"
#include "params/register_family.h"
#include "protocol/info_transaction.h"
#include "protocol/param_actions.h"
#include "protocol/param_transaction.h"
#include "protocol/protocol_state.h"
#include "serial/Serial.h"
#include "serial/comHandle.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr uint32_t LOOP_TICK_MS = 5; /* as the window's timer */

/* Names of the sixteen entries in PanelEntry order, then the direction box. */
const char* const PANEL_NAMES[PANEL_ENTRY_COUNT] = {
    "MinAngle", "MaxAngle", "MidAngle", "MinPulse", "MaxPulse", "Deadband", "Gain",   "Damping",
    "MaxPower", "Time1",    "Power1",   "Time2",    "Power2",   "Time3",    "Power3", "SoftStart",
};
constexpr const char* DIRECTION_NAME = "Inversion";
constexpr int32_t STALL_TIME_SHOWN = 100; /* rows store units of 100 ms, the panel shows ms */

/* The entries a complete register-family read fills, one reply or two per entry. */
constexpr PanelEntry REGISTER_READ_ENTRIES[] = {
    PanelEntry::Stall1Power, PanelEntry::Stall1Time, PanelEntry::Gain,     PanelEntry::Damping,
    PanelEntry::OutputPower, PanelEntry::MinPulse,   PanelEntry::MaxPulse, PanelEntry::MinAngle,
    PanelEntry::MaxAngle,    PanelEntry::MidAngle,   PanelEntry::Deadband, PanelEntry::SoftStart,
};

bool reached(uint32_t now, uint32_t t) {
    return static_cast<int32_t>(now - t) >= 0;
}

/* Pumps the loop while busy() holds. The time-out counts from `since`, or from the last request
 * a sequencing timer sent after it. False on time-out. */
bool wait_while(bool (*busy)(), uint32_t since, uint32_t timeout_ms) {
    for (;;) {
        if (!busy()) return true;
        const uint32_t last = session_last_timer_ms();
        const uint32_t from = reached(last, since) ? last : since;
        const uint32_t elapsed = clock_ms32() - from;
        if (elapsed >= timeout_ms) return false;
        const uint32_t left = timeout_ms - elapsed;
        session_pump(left < LOOP_TICK_MS ? left : LOOP_TICK_MS);
    }
}

bool timers_busy() {
    return session_timers_running();
}
bool info_busy() {
    return protocol_state().mode == MODE_READ_INFO || protocol_state().mode == MODE_WRITE_INFO;
}
bool read_busy() {
    return protocol_state().mode == MODE_READ_PARAMS;
}
bool block_write_busy() {
    return protocol_state().mode == MODE_WRITE_PARAMS && protocol_state().block_write_pending == WRITE_PENDING_BLOCK;
}

/* The register read requests go 10 ms apart, and each one sent enters the parser's echo table:
 * a reply parsed after the next request went out loses its first byte to that request's echo
 * and the read is lost. So the next request waits for the reply to the last one, up to half the
 * time an answer may take (a reply stuck for good then ends the read as refused, not as silent),
 * unless the read has ended. */
bool register_reply_in() {
    return protocol_state().mode != MODE_READ_PARAMS || protocol_state().read_cache_count >= protocol_state().reg_read_counter;
}

/* Received-byte count that the echo of a register write sequence reaches. */
uint64_t g_echo_target = 0;
bool echo_pending() {
    return session_bytes_received() < g_echo_target;
}

/* Lets a sequence still running (the register requests after a block-family read) end first. */
void settle() {
    while (session_timers_running())
        session_pump(LOOP_TICK_MS);
}

std::string no_answer_text(uint32_t timeout_ms) {
    return "No answer from the servo within " + std::to_string(timeout_ms) + " ms";
}
const char* const REFUSED_TEXT = "The servo's answer was refused (bad checksum or length)";

/* An information command under way: ends by the reply, or by the window's own time-out check
 * once servo_cli's time-out has passed (that check needs its 200 ms at least). */
Outcome finish_info(size_t mark, uint32_t timeout_ms) {
    const uint32_t since = clock_ms32();
    if (!wait_while(info_busy, since, timeout_ms)) {
        while (info_busy() && info_transaction_check_timeout() == 0)
            session_pump(LOOP_TICK_MS);
    }
    if (session_prompt_since(mark)) return {};
    if (session_error_since(mark) != nullptr) return {CLI_NO_ANSWER, ""};
    return {CLI_NO_ANSWER, REFUSED_TEXT};
}

uint16_t word_at(const uint8_t* bytes) {
    return static_cast<uint16_t>(bytes[0] << 8 | bytes[1]);
}

/* The register-family values on the panel as the servo is meant to hold them afterwards. */
void register_words_from_panel(uint16_t* words) {
    for (int v = 0; v < REG_VALUE_COUNT; ++v) {
        const int32_t shown = register_value_shown(v);
        if (v == REG_LS)
            words[v] = static_cast<uint16_t>(shown & 0xFF); /* the servo keeps one byte */
        else
            words[v] = static_cast<uint16_t>(static_cast<uint32_t>(register_value_wire(v, shown)) & 0xFFFFu);
    }
}

/* The register-family values as the replies of the last read reported them. */
void register_words_from_replies(uint16_t* words) {
    for (int v = 0; v < REG_VALUE_COUNT; ++v) {
        const RegisterFamilyValue& r = register_family_values[v];
        const uint8_t* cached = protocol_state().ReadCacheBuff[r.read_step] + r.read_byte;
        words[v] = r.single_byte ? cached[0] : word_at(cached); /* the last reply carries bytes, not words */
    }
}

const char* row_name(int row, std::string& buf) {
    for (int e = 0; e < PANEL_ENTRY_COUNT; ++e)
        if (panel_entry_row(static_cast<PanelEntry>(e)) == row) return PANEL_NAMES[e];
    if (row == PARAM_ARM_DIR) return DIRECTION_NAME;
    const char* name = parameterTable[row].name;
    if (strcmp(name, "NULL") != 0) return name;
    buf = "NULL[" + std::to_string(row) + "]"; /* unnamed register slots, told apart by row */
    return buf.c_str();
}

bool is_stall_time_row(int row) {
    return row == PARAM_STALL_TIME1 || row == PARAM_STALL_TIME2 || row == PARAM_STALL_TIME3;
}

/* Temporary name beside path keeping its extension, so that the window's extension rule sees
 * the same ending. */
std::string temp_beside(const std::string& path) {
    const size_t slash = path.find_last_of('/');
    const size_t dot = path.find_last_of('.');
    const std::string ext = dot != std::string::npos && (slash == std::string::npos || dot > slash) ? path.substr(dot)
                                                                                                    : "";
    return path + "." + std::to_string(cli_process_id()) + ".part" + ext;
}

/* Runs the window's save with the dialog answering a temporary name, then puts the file in
 * place; on failure nothing is left behind. */
Outcome save_through_window(const char* path) {
    const std::string temp = temp_beside(path);
    session_set_dialog_path(temp.c_str());
    const size_t mark = session_mark();
    const int r = param_action_save();
    session_set_dialog_path(nullptr);
    session_replace_text(mark, temp, path);
    if (r != PARAM_FILE_OK) {
        std::remove(temp.c_str());
        return {CLI_BAD_FILE, ""};
    }
    if (rename(temp.c_str(), path) != 0) {
        std::remove(temp.c_str());
        return {CLI_BAD_FILE, std::string("Cannot write ") + path};
    }
    return {};
}

/* Shows the factory defaults packed as a block, so that a file holding only the register
 * family's values finds every other setting at its default. */
void show_default_block() {
    params_set_array(params_state().defaultValues, PARAM_COUNT);
    params_prepare_write(static_cast<int>(sizeof params_state().defaultValues));
    uint8_t block[PARAM_BLOCK_BYTES];
    memcpy(block, params_state().parmeterBuff, sizeof block);
    params_show_block(block);
}

} // namespace

const char* family_name(Family family) {
    switch (family) {
    case Family::Block:
        return "block";
    case Family::Register:
        return "register";
    default:
        return "none";
    }
}

void servo_fresh_start() {
    session_timers_clear();
    protocol_reset();
    params_reset();
    params_load_defaults();
    params_startup_registers();
    panel_model_reset();
}

std::vector<std::string> servo_discover_ports() {
    discover_ports();
    std::vector<std::string> ports;
    for (int i = 0; i < serial_port_table().portCount; ++i)
        ports.push_back(serial_port_table().portNames[i]);
    return ports;
}

void servo_hot_plug_check() {
    hot_plug_check();
}

std::string servo_port_name() {
    const int i = port_list_selected();
    return serial_ports_state().isSerialOpen == 1 && i >= 0 && i < serial_port_table().portCount ? serial_port_table().portNames[i] : "";
}

Outcome servo_open(const char* path) {
    if (SerialOpen(path) == PORT_HANDLE_NONE) return {CLI_NO_PORT, std::string("Cannot open ") + path};
    serial_ports_set_open(1);
    return {};
}

void servo_close() {
    SerialClose();
    serial_ports_set_open(0);
}

bool servo_port_open() {
    return serial_ports_state().isSerialOpen == 1;
}

Outcome servo_info_read(uint32_t timeout_ms) {
    settle();
    const size_t mark = session_mark();
    if (info_transaction_read() != INFO_SENT) return {CLI_NO_PORT, ""};
    return finish_info(mark, timeout_ms);
}

Outcome servo_info_write(const char* type, const char* year, const char* month, const char* day,
                         uint32_t timeout_ms) {
    settle();
    session_info_set(InfoField::Type, type);
    session_info_set(InfoField::Year, year);
    session_info_set(InfoField::Month, month);
    session_info_set(InfoField::Day, day);
    const size_t mark = session_mark();
    const int r = info_transaction_write();
    if (r == INFO_PORT_CLOSED) return {CLI_NO_PORT, ""};
    if (r != INFO_SENT) return {CLI_USAGE, ""};
    return finish_info(mark, timeout_ms);
}

Outcome servo_params_read(uint32_t timeout_ms, ServoImage* read) {
    settle();
    const size_t mark = session_mark();
    panel_model_clear_writes();
    if (param_transaction_read() != PARAM_CMD_STARTED) return {CLI_NO_ANSWER, "The read could not be started"};
    session_set_timer_gate(register_reply_in, timeout_ms / 2);
    const bool answered = wait_while(read_busy, clock_ms32(), timeout_ms);
    session_set_timer_gate(nullptr, 0);
    if (!answered) return {CLI_NO_ANSWER, no_answer_text(timeout_ms)};
    if (!session_prompt_since(mark)) return {CLI_NO_ANSWER, REFUSED_TEXT};

    ServoImage image;
    image.family = params_family();
    if (image.family == Family::Register) {
        /* A bad last reply still ends the read with success: every entry must have been filled. */
        for (PanelEntry e : REGISTER_READ_ENTRIES)
            if (panel_model_writes(e) == 0) return {CLI_NO_ANSWER, REFUSED_TEXT};
        register_words_from_replies(image.words);
    } else {
        memcpy(image.block, params_state().parmeterBuff, sizeof image.block);
    }
    if (read != nullptr) *read = image;
    return {};
}

Outcome servo_params_write(uint32_t timeout_ms, ServoImage* expected) {
    settle();
    ServoImage image;
    image.family = params_family();
    if (image.family == Family::Register) register_words_from_panel(image.words);
    const size_t mark = session_mark();
    const int r = param_transaction_write();
    if (r == PARAM_CMD_NO_SOURCE) return {CLI_USAGE, ""};
    if (r == PARAM_CMD_STALL_TIME) return {CLI_BAD_FILE, ""};
    if (r != PARAM_CMD_STARTED) return {CLI_NO_ANSWER, "The write could not be started"};
    const uint32_t since = clock_ms32();

    if (image.family == Family::Block) {
        memcpy(image.block, protocol_state().block_frame + 2, sizeof image.block); /* after tag and command */
        if (!wait_while(block_write_busy, since, timeout_ms)) return {CLI_NO_ANSWER, no_answer_text(timeout_ms)};
    } else {
        /* Twelve frames 50 ms apart; the servo does not answer them. Their echo is waited for
         * (as long as an answer would be), so that none of it reaches the next command's parser:
         * in a read, the echo of a register frame reads as a reply of the wrong length. */
        const uint64_t received = session_bytes_received();
        const uint32_t sequence_ms = (FRAME_REGISTER_WRITE_FRAMES + 1) * REG_WRITE_PERIOD_MS;
        if (!wait_while(timers_busy, since, sequence_ms + timeout_ms))
            return {CLI_NO_ANSWER, "The register write did not end"};
        g_echo_target = received + FRAME_REGISTER_WRITE_FRAMES * FRAME_REGISTER_REQUEST_LEN;
        wait_while(echo_pending, clock_ms32(), timeout_ms); /* a link without echo just waits */
    }
    if (!session_prompt_since(mark)) return {CLI_NO_ANSWER, REFUSED_TEXT};
    if (expected != nullptr) *expected = image;
    return {};
}

void servo_params_expected(ServoImage* expected) {
    ServoImage image;
    image.family = params_family();
    if (image.family == Family::Block) {
        getParametersFromUI();
        params_prepare_write(static_cast<int>(sizeof(int32_t)) * PARAM_COUNT); /* as the write packs */
        memcpy(image.block, params_state().parmeterBuff, sizeof image.block);
    } else if (image.family == Family::Register) {
        register_words_from_panel(image.words);
    }
    if (expected != nullptr) *expected = image;
}

std::vector<FieldDiff> servo_compare(const ServoImage& expected, const ServoImage& read) {
    std::vector<FieldDiff> diffs;
    if (expected.family != read.family) {
        diffs.push_back({"family", static_cast<int64_t>(expected.family), static_cast<int64_t>(read.family)});
        return diffs;
    }
    if (expected.family == Family::Register) {
        for (int line = 0; line < REG_FILE_LINES; ++line) { /* file order, by the file's keys */
            const int v = register_value_at_line(line);
            if (v != REG_VALUE_NONE && expected.words[v] != read.words[v])
                diffs.push_back({register_file_key(line), expected.words[v], read.words[v]});
        }
        return diffs;
    }
    for (int row = 0; row < PARAM_COUNT; ++row) {
        int64_t e = params_unpack_value(expected.block, row);
        int64_t r = params_unpack_value(read.block, row);
        if (e == r) continue;
        if (is_stall_time_row(row)) {
            e *= STALL_TIME_SHOWN;
            r *= STALL_TIME_SHOWN;
        }
        std::string buf;
        diffs.push_back({row_name(row, buf), e, r});
    }
    if (diffs.empty()) { /* bits no row reads: told by byte */
        for (int b = 0; b < PARAM_BLOCK_BYTES; ++b)
            if (expected.block[b] != read.block[b])
                diffs.push_back({"byte" + std::to_string(b), expected.block[b], read.block[b]});
    }
    return diffs;
}

Outcome params_file_import(const char* path) {
    const size_t mark = session_mark();
    panel_model_clear_writes();
    const int r = params_import_path(path);
    const size_t shown = session_mark() - mark;
    if (r != PARAM_FILE_OK || shown != 1 || panel_model_refusals() != 0) return {CLI_BAD_FILE, ""};
    return {};
}

Family params_family() {
    switch (params_state().parameterSource) {
    case PARAM_SOURCE_BLOCK:
        return Family::Block;
    case PARAM_SOURCE_REGISTER:
        return Family::Register;
    default:
        return Family::None;
    }
}

Outcome params_file_save(const char* path) {
    return save_through_window(path);
}

Outcome params_file_convert(const char* in, const char* out, Family* from, std::vector<std::string>* not_carried) {
    show_default_block();
    const Outcome imported = params_file_import(in);
    if (imported.code != CLI_OK) return imported;
    const Family family = params_family();
    if (from != nullptr) *from = family;
    std::vector<std::string> lost;
    if (family == Family::Block) {
        for (int row = 0; row < PARAM_COUNT; ++row) {
            std::string buf;
            const char* name = row_name(row, buf);
            bool carried = row == PARAM_ARM_DIR; /* RS */
            for (PanelEntry e : REGISTER_READ_ENTRIES)
                carried = carried || panel_entry_row(e) == row;
            if (!carried) lost.push_back(name);
        }
        params_set_source(PARAM_SOURCE_REGISTER); /* saved as the register family's file */
    } else {
        lost.push_back("LD");
        params_set_source(PARAM_SOURCE_BLOCK);
    }
    if (not_carried != nullptr) *not_carried = lost;
    return save_through_window(out);
}

std::vector<PanelValue> panel_values() {
    std::vector<PanelValue> values;
    for (int e = 0; e < PANEL_ENTRY_COUNT; ++e)
        values.push_back({PANEL_NAMES[e], panel_get_int(static_cast<PanelEntry>(e))});
    values.push_back({DIRECTION_NAME, panel_get_checked(PanelCheck::Direction) ? 1 : 0});
    return values;
}
