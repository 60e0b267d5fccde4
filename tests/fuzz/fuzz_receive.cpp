/* The receive side under a fuzzed session: bytes reach the parser through the receive ring in
 * chunks of any size, between the commands a user gives (information and parameter reads and
 * writes), the ticks that run the register sequencers and the information time-out, and edits of
 * the panel and the information fields. After every step the protocol's guarantees must hold;
 * after the input, a clean information read and a clean parameter read must still succeed. */
#include "common/clock.h"
#include "common/lang.h"
#include "params/panel_fields.h"
#include "params/param_values.h"
#include "protocol/info_transaction.h"
#include "protocol/param_transaction.h"
#include "protocol/protocol_state.h"
#include "serial/Serial.h"
#include "serial/comHandle.h"
#include "serial/rx_ring.h"
#include "tests/fakes/core/fake_info_fields.h"
#include "tests/fakes/core/fake_panel.h"
#include "tests/fakes/core/fake_protocol_timers.h"
#include "tests/fuzz/fuzz_support.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

/* Frames as the servo and the adapter put them on the wire, written from the frame layouts. */
const Bytes INFO_REQUEST = {0x8E, 0x00, 0x00, 0x8E};
const Bytes PARAM_READ_REQUEST = {0x81, 0x00, 0x00, 0x81};
const uint8_t REGISTER_READ_CODES[8] = {0x38, 0x3D, 0x3F, 0x50, 0x51, 0x52, 0x53, 0x54};

uint8_t sum_of(const Bytes& b, size_t from, size_t to) {
    unsigned s = 0;
    for (size_t i = from; i < to; ++i)
        s += b[i];
    return static_cast<uint8_t>(s);
}

/* head, then body padded to len - 1 with pad, then the sum from sum_from (less minus). */
Bytes framed(Bytes f, const Bytes& body, size_t len, uint8_t pad, size_t sum_from, uint8_t minus) {
    f.insert(f.end(), body.begin(), body.end());
    f.resize(len - 1, pad);
    f.push_back(static_cast<uint8_t>(sum_of(f, sum_from, len - 1) - minus));
    return f;
}
Bytes register_read_request(int step) {
    return framed({0xAF, 0xFA, 0x00, 0x0A, REGISTER_READ_CODES[step]}, {}, 10, 0, 2, 0);
}
Bytes register_reply(uint8_t mark, const uint8_t d[4]) {
    return framed({0xAF, mark, 0x00, 0x09}, Bytes(d, d + 4), 9, 0, 2, 0);
}
Bytes info_frame(const Bytes& payload28) {
    return framed({0x8E}, payload28, 30, ' ', 0, 1);
}
Bytes block_frame(uint8_t command, const Bytes& data35) {
    return framed({0x26, command}, data35, 38, 0, 0, 1);
}
Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

Bytes g_last_sent;                                    /* what the tool sent last: the adapter's echo */
const bool g_trace = getenv("FUZZ_TRACE") != nullptr; /* replaying a crash: print the session */

void receive(const Bytes& bytes, bool drain = true) {
    if (g_trace) {
        fprintf(stderr, "  wire%s:", drain ? "" : " (held)");
        for (size_t i = 0; i < bytes.size() && i < 64; ++i)
            fprintf(stderr, " %02X", bytes[i]);
        fprintf(stderr, "%s\n", bytes.size() > 64 ? " ..." : "");
    }
    rx_ring_append(bytes.data(), static_cast<uint32_t>(bytes.size()));
    FUZZ_CHECK(rx_ring_state().rxReadIndex < RX_RING_SIZE && rx_ring_state().rxWriteIndex < RX_RING_SIZE, "");
    if (!drain) return;
    rx_ring_drain(process_servo_info_data);
    FUZZ_CHECK(rx_ring_state().rxReadIndex == rx_ring_state().rxWriteIndex, "the ring is emptied by each drain");
}

/* One tick of the main loop after ms: due sequencer calls (each sends its frame), then the
 * information time-out. */
void tick(uint32_t ms) {
    fuzz_advance_ms(ms);
    const ProtocolState& s = protocol_state();
    const size_t n = fake_timers().timers.size(); /* timers started by a call wait for the next tick */
    for (size_t i = 0; i < n; ++i) {
        FakeTimer* t = fake_timers().timers[i].get();
        if (!t->alive || clock_ms() - t->last_run_ms < t->period_ms) continue;
        const int read_n = s.reg_read_counter, write_k = s.reg_write_counter;
        Bytes frame(FRAME_REGISTER_REQUEST_LEN);
        const bool writes = t->cb == param_write_timer_cb && write_k < FRAME_REGISTER_WRITE_FRAMES &&
                            param_transaction_register_frame(write_k, frame.data(), frame.size()) > 0;
        fake_timer_fire(t);
        if (t->cb == param_read_timer_cb && read_n < FRAME_REGISTER_READ_STEPS && s.reg_read_counter == read_n + 1)
            g_last_sent = register_read_request(read_n);
        else if (writes && s.reg_write_counter == write_k + 1)
            g_last_sent = frame;
    }
    info_transaction_check_timeout();
}

void wait_until_quiet() {
    for (int i = 0; i < 200 && (fake_timers_alive() > 0 || protocol_busy()); ++i)
        tick(10);
    rx_ring_drain(process_servo_info_data);
}

void check_state() {
    const ProtocolState& s = protocol_state();
    const std::string at = "mode " + std::to_string(s.mode);
    FUZZ_CHECK(s.mode == MODE_IDLE || s.mode == MODE_READ_PARAMS || s.mode == MODE_WRITE_PARAMS ||
                   s.mode == MODE_VERSION_QUERY || s.mode == MODE_READ_INFO || s.mode == MODE_WRITE_INFO,
               at);
    FUZZ_CHECK(s.echo_ref == nullptr || (s.echo_index >= 0 && s.echo_index < s.echo_len), at);
    FUZZ_CHECK(s.reg_echo_count >= 0 && s.reg_echo_count <= REG_ECHO_ENTRIES, at);
    FUZZ_CHECK(s.reg_echo_pos >= 0 && s.reg_echo_pos < static_cast<int>(FRAME_REGISTER_REQUEST_LEN), at);
    FUZZ_CHECK(s.info_rx_count >= 0 && s.info_rx_count <= static_cast<int>(INFO_RX_BUF_SIZE), at);
    FUZZ_CHECK(s.param_state <= 6, at);
    FUZZ_CHECK(s.reg_frame_pos >= 0 && s.reg_frame_pos < static_cast<int>(FRAME_REGISTER_REPLY_LEN), at);
    FUZZ_CHECK(s.read_step >= 0 && s.read_step < FRAME_REGISTER_READ_STEPS, at);
    FUZZ_CHECK(s.read_cache_count <= READ_CACHE_ENTRIES, at);
    FUZZ_CHECK(s.version_count >= 0 && s.version_count < static_cast<int>(FRAME_VERSION_LEN), at);
    FUZZ_CHECK(s.reg_read_counter >= 0 && s.reg_read_counter <= FRAME_REGISTER_READ_STEPS, at);
    FUZZ_CHECK(s.reg_write_counter <= FRAME_REGISTER_WRITE_FRAMES, at);
    FUZZ_CHECK(s.block_write_pending >= WRITE_PENDING_NONE && s.block_write_pending <= WRITE_PENDING_REGISTER, at);
    FUZZ_CHECK(params_state().parameterSource >= PARAM_SOURCE_NONE &&
                   params_state().parameterSource <= PARAM_SOURCE_REGISTER,
               at);
    FUZZ_CHECK(s.mode != MODE_WRITE_PARAMS || s.block_write_pending != WRITE_PENDING_BLOCK ||
                   (s.block_count >= 0 && s.block_count < FRAME_ACK_COUNT),
               at);
}

void step(FuzzedDataProvider& in) {
    const int op = in.ConsumeIntegralInRange<int>(0, 22);
    if (g_trace)
        fprintf(stderr, "step %d (mode %d, state %d)\n", op, protocol_state().mode, protocol_state().param_state);
    switch (op < 4 ? 0 : op) { /* wire bytes four times as often as any other step */
    case 0: {                  /* bytes from the wire, in a chunk of any size; sometimes left for the next tick */
        const bool drain = in.ConsumeIntegralInRange<int>(0, 7) != 0;
        receive(in.ConsumeBytes<uint8_t>(in.ConsumeIntegralInRange<size_t>(1, 48)), drain);
        break;
    }
    case 4: { /* the adapter's echo of the last frame, whole or cut short */
        Bytes echo = g_last_sent;
        echo.resize(in.ConsumeIntegralInRange<size_t>(0, echo.size()));
        receive(echo);
        break;
    }
    case 5: /* a whole information reply, optionally behind the request's echo */
        receive((in.ConsumeBool() ? INFO_REQUEST : Bytes{}) + info_frame(in.ConsumeBytes<uint8_t>(28)));
        break;
    case 6: {
        const uint8_t command = in.ConsumeBool() ? 0x40 : in.ConsumeIntegral<uint8_t>();
        receive(block_frame(command, in.ConsumeBytes<uint8_t>(35)));
        break;
    }
    case 7: {
        const uint8_t mark = in.ConsumeIntegral<uint8_t>();
        const uint8_t data[4] = {in.ConsumeIntegral<uint8_t>(), in.ConsumeIntegral<uint8_t>(),
                                 in.ConsumeIntegral<uint8_t>(), in.ConsumeIntegral<uint8_t>()};
        receive(register_reply(mark, data));
        break;
    }
    case 8: /* a version report (plain sum) */
        receive(framed({0x8F}, in.ConsumeBytes<uint8_t>(12), 14, 0, 0, 0));
        break;
    case 9:
        receive({0x80, 0x80, 0x80, 0x80});
        break;
    case 10:
        if (info_transaction_read() == INFO_SENT) g_last_sent = INFO_REQUEST;
        break;
    case 11:
        if (info_transaction_write() == INFO_SENT)
            g_last_sent.assign(protocol_state().g_servo_info_tx_buf, protocol_state().g_servo_info_tx_buf + 30);
        break;
    case 12:
        param_transaction_read();
        g_last_sent = PARAM_READ_REQUEST;
        break;
    case 13: {
        const int32_t source = params_state().parameterSource;
        const uint8_t* frame = protocol_state().block_frame;
        if (param_transaction_write() == PARAM_CMD_STARTED && source == PARAM_SOURCE_BLOCK)
            g_last_sent = PARAM_READ_REQUEST + Bytes(frame, frame + 38);
        break;
    }
    case 14:
        tick(in.ConsumeIntegralInRange<uint32_t>(0, 260));
        break;
    case 15: {
        const auto entry = static_cast<PanelEntry>(in.ConsumeIntegralInRange<int>(0, PANEL_ENTRY_COUNT - 1));
        fuzz_type_entry(entry, in.ConsumeRandomLengthString(8));
        break;
    }
    case 16:
        fake_checked(static_cast<PanelCheck>(in.ConsumeIntegralInRange<int>(0, PANEL_CHECK_COUNT - 1))) =
            in.ConsumeBool();
        break;
    case 17: {
        const int field = in.ConsumeIntegralInRange<int>(0, INFO_FIELD_COUNT - 1);
        fake_info_fields().text[field] = in.ConsumeRandomLengthString(field == 0 ? 24 : 5);
        break;
    }
    case 18:
        lang_set_chinese(lang_is_chinese() ? 0 : 1);
        break;
    case 19: /* the port closed (or the adapter pulled) and opened again */
        rx_ring_drain(nullptr);
        ResetComState();
        serial_ports_set_open(in.ConsumeBool() ? 1 : 0);
        break;
    case 20:
        fake_timers().fail_next_start = true;
        break;
    case 21: { /* a flood that can fill the ring */
        const Bytes flood(in.ConsumeIntegralInRange<size_t>(1, RX_RING_SIZE + 100), in.ConsumeIntegral<uint8_t>());
        receive(flood, false);
        rx_ring_drain(process_servo_info_data);
        break;
    }
    default: /* a servo that reports its version: the one way into that mode */
        protocol_state().mode = MODE_VERSION_QUERY;
        break;
    }
    check_state();
}

void check_info_read() {
    info_field_set(InfoField::Type, "");
    const size_t prompts = fuzz_prompt_count();
    FUZZ_CHECK(info_transaction_read() == INFO_SENT, "");
    const std::string payload = "FZ-SERVO-7          20260314";
    receive(INFO_REQUEST + info_frame(Bytes(payload.begin(), payload.end())));
    const FakeInfoFields& f = fake_info_fields();
    FUZZ_CHECK(f.text[0] == "FZ-SERVO-7" && f.text[1] == "2026" && f.text[2] == "03" && f.text[3] == "14",
               "after the input: " + f.text[0] + " " + f.text[1] + "-" + f.text[2] + "-" + f.text[3]);
    FUZZ_CHECK(fuzz_prompt_shown_since(prompts, "Servo information read successfully!", "舵机信息读取成功!"), "");
    FUZZ_CHECK(protocol_state().mode == MODE_IDLE, "");
}

/* A block-family servo answers the read request; the register requests that follow only echo. */
void check_block_read() {
    Bytes data(35);
    for (size_t i = 0; i < data.size(); ++i)
        data[i] = static_cast<uint8_t>(0x10 + i); /* no 0x81: a lone one is taken for an echo */
    const size_t prompts = fuzz_prompt_count();
    FUZZ_CHECK(param_transaction_read() == PARAM_CMD_STARTED, "");
    receive(PARAM_READ_REQUEST + block_frame(0x40, data));
    FUZZ_CHECK(memcmp(params_state().parmeterBuff, data.data(), data.size()) == 0, "block not taken");
    FUZZ_CHECK(params_state().parameterSource == PARAM_SOURCE_BLOCK && protocol_state().mode == MODE_IDLE, "");
    FUZZ_CHECK(fuzz_prompt_shown_since(prompts, "Read  Parameter successfully!", "读取参数成功!"), "");
}

/* A register-family servo answers each register request after its echo; a write of what was
 * read sends back the servo's own bytes, remainders the panel cannot show included. */
void check_register_read() {
    const uint8_t replies[8][4] = {
        {0x01, 0x93, 0x0B, 0xBB}, /* OD 403 / 80 = 5, OT 3003 / 1000 = 3 */
        {0x00, 0x32, 0x00, 0x14}, /* KP 50, KD 20 */
        {0x1F, 0x40, 0x00, 0x00}, /* MD 8000 / 80 = 100 */
        {0x07, 0xD0, 0x27, 0x10}, /* LP 2000 / 4 = 500, MP 10000 / 4 = 2500 */
        {0x00, 0x64, 0x0B, 0xB8}, /* LA 100, MA 3000 */
        {0x08, 0x00, 0x00, 0x00}, /* CA 2048 */
        {0x00, 0x03, 0x00, 0x00}, /* DZ 3 */
        {0x0A, 0x01, 0x00, 0x00}, /* LS 10, RS on */
    };
    const size_t prompts = fuzz_prompt_count();
    FUZZ_CHECK(param_transaction_read() == PARAM_CMD_STARTED, "");
    receive(PARAM_READ_REQUEST);
    for (int n = 0; n < 8; ++n) {
        tick(REG_READ_PERIOD_MS);
        receive(register_read_request(n) + register_reply(0x00, replies[n]));
    }
    const EntryTexts expected = {
        {PanelEntry::Stall1Power, "5"}, {PanelEntry::Stall1Time, "3"},    {PanelEntry::Gain, "50"},
        {PanelEntry::Damping, "20"},    {PanelEntry::OutputPower, "100"}, {PanelEntry::MinPulse, "500"},
        {PanelEntry::MaxPulse, "2500"}, {PanelEntry::MinAngle, "100"},    {PanelEntry::MaxAngle, "3000"},
        {PanelEntry::MidAngle, "2048"}, {PanelEntry::Deadband, "3"},      {PanelEntry::SoftStart, "10"},
    };
    fuzz_check_entries(expected);
    FUZZ_CHECK(fake_checked(PanelCheck::Direction), "");
    FUZZ_CHECK(params_state().parameterSource == PARAM_SOURCE_REGISTER && protocol_state().mode == MODE_IDLE, "");
    FUZZ_CHECK(fuzz_prompt_shown_since(prompts, "Read  Parameter successfully!", "读取参数成功!"), "");
    Bytes kp(10), od_ot(10); /* write frames 1 (code 0x01) and 3 (code 0x12) */
    param_transaction_register_frame(0, kp.data(), kp.size());
    param_transaction_register_frame(2, od_ot.data(), od_ot.size());
    FUZZ_CHECK(kp[5] == 0x00 && kp[6] == 0x32, "KP sent as " + std::to_string(kp[5] << 8 | kp[6]));
    FUZZ_CHECK(Bytes(od_ot.begin() + 5, od_ot.begin() + 9) == Bytes(replies[0], replies[0] + 4),
               "OD and OT not as read");
}

/* After the session the user waits for what is running to end and reads again. A reply cut off
 * by silence stays half-parsed, and a register reply lost mid-read leaves the next read starting
 * at a later step: the receive side keeps both on purpose, so that family is not read then. */
unsigned g_reads_checked[2], g_reads_left_out[2];

void check_liveness(bool register_family) {
    fake_timers().fail_next_start = false;
    wait_until_quiet();
    serial_ports_set_open(1);
    check_info_read();
    const bool cut_off_reply = protocol_state().param_state != 0;
    const bool stale_step = protocol_state().read_step != 0;
    const bool kept_by_design = cut_off_reply || (register_family && stale_step);
    ++(kept_by_design ? g_reads_left_out : g_reads_checked)[register_family];
    if (!kept_by_design) register_family ? check_register_read() : check_block_read();
    wait_until_quiet();
    check_state();
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    if (g_trace)
        atexit([] {
            fprintf(stderr, "parameter reads checked: block %u, register %u; left out: block %u, register %u\n",
                    g_reads_checked[0], g_reads_checked[1], g_reads_left_out[0], g_reads_left_out[1]);
        });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_new_run();
    g_last_sent.clear();
    FuzzedDataProvider in(data, size);
    const bool register_family = in.ConsumeBool();
    while (in.remaining_bytes() > 0)
        step(in);
    check_liveness(register_family);
    return 0;
}
