/* The receive side under a fuzzed session: bytes reach the parser through the receive ring in
 * chunks of any size, between the commands a user gives (information and parameter reads and
 * writes), the ticks that run the register sequencers and the information time-out, and edits of
 * the panel and the information fields. After every step the protocol's guarantees must hold;
 * after the input, a clean information read and a clean parameter read must still succeed. */
#include "common/clock.h"
#include "common/lang.h"
#include "params/panel_fields.h"
#include "params/param_values.h"
#include "protocol/frames.h"
#include "protocol/info_transaction.h"
#include "protocol/param_transaction.h"
#include "protocol/protocol_state.h"
#include "serial/Serial.h"
#include "serial/comHandle.h"
#include "serial/rx_ring.h"
#include "tests/fakes/core/fake_screen.h"
#include "tests/fuzz/fuzz_support.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}
/* head, then body padded to len - 1 with pad, then the family's checksum; any body, any command. */
Bytes framed(const Bytes& head, const Bytes& body, size_t len, uint8_t pad, uint8_t (*sum)(const uint8_t*, size_t)) {
    Bytes f = head + body;
    f.resize(len - 1, pad);
    f.push_back(sum(f.data(), f.size()));
    return f;
}
template <typename Build> Bytes built(size_t len, Build build) {
    Bytes f(len);
    FUZZ_CHECK(build(f.data(), f.size()) == static_cast<int>(len), "frame builder");
    return f;
}
const Bytes INFO_REQUEST = built(FRAME_INFO_REQUEST_LEN, frames_build_info_request);
const Bytes PARAM_READ_REQUEST = built(FRAME_PARAM_READ_LEN, frames_build_param_read_request);
Bytes register_read_request(int step) {
    return built(FRAME_REGISTER_REQUEST_LEN,
                 [step](uint8_t* f, size_t n) { return frames_build_register_read(step, f, n); });
}
Bytes register_reply(uint8_t mark, const Bytes& data) {
    return framed({FRAME_REGISTER_TAG, mark, 0x00, 0x09}, data, FRAME_REGISTER_REPLY_LEN, 0, frames_register_checksum);
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

bool within(long v, long lo, long hi) {
    return v >= lo && v <= hi;
}

void check_state() {
    const ProtocolState& s = protocol_state();
    const bool holds[] = {
        s.mode == MODE_IDLE || s.mode == MODE_READ_PARAMS || s.mode == MODE_WRITE_PARAMS ||
            s.mode == MODE_VERSION_QUERY || s.mode == MODE_READ_INFO || s.mode == MODE_WRITE_INFO,
        s.echo_ref == nullptr || within(s.echo_index, 0, s.echo_len - 1),
        within(s.reg_echo_count, 0, REG_ECHO_ENTRIES),
        within(s.reg_echo_pos, 0, FRAME_REGISTER_REQUEST_LEN - 1),
        within(s.info_rx_count, 0, INFO_RX_BUF_SIZE),
        within(s.param_state, 0, 6),
        within(s.reg_frame_pos, 0, FRAME_REGISTER_REPLY_LEN - 1),
        within(s.read_step, 0, FRAME_REGISTER_READ_STEPS - 1),
        within(s.read_cache_count, 0, READ_CACHE_ENTRIES),
        within(s.version_count, 0, FRAME_VERSION_LEN - 1),
        within(s.reg_read_counter, 0, FRAME_REGISTER_READ_STEPS),
        within(s.reg_write_counter, 0, FRAME_REGISTER_WRITE_FRAMES),
        within(s.block_write_pending, WRITE_PENDING_NONE, WRITE_PENDING_REGISTER),
        within(params_state().parameterSource, PARAM_SOURCE_NONE, PARAM_SOURCE_REGISTER),
        s.mode != MODE_WRITE_PARAMS || s.block_write_pending != WRITE_PENDING_BLOCK ||
            within(s.block_count, 0, FRAME_ACK_COUNT - 1),
    };
    for (size_t i = 0; i < std::size(holds); ++i)
        FUZZ_CHECK(holds[i], "guarantee " + std::to_string(i) + " of check_state, mode " + std::to_string(s.mode));
}

/* The steps a session is made of; the first four are bytes from the wire, so those come four
 * times as often as any other step. */
using In = FuzzedDataProvider;
void (*const STEPS[])(In&) = {
    /* a chunk of any size; sometimes left in the ring for the next tick */
    [](In& in) {
        const bool drain = in.ConsumeIntegralInRange<int>(0, 7) != 0;
        receive(in.ConsumeBytes<uint8_t>(in.ConsumeIntegralInRange<size_t>(1, 48)), drain);
    },
    /* the adapter's echo of the last frame, whole or cut short */
    [](In& in) {
        receive(
            Bytes(g_last_sent.begin(), g_last_sent.begin() + in.ConsumeIntegralInRange<size_t>(0, g_last_sent.size())));
    },
    /* a whole information reply, optionally behind the request's echo */
    [](In& in) {
        receive((in.ConsumeBool() ? INFO_REQUEST : Bytes{}) +
                framed({FRAME_INFO_TAG}, in.ConsumeBytes<uint8_t>(28), FRAME_INFO_LEN, ' ', frames_block_checksum));
    },
    [](In& in) {
        const uint8_t command = in.ConsumeBool() ? FRAME_PARAM_WRITE_CMD : in.ConsumeIntegral<uint8_t>();
        receive(framed({FRAME_PARAM_BLOCK_TAG, command}, in.ConsumeBytes<uint8_t>(FRAME_PARAM_BLOCK_DATA),
                       FRAME_PARAM_BLOCK_LEN, 0, frames_block_checksum));
    },
    [](In& in) {
        const uint8_t mark = in.ConsumeIntegral<uint8_t>();
        Bytes data(4);
        for (uint8_t& b : data)
            b = in.ConsumeIntegral<uint8_t>();
        receive(register_reply(mark, data));
    },
    [](In& in) {
        receive(
            framed({FRAME_VERSION_TAG}, in.ConsumeBytes<uint8_t>(12), FRAME_VERSION_LEN, 0, frames_version_checksum));
    },
    [](In&) { receive(Bytes(FRAME_ACK_COUNT, FRAME_ACK_BYTE)); },
    [](In&) {
        if (info_transaction_read() == INFO_SENT) g_last_sent = INFO_REQUEST;
    },
    [](In&) {
        const uint8_t* frame = protocol_state().g_servo_info_tx_buf;
        if (info_transaction_write() == INFO_SENT) g_last_sent.assign(frame, frame + FRAME_INFO_LEN);
    },
    [](In&) {
        param_transaction_read();
        g_last_sent = PARAM_READ_REQUEST;
    },
    [](In&) {
        const int32_t source = params_state().parameterSource;
        const uint8_t* frame = protocol_state().block_frame;
        if (param_transaction_write() == PARAM_CMD_STARTED && source == PARAM_SOURCE_BLOCK)
            g_last_sent = PARAM_READ_REQUEST + Bytes(frame, frame + FRAME_PARAM_BLOCK_LEN);
    },
    [](In& in) { tick(in.ConsumeIntegralInRange<uint32_t>(0, 260)); },
    [](In& in) {
        const auto entry = static_cast<PanelEntry>(in.ConsumeIntegralInRange<int>(0, PANEL_ENTRY_COUNT - 1));
        fuzz_type_entry(entry, in.ConsumeRandomLengthString(8));
    },
    [](In& in) {
        const bool on = in.ConsumeBool(); /* first, as the seeds were made */
        fake_checked(static_cast<PanelCheck>(in.ConsumeIntegralInRange<int>(0, PANEL_CHECK_COUNT - 1))) = on;
    },
    [](In& in) {
        const int field = in.ConsumeIntegralInRange<int>(0, INFO_FIELD_COUNT - 1);
        fake_info_fields().text[field] = in.ConsumeRandomLengthString(field == 0 ? 24 : 5);
    },
    [](In&) { lang_set_chinese(lang_is_chinese() ? 0 : 1); },
    /* the port closed (or the adapter pulled) and opened again */
    [](In& in) {
        rx_ring_drain(nullptr);
        ResetComState();
        serial_ports_set_open(in.ConsumeBool() ? 1 : 0);
    },
    [](In&) { fake_timers().fail_next_start = true; },
    /* a flood that can fill the ring */
    [](In& in) {
        const size_t n = in.ConsumeIntegralInRange<size_t>(1, RX_RING_SIZE + 100);
        receive(Bytes(n, in.ConsumeIntegral<uint8_t>()), false);
        rx_ring_drain(process_servo_info_data);
    },
    /* a servo that reports its version: the one way into that mode */
    [](In&) { protocol_state().mode = MODE_VERSION_QUERY; },
};
constexpr int STEP_WIRE_WEIGHT = 4;

void step(In& in) {
    const int op = in.ConsumeIntegralInRange<int>(0, std::size(STEPS) + STEP_WIRE_WEIGHT - 2);
    if (g_trace)
        fprintf(stderr, "step %d (mode %d, state %d)\n", op, protocol_state().mode, protocol_state().param_state);
    STEPS[op < STEP_WIRE_WEIGHT ? 0 : op - STEP_WIRE_WEIGHT + 1](in);
    check_state();
}

void check_info_read() {
    info_field_set(InfoField::Type, "");
    const size_t prompts = fuzz_prompt_count();
    FUZZ_CHECK(info_transaction_read() == INFO_SENT, "");
    receive(INFO_REQUEST + built(FRAME_INFO_LEN, [](uint8_t* f, size_t n) {
                return frames_build_info_frame("FZ-SERVO-7", "2026", "03", "14", f, n);
            }));
    const FakeInfoFields& f = fake_info_fields();
    FUZZ_CHECK(f.text[0] == "FZ-SERVO-7" && f.text[1] == "2026" && f.text[2] == "03" && f.text[3] == "14",
               "after the input: " + f.text[0] + " " + f.text[1] + "-" + f.text[2] + "-" + f.text[3]);
    FUZZ_CHECK(fuzz_prompt_shown_since(prompts, "Servo information read successfully!", "舵机信息读取成功!"), "");
    FUZZ_CHECK(protocol_state().mode == MODE_IDLE, "");
}

/* A block-family servo answers the read request; the register requests that follow only echo. */
void check_block_read() {
    uint8_t data[FRAME_PARAM_BLOCK_DATA];
    for (size_t i = 0; i < sizeof data; ++i)
        data[i] = static_cast<uint8_t>(0x10 + i); /* no 0x81: a lone one is taken for an echo */
    const size_t prompts = fuzz_prompt_count();
    FUZZ_CHECK(param_transaction_read() == PARAM_CMD_STARTED, "");
    receive(PARAM_READ_REQUEST +
            built(FRAME_PARAM_BLOCK_LEN, [&](uint8_t* f, size_t n) { return buildWriteFrame(data, f, n); }));
    FUZZ_CHECK(memcmp(params_state().parmeterBuff, data, sizeof data) == 0, "block not taken");
    FUZZ_CHECK(params_state().parameterSource == PARAM_SOURCE_BLOCK && protocol_state().mode == MODE_IDLE, "");
    FUZZ_CHECK(fuzz_prompt_shown_since(prompts, "Read  Parameter successfully!", "读取参数成功!"), "");
}

/* A register-family servo answers each register request after its echo; a write of what was
 * read sends back the servo's own bytes, remainders the panel cannot show included. */
void check_register_read() {
    const Bytes replies[FRAME_REGISTER_READ_STEPS] = {
        {0x01, 0x93, 0x0B, 0xBB}, {0x00, 0x32, 0x00, 0x14}, {0x1F, 0x40, 0x00, 0x00}, {0x07, 0xD0, 0x27, 0x10},
        {0x00, 0x64, 0x0B, 0xB8}, {0x08, 0x00, 0x00, 0x00}, {0x00, 0x03, 0x00, 0x00}, {0x0A, 0x01, 0x00, 0x00},
    };
    const size_t prompts = fuzz_prompt_count();
    FUZZ_CHECK(param_transaction_read() == PARAM_CMD_STARTED, "");
    receive(PARAM_READ_REQUEST);
    for (int n = 0; n < FRAME_REGISTER_READ_STEPS; ++n) {
        tick(REG_READ_PERIOD_MS);
        receive(register_read_request(n) + register_reply(0x00, replies[n]));
    }
    /* OD 403 / 80, OT 3003 / 1000, MD 8000 / 80, LP 2000 / 4, MP 10000 / 4: remainders dropped */
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
    Bytes kp(FRAME_REGISTER_REQUEST_LEN), od_ot(FRAME_REGISTER_REQUEST_LEN); /* write frames 0x01 and 0x12 */
    param_transaction_register_frame(0, kp.data(), kp.size());
    param_transaction_register_frame(2, od_ot.data(), od_ot.size());
    FUZZ_CHECK(kp[5] == 0x00 && kp[6] == 0x32, "KP sent as " + std::to_string(kp[5] << 8 | kp[6]));
    FUZZ_CHECK(Bytes(od_ot.begin() + 5, od_ot.begin() + 9) == replies[0], "OD and OT not as read");
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
    const bool kept_by_design =
        protocol_state().param_state != 0 || (register_family && protocol_state().read_step != 0);
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
