#include "servo_model.h"

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

namespace servo_sim {

const uint8_t kRegisterReadCodes[REG_READ_COUNT] = {0x38, 0x3D, 0x3F, 0x50, 0x51, 0x52, 0x53, 0x54};

namespace {

constexpr uint8_t TAG_INFO = 0x8E;
constexpr uint8_t TAG_PARAM_READ = 0x81;
constexpr uint8_t TAG_BLOCK = 0x26; /* also the frame length, 38 */
constexpr uint8_t TAG_REGISTER = 0xAF;
constexpr uint8_t BLOCK_WRITE_COMMAND = 0x40;
constexpr size_t INFO_FRAME_LEN = 30;
constexpr size_t BLOCK_FRAME_LEN = TAG_BLOCK;
constexpr size_t REGISTER_REQUEST_LEN = 10;

const uint8_t kInfoReadRequest[4] = {0x8E, 0x00, 0x00, 0x8E};
const uint8_t kParamReadRequest[4] = {0x81, 0x00, 0x00, 0x81};

/* Random-looking but fixed, so a test can expect them; none is a frame tag or 0x80/0x00. */
const uint8_t kGarbage[5] = {0x5A, 0xC3, 0x17, 0x6D, 0xF0};

/*
 * Factory block, packed by hand from the default of each of the 46 parameters:
 *   0 Gain 65 = 0x41                 1 Brake 50 = 0x32
 *   2,3 PulseMax 2000 = 07 D0        4,5 PulseMiddle 1500 = 05 DC     6,7 PulseMin 1000 = 03 E8
 *   8,9 MaxAngle 3500 = 0D AC        10,11 MidAngle 2048 = 08 00      12,13 MinAngle 596 = 02 54
 *   14 StallTime1 3 = 0x03
 *   15 NULL 13 (0x0F) | StallForce1 1 (0xF0)                       = 0x0D | 0x10 = 0x1D
 *   16 StallForce2 0 (0x0F) | StallForce3 0 (0xF0)                 = 0x00
 *   17,18 SpeedMax 200 = 00 C8
 *   19 Deadband1 3 (0x0F) | Deadband2 6 (0xF0)                     = 0x03 | 0x60 = 0x63
 *   20 Time 5 (0x0F) | NULL 0 (0x10) | PPM/SSR 0 (0x20) | NULL 0 (0xC0) = 0x05
 *   21 POTs/Mag 1 (0x80) | AnalogDelay 100 (0x7F)                  = 0x80 | 0x64 = 0xE4
 *   22 PowerMax 100 = 0x64           23 LoopTime 10 = 0x0A
 *   24 NULL 0 (0x0F) | SlowStart 1 bits 7..4 (0xF0)                = 0x00
 *   25 NULL 0 (0x0F) | SampleFilter 5 (0xF0)                       = 0x50
 *   26 PowerMin 5 (0x0F) | HallLinear 2 (0xF0)                     = 0x05 | 0x20 = 0x25
 *   27 Sensitivity 1 (0x0F) | ArmDir 1 (0x10) | MotorDir 1 (0x20) | NULL 0 (0xC0) = 0x31
 *   28 StallAngle 3 (0x0F) | SlowStart 1 bits 3..0 (0xF0)          = 0x03 | 0x10 = 0x13
 *   29 AnalogAux 12 = 0x0C           30 StallTime2 0 = 0x00           31 StallTime3 0 = 0x00
 *   32 NULL 1 (0x01) | LTR/Release 1 (0x02) | Standard/Rotation 1 (0x04) | Self_recovery 1 (0x08)
 *      | NULL 1 (0xF0)                                             = 0x0F | 0x10 = 0x1F
 *   33 Clamping 72 = 0x48
 *   34 Integral 3 (0x0F) | NULL 1 (0xF0)                           = 0x03 | 0x10 = 0x13
 * A field narrower than a byte holds its value from the mask's lowest set bit up.
 */
const uint8_t kDefaultBlock[35] = {
    0x41, 0x32, 0x07, 0xD0, 0x05, 0xDC, 0x03, 0xE8, 0x0D, 0xAC, 0x08, 0x00, 0x02, 0x54, 0x03, 0x1D, 0x00, 0x00,
    0xC8, 0x63, 0x05, 0xE4, 0x64, 0x0A, 0x00, 0x50, 0x25, 0x31, 0x13, 0x0C, 0x00, 0x00, 0x1F, 0x48, 0x13,
};

/*
 * Register values as read, DATA0 then DATA1, big-endian, per read code:
 *   0x38 OD 1 x 80 = 80, OT 3 x 1000 = 3000      0x3D KP 65, KD 50
 *   0x3F MD 100 x 80 = 8000                        0x50 LP 1000 x 4 = 4000, MP 2000 x 4 = 8000
 *   0x51 LA 596, MA 3500                           0x52 CA 2048
 *   0x53 DZ 3                                      0x54 LS 1 (byte 4), RS 1 (byte 5)
 * What the servo keeps in DATA1 of 0x3F, 0x52 and 0x53 is not used by the tool; it stays 0.
 */
const uint8_t kDefaultRegisters[REG_READ_COUNT][4] = {
    {0x00, 0x50, 0x0B, 0xB8}, {0x00, 0x41, 0x00, 0x32}, {0x1F, 0x40, 0x00, 0x00}, {0x0F, 0xA0, 0x1F, 0x40},
    {0x02, 0x54, 0x0D, 0xAC}, {0x08, 0x00, 0x00, 0x00}, {0x00, 0x03, 0x00, 0x00}, {0x01, 0x01, 0x00, 0x00},
};

/* Where one 16-bit half of a register write lands in the read registers. */
struct WriteTarget {
    int8_t slot;    /* index into kRegisterReadCodes, -1 when the half carries nothing */
    uint8_t offset; /* byte within the four data bytes of that read */
    uint8_t width;  /* 2: the whole 16-bit value; 1: its low byte only */
};

struct RegisterWrite {
    uint8_t code;
    WriteTarget data0;
    WriteTarget data1;
};

constexpr WriteTarget NONE = {-1, 0, 0};

/* Each write code mapped back onto the read code that reports the same value. */
const RegisterWrite kRegisterWrites[] = {
    {0x01, {1, 0, 2}, NONE},      /* KP  -> 0x3D DATA0 */
    {0x05, {1, 2, 2}, NONE},      /* KD  -> 0x3D DATA1 */
    {0x12, {0, 0, 2}, {0, 2, 2}}, /* OD x 80 -> 0x38 DATA0, OT x 1000 -> 0x38 DATA1 */
    {0x18, {2, 0, 2}, NONE},      /* MD x 80 -> 0x3F DATA0 */
    {0x40, NONE, {4, 0, 2}},      /* LA  -> 0x51 DATA0 */
    {0x41, NONE, {4, 2, 2}},      /* MA  -> 0x51 DATA1 */
    {0x42, NONE, {5, 0, 2}},      /* CA  -> 0x52 DATA0 */
    {0x43, NONE, {6, 0, 2}},      /* DZ  -> 0x53 DATA0 */
    {0x44, NONE, {7, 1, 1}},      /* RS  -> 0x54 byte 5 */
    {0x45, NONE, {7, 0, 1}},      /* LS  -> 0x54 byte 4 */
    {0x48, {3, 0, 2}, {3, 2, 2}}, /* LP x 4 -> 0x50 DATA0, MP x 4 -> 0x50 DATA1 */
    {0x46, NONE, NONE},           /* closes every write sequence; carries nothing */
};

uint8_t plain_sum(const uint8_t* data, size_t len) {
    unsigned sum = 0;
    for (size_t i = 0; i < len; ++i)
        sum += data[i];
    return static_cast<uint8_t>(sum);
}

/* Block frames: sum of every byte before the checksum, minus one. */
uint8_t block_checksum(const uint8_t* frame, size_t len_before_checksum) {
    return static_cast<uint8_t>(plain_sum(frame, len_before_checksum) - 1);
}

/* Register frames: plain sum from the length field (byte 2) up to the byte before the checksum. */
uint8_t register_checksum(const uint8_t* frame, size_t len_before_checksum) {
    return plain_sum(frame + 2, len_before_checksum - 2);
}

const char* family_name(Family f) {
    return f == Family::Block ? "block" : "register";
}

bool fault_active(ServoModel& m, FaultKind kind) {
    return m.opt.faults[kind] != FAULT_OFF;
}

/* Uses up one answer of a counted fault. */
void fault_consume(ServoModel& m, FaultKind kind) {
    if (m.opt.faults[kind] > 0) --m.opt.faults[kind];
}

void append_note(std::string& note, const std::string& text) {
    if (!note.empty()) note += ", ";
    note += text;
}

enum class AnswerKind { Info, Block, Register, Plain };

/* Queues an answer, bending it by the active faults. Checksummed answers carry the checksum last. */
void answer(ServoModel& m, std::vector<uint8_t> bytes, AnswerKind kind, uint64_t now_ms, std::vector<Outgoing>& out) {
    if (fault_active(m, FAULT_SILENT)) {
        fault_consume(m, FAULT_SILENT);
        sim_log(m.log, "SILENT %s (answer withheld)", hex_bytes(bytes.data(), bytes.size()).c_str());
        return;
    }
    Outgoing o;
    if (kind == AnswerKind::Info && fault_active(m, FAULT_INFO_0X80)) {
        fault_consume(m, FAULT_INFO_0X80);
        bytes[1] = 0x80;
        bytes[29] = block_checksum(bytes.data(), 29); /* the frame stays well-formed apart from byte 1 */
        append_note(o.note, "info-0x80");
    }
    if ((kind == AnswerKind::Block || kind == AnswerKind::Register) && fault_active(m, FAULT_VALUE)) {
        fault_consume(m, FAULT_VALUE);
        /* The first value: Gain in a block, DATA0's low byte in a register reply. */
        const size_t at = kind == AnswerKind::Block ? 2 : 5;
        ++bytes[at];
        const size_t last = bytes.size() - 1;
        bytes[last] =
            kind == AnswerKind::Block ? block_checksum(bytes.data(), last) : register_checksum(bytes.data(), last);
        append_note(o.note, "value");
    }
    if (kind != AnswerKind::Plain && fault_active(m, FAULT_CHECKSUM)) {
        fault_consume(m, FAULT_CHECKSUM);
        ++bytes.back(); /* for block frames this is the plain sum, the likeliest slip */
        append_note(o.note, "checksum");
    }
    if (fault_active(m, FAULT_GARBAGE)) {
        fault_consume(m, FAULT_GARBAGE);
        bytes.insert(bytes.begin(), kGarbage, kGarbage + sizeof kGarbage);
        append_note(o.note, "garbage");
    }
    o.due_ms = now_ms;
    if (fault_active(m, FAULT_LATE)) {
        fault_consume(m, FAULT_LATE);
        o.due_ms += m.opt.late_ms;
        append_note(o.note, "late " + std::to_string(m.opt.late_ms) + " ms");
    }
    o.bytes = std::move(bytes);
    out.push_back(std::move(o));
}

void log_rx(ServoModel& m, const std::vector<uint8_t>& frame, const char* note) {
    if (note)
        sim_log(m.log, "RX %s (%s)", hex_bytes(frame.data(), frame.size()).c_str(), note);
    else
        sim_log(m.log, "RX %s", hex_bytes(frame.data(), frame.size()).c_str());
}

void flush_stray(ServoModel& m) {
    if (m.stray.empty()) return;
    log_rx(m, m.stray, "stray");
    m.stray.clear();
}

const char* ignored_note(const ServoModel& m) {
    return m.opt.family == Family::Block ? "ignored by a block-family servo" : "ignored by a register-family servo";
}

void handle_info_read(ServoModel& m, const std::vector<uint8_t>& frame, uint64_t now, std::vector<Outgoing>& out) {
    if (m.opt.family != Family::Block) {
        log_rx(m, frame, ignored_note(m));
        return;
    }
    log_rx(m, frame, nullptr);
    answer(m, std::vector<uint8_t>(m.info.begin(), m.info.end()), AnswerKind::Info, now, out);
}

void handle_info_write(ServoModel& m, const std::vector<uint8_t>& frame, uint64_t now, std::vector<Outgoing>& out) {
    if (frame[INFO_FRAME_LEN - 1] != block_checksum(frame.data(), INFO_FRAME_LEN - 1)) {
        log_rx(m, frame, "bad checksum, dropped");
        return;
    }
    if (m.opt.family != Family::Block) {
        log_rx(m, frame, ignored_note(m));
        return;
    }
    log_rx(m, frame, nullptr);
    std::copy(frame.begin(), frame.end(), m.info.begin());
    std::string type(reinterpret_cast<const char*>(&frame[1]), 20);
    std::string date(reinterpret_cast<const char*>(&frame[21]), 8);
    sim_log(m.log, "STORE info type=[%s] date=%s-%s-%s", type.c_str(), date.substr(0, 4).c_str(),
            date.substr(4, 2).c_str(), date.substr(6, 2).c_str());
    answer(m, {m.opt.info_ack}, AnswerKind::Plain, now, out);
}

void handle_param_read(ServoModel& m, const std::vector<uint8_t>& frame, uint64_t now, std::vector<Outgoing>& out) {
    if (m.opt.family != Family::Block) {
        log_rx(m, frame, ignored_note(m));
        return;
    }
    log_rx(m, frame, nullptr);
    std::vector<uint8_t> reply;
    reply.reserve(BLOCK_FRAME_LEN);
    reply.push_back(TAG_BLOCK);
    reply.push_back(BLOCK_WRITE_COMMAND); /* the servo mirrors the byte the PC writes with */
    reply.insert(reply.end(), m.block.begin(), m.block.end());
    reply.push_back(block_checksum(reply.data(), reply.size()));
    answer(m, std::move(reply), AnswerKind::Block, now, out);
}

void handle_block_frame(ServoModel& m, const std::vector<uint8_t>& frame, uint64_t now, std::vector<Outgoing>& out) {
    if (frame[BLOCK_FRAME_LEN - 1] != block_checksum(frame.data(), BLOCK_FRAME_LEN - 1)) {
        log_rx(m, frame, "bad checksum, dropped");
        return;
    }
    if (m.opt.family != Family::Block) {
        log_rx(m, frame, ignored_note(m));
        return;
    }
    if (frame[1] != BLOCK_WRITE_COMMAND) {
        log_rx(m, frame, "not a write command, ignored");
        return;
    }
    log_rx(m, frame, nullptr);
    std::copy(frame.begin() + 2, frame.begin() + 2 + 35, m.block.begin());
    sim_log(m.log, "STORE block %s", hex_bytes(m.block.data(), m.block.size()).c_str());
    answer(m, {0x80, 0x80, 0x80, 0x80}, AnswerKind::Plain, now, out);
}

void put_half(ServoModel& m, const WriteTarget& t, uint16_t value) {
    if (t.slot < 0) return;
    uint8_t* data = m.regs[t.slot];
    if (t.width == 2) {
        data[t.offset] = static_cast<uint8_t>(value >> 8);
        data[t.offset + 1] = static_cast<uint8_t>(value);
    } else {
        data[t.offset] = static_cast<uint8_t>(value);
    }
}

void handle_register_frame(ServoModel& m, const std::vector<uint8_t>& frame, uint64_t now, std::vector<Outgoing>& out) {
    if (frame[9] != register_checksum(frame.data(), 9)) {
        log_rx(m, frame, "bad checksum, dropped");
        return;
    }
    if (m.opt.family != Family::Register) {
        log_rx(m, frame, ignored_note(m));
        return;
    }
    const uint8_t code = frame[4];
    for (int slot = 0; slot < REG_READ_COUNT; ++slot) {
        if (kRegisterReadCodes[slot] != code) continue;
        log_rx(m, frame, nullptr);
        /* Byte 1 is free in a reply; the code makes replies easy to tell apart in a trace. */
        std::vector<uint8_t> reply = {TAG_REGISTER, code, 0x00, 0x09};
        reply.insert(reply.end(), m.regs[slot], m.regs[slot] + 4);
        reply.push_back(register_checksum(reply.data(), reply.size()));
        answer(m, std::move(reply), AnswerKind::Register, now, out);
        return;
    }
    for (const RegisterWrite& w : kRegisterWrites) {
        if (w.code != code) continue;
        if (w.data0.slot < 0 && w.data1.slot < 0) {
            log_rx(m, frame, "end of write sequence");
            return;
        }
        log_rx(m, frame, nullptr);
        const uint16_t data0 = static_cast<uint16_t>(frame[5] << 8 | frame[6]);
        const uint16_t data1 = static_cast<uint16_t>(frame[7] << 8 | frame[8]);
        put_half(m, w.data0, data0);
        put_half(m, w.data1, data1);
        const int slot = w.data0.slot >= 0 ? w.data0.slot : w.data1.slot;
        sim_log(m.log, "STORE register %02X DATA0=%u DATA1=%u -> read %02X = %s", code, data0, data1,
                kRegisterReadCodes[slot], hex_bytes(m.regs[slot], 4).c_str());
        return; /* register writes get no answer */
    }
    log_rx(m, frame, "unknown register code, ignored");
}

/* Frame length the partial frame is heading for, or 0 when its bytes so far already rule it out. */
size_t expected_length(const std::vector<uint8_t>& p) {
    const size_t n = p.size();
    switch (p[0]) {
    case TAG_PARAM_READ:
        return memcmp(p.data(), kParamReadRequest, n) == 0 ? sizeof kParamReadRequest : 0;
    case TAG_INFO:
        /* 8E 00 00 8E is the read request; anything else starting with 0x8E is a 30-byte info write. */
        if (n <= 4 && memcmp(p.data(), kInfoReadRequest, n) == 0) return sizeof kInfoReadRequest;
        return INFO_FRAME_LEN;
    case TAG_BLOCK:
        return BLOCK_FRAME_LEN;
    case TAG_REGISTER:
        if (n >= 2 && p[1] != 0xFA) return 0;
        if (n >= 3 && p[2] != 0x00) return 0;
        if (n >= 4 && p[3] != REGISTER_REQUEST_LEN) return 0;
        return REGISTER_REQUEST_LEN;
    default:
        return 0;
    }
}

bool is_frame_start(uint8_t b) {
    return b == TAG_INFO || b == TAG_PARAM_READ || b == TAG_BLOCK || b == TAG_REGISTER;
}

void complete_frame(ServoModel& m, const std::vector<uint8_t>& frame, uint64_t now, std::vector<Outgoing>& out) {
    switch (frame[0]) {
    case TAG_PARAM_READ:
        handle_param_read(m, frame, now, out);
        break;
    case TAG_INFO:
        if (frame.size() == sizeof kInfoReadRequest)
            handle_info_read(m, frame, now, out);
        else
            handle_info_write(m, frame, now, out);
        break;
    case TAG_BLOCK:
        handle_block_frame(m, frame, now, out);
        break;
    default:
        handle_register_frame(m, frame, now, out);
        break;
    }
}

void take_byte(ServoModel& m, uint8_t b, uint64_t now, std::vector<Outgoing>& out);

/* The partial frame went wrong: its first byte was stray, the rest may still hold a frame start. */
void resync(ServoModel& m, uint64_t now, std::vector<Outgoing>& out) {
    std::vector<uint8_t> rest(m.partial.begin() + 1, m.partial.end());
    m.stray.push_back(m.partial[0]);
    m.partial.clear();
    for (uint8_t b : rest)
        take_byte(m, b, now, out);
}

void take_byte(ServoModel& m, uint8_t b, uint64_t now, std::vector<Outgoing>& out) {
    if (m.partial.empty()) {
        if (!is_frame_start(b)) {
            m.stray.push_back(b);
            return;
        }
    }
    m.partial.push_back(b);
    const size_t want = expected_length(m.partial);
    if (want == 0) {
        resync(m, now, out);
        return;
    }
    if (m.partial.size() < want) return;
    std::vector<uint8_t> frame;
    frame.swap(m.partial);
    flush_stray(m); /* so the log keeps wire order: what went before the frame, then the frame */
    complete_frame(m, frame, now, out);
}

} // namespace

void model_init(ServoModel& m, const SimOptions& opt, FILE* log) {
    m = ServoModel{};
    m.opt = opt;
    m.log = log;
    memcpy(m.block.data(), kDefaultBlock, sizeof kDefaultBlock);
    memcpy(m.regs, kDefaultRegisters, sizeof kDefaultRegisters);
    const char* type = "SIM-BLOCK-01";
    m.info[0] = TAG_INFO;
    memset(&m.info[1], ' ', 20);
    memcpy(&m.info[1], type, strlen(type));
    memcpy(&m.info[21], "20260115", 8);
    m.info[29] = block_checksum(m.info.data(), 29);

    std::string faults;
    for (int k = 0; k < FAULT_KIND_COUNT; ++k) {
        if (opt.faults[k] == FAULT_OFF) continue;
        if (!faults.empty()) faults += ' ';
        faults += fault_name(k);
        if (opt.faults[k] > 0) faults += ':' + std::to_string(opt.faults[k]);
    }
    sim_log(log, "START family=%s echo=%s faults=%s late-ms=%u info-ack=%02X", family_name(opt.family),
            opt.echo ? "on" : "off", faults.empty() ? "none" : faults.c_str(), opt.late_ms, opt.info_ack);
}

void model_receive(ServoModel& m, const uint8_t* data, size_t len, uint64_t now_ms, std::vector<Outgoing>& out) {
    if (len == 0) return;
    model_expire(m, now_ms);
    m.last_rx_ms = now_ms;
    for (size_t i = 0; i < len; ++i) {
        if (m.opt.echo) {
            /* The adapter returns each byte as it passes, ahead of anything the servo says. */
            if (out.empty() || !out.back().is_echo || out.back().due_ms != now_ms) {
                Outgoing echo;
                echo.due_ms = now_ms;
                echo.is_echo = true;
                out.push_back(std::move(echo));
            }
            out.back().bytes.push_back(data[i]);
        }
        take_byte(m, data[i], now_ms, out);
    }
    flush_stray(m);
}

void model_expire(ServoModel& m, uint64_t now_ms) {
    if (m.partial.empty() || now_ms - m.last_rx_ms < FRAME_GAP_MS) return;
    log_rx(m, m.partial, "incomplete, dropped");
    m.partial.clear();
}

uint64_t model_partial_deadline(const ServoModel& m) {
    return m.partial.empty() ? 0 : m.last_rx_ms + FRAME_GAP_MS;
}

const char* fault_name(int kind) {
    static const char* const names[FAULT_KIND_COUNT] = {"checksum", "silent",    "late",
                                                         "garbage",  "info-0x80", "value"};
    return kind >= 0 && kind < FAULT_KIND_COUNT ? names[kind] : "?";
}

bool fault_parse(const char* text, SimOptions& opt) {
    const char* colon = strchr(text, ':');
    const size_t name_len = colon ? static_cast<size_t>(colon - text) : strlen(text);
    int count = FAULT_ALWAYS;
    if (colon) {
        char* end = nullptr;
        const long n = strtol(colon + 1, &end, 10);
        if (end == colon + 1 || *end != '\0' || n < 1 || n > 1000000) return false;
        count = static_cast<int>(n);
    }
    for (int k = 0; k < FAULT_KIND_COUNT; ++k) {
        const char* name = fault_name(k);
        if (strlen(name) == name_len && strncmp(name, text, name_len) == 0) {
            opt.faults[k] = count;
            return true;
        }
    }
    return false;
}

void sim_log(FILE* log, const char* fmt, ...) {
    if (!log) return;
    va_list ap;
    va_start(ap, fmt);
    vfprintf(log, fmt, ap);
    va_end(ap);
    fputc('\n', log);
    fflush(log);
}

std::string hex_bytes(const uint8_t* data, size_t len) {
    static const char digits[] = "0123456789ABCDEF";
    std::string s;
    s.reserve(len * 3);
    for (size_t i = 0; i < len; ++i) {
        if (i) s += ' ';
        s += digits[data[i] >> 4];
        s += digits[data[i] & 0x0F];
    }
    return s;
}

} // namespace servo_sim
