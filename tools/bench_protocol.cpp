/* Figures of the servo protocol on this machine (prints; asserts nothing):
 *  1. information read round trip with the servo simulator on a pseudo-terminal: from the
 *     request written to the four fields filled, through the real port, notifier thread, ring
 *     and parser; set against the wire time of the 34 bytes involved at 115200 8N2;
 *  2. parser throughput in bytes per second for the streams it meets (a parameter block with
 *     its echo, an information reply with its echo, idle bytes), against the line rate.
 * The UI thread is played by this program: it sleeps until the notifier thread's wake-up, as
 * the window's event loop does. Screen calls go to the recording stand-ins of the tests. */
#include "tools/bench_sim.h"
#include "common/clock.h"
#include "common/debug_log.h"
#include "common/platform.h"
#include "tools/bench_platform.h"
#include "tools/bench_stats.h"
#include "protocol/info_transaction.h"
#include "protocol/protocol_state.h"
#include "serial/Serial.h"
#include "serial/comHandle.h"
#include "serial/rx_ring.h"
#include "tests/fakes/core/fake_screen.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <poll.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
constexpr double LINE_BITS_PER_BYTE = 11.0; /* start + 8 data + 2 stop */
constexpr double LINE_RATE_BYTES_PER_S = 115200.0 / LINE_BITS_PER_BYTE;
constexpr int ROUND_TRIPS = 300;
constexpr double TICK_MS = 5.0;


void quiet_log(const char*) {}

/* The UI thread's receive hand-over: sleeps until the notifier posts, then drains. */
bool wait_and_drain(Clock::time_point deadline) {
    if (!bench_wait_serial_rx(deadline)) return false;
    SerialHandle();
    rx_ring_drain(process_servo_info_data);
    return true;
}

void bench_info_round_trip() {
    std::string path;
    const pid_t sim = bench_start_sim(SERVO_SIM_PATH, "block", path);
    if (sim <= 0 || path.empty()) {
        printf("1. information round trip: the simulator could not be started (%s)\n", SERVO_SIM_PATH);
        return;
    }
    if (SerialOpen(path.c_str()) == PORT_HANDLE_NONE) {
        printf("1. information round trip: %s could not be opened\n", path.c_str());
        kill(sim, SIGTERM);
        waitpid(sim, nullptr, 0);
        return;
    }
    serial_ports_set_open(1);
    std::vector<double> ms;
    int failed = 0;
    for (int i = 0; i < ROUND_TRIPS; ++i) {
        fake_info_fields_reset();
        const Clock::time_point t0 = Clock::now();
        info_transaction_read();
        const Clock::time_point deadline = t0 + std::chrono::milliseconds(500);
        while (protocol_state().mode != MODE_IDLE && wait_and_drain(deadline)) {
        }
        const double took = std::chrono::duration<double, std::milli>(Clock::now() - t0).count();
        if (protocol_state().mode == MODE_IDLE && fake_info(InfoField::Day) == "15")
            ms.push_back(took);
        else
            ++failed;
        protocol_state().mode = MODE_IDLE;
    }
    SerialClose();
    serial_ports_set_open(0);
    kill(sim, SIGTERM);
    waitpid(sim, nullptr, 0);

    const double wire_ms = 34.0 * LINE_BITS_PER_BYTE / 115200.0 * 1000.0;
    printf("1. information read round trip, %d reads on a pseudo-terminal (no line delay), %d failed\n", ROUND_TRIPS,
           failed);
    if (ms.empty()) return;
    const double median = percentile_of(ms, 0.5), p95 = percentile_of(ms, 0.95), worst = percentile_of(ms, 1.0);
    printf("   request written -> fields filled: min %.3f / median %.3f / max %.3f ms (p95 %.3f ms)\n",
           percentile_of(ms, 0.0), median, worst, p95);
    printf("   wire time of the 34 bytes at 115200 8N2: %.2f ms\n", wire_ms);
    printf("   on a real line (wire + p95 overhead): %.2f ms; goal wire + one tick = %.2f ms: %s\n", wire_ms + p95,
           wire_ms + TICK_MS, p95 <= TICK_MS ? "met" : "NOT met");
}

/* Feeds a stream n times, restoring the mode before each; returns bytes per second. */
double feed_rate(const std::vector<uint8_t>& stream, int32_t mode, int repeats) {
    const Clock::time_point t0 = Clock::now();
    for (int r = 0; r < repeats; ++r) {
        protocol_state().mode = mode;
        protocol_state().info_rx_state = 0;
        protocol_state().info_rx_count = 0;
        for (uint8_t b : stream)
            process_servo_info_data(b);
    }
    const double s = std::chrono::duration<double>(Clock::now() - t0).count();
    return static_cast<double>(stream.size()) * repeats / s;
}

std::vector<uint8_t> with_block_checksum(std::vector<uint8_t> f) {
    unsigned sum = 0;
    for (uint8_t b : f)
        sum += b;
    f.push_back(static_cast<uint8_t>(sum - 1));
    return f;
}

void bench_parser(const char* how) {
    std::vector<uint8_t> frame = {0x26, 0x40};
    for (int i = 0; i < 35; ++i)
        frame.push_back(static_cast<uint8_t>(0x10 + i));
    std::vector<uint8_t> block = {0x81, 0x00, 0x00, 0x81}; /* the echo of the request, then the reply */
    frame = with_block_checksum(frame);
    block.insert(block.end(), frame.begin(), frame.end());

    const char* text = "\x8eSIM-BLOCK-01        20260115";
    std::vector<uint8_t> info = {0x8E, 0x00, 0x00, 0x8E};
    const std::vector<uint8_t> info_frame = with_block_checksum(std::vector<uint8_t>(text, text + 29));
    info.insert(info.end(), info_frame.begin(), info_frame.end());
    const std::vector<uint8_t> idle(1000, 0x55);

    printf("   %s:\n", how);
    const double rates[3] = {feed_rate(block, MODE_READ_PARAMS, 3000), feed_rate(info, MODE_READ_INFO, 3000),
                             feed_rate(idle, MODE_IDLE, 100)};
    const char* names[3] = {"parameter block with echo (unpack + panel update)", "information reply with echo",
                            "idle bytes"};
    for (int i = 0; i < 3; ++i)
        printf("     %-52s %12.0f bytes/s  (%.0f x the line rate)\n", names[i], rates[i],
               rates[i] / LINE_RATE_BYTES_PER_S);
}

} // namespace

int main() {
    dbg_log_set_sink(quiet_log);
    bench_info_round_trip();

    printf("2. parser throughput (line rate at 115200 8N2: %.0f bytes/s)\n", LINE_RATE_BYTES_PER_S);
    bench_parser("debug lines formatted and discarded");
    /* The program writes every debug line to stderr; one write per line per byte received. */
    fflush(stderr);
    const int saved = dup(STDERR_FILENO);
    FILE* null = fopen("/dev/null", "w");
    if (null != nullptr && saved >= 0) {
        dup2(fileno(null), STDERR_FILENO);
        dbg_log_set_sink(nullptr);
        bench_parser("debug lines written to stderr (/dev/null)");
        dbg_log_set_sink(quiet_log);
        dup2(saved, STDERR_FILENO);
    }
    if (null != nullptr) fclose(null);
    if (saved >= 0) close(saved);
    return 0;
}
