/* Figures of servo_cli's production cycle (prints; asserts nothing): for each servo family, one
 * cycle (the information read for the block family, the write, the read-back and the comparison)
 * against servo_sim on a pseudo-terminal, through the real port, notifier thread, ring and parser.
 * Min/median/max over the runs, set against the wire time of the bytes the cycle waits for at
 * 115200 8N2 and the pauses the protocol itself takes (the window's sleeps and timer periods). */
#include "tools/bench_sim.h"
#include "cli/cli_production.h"
#include "cli/cli_session.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <poll.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr int RUNS = 30;
constexpr uint32_t TIMEOUT_MS = 500;
constexpr double BYTES_PER_MS = 115200.0 / 11.0 / 1000.0; /* start + 8 data + 2 stop bits */

struct FamilyCase {
    const char* name;
    uint32_t limit_ms;
    int wire_bytes;  /* both directions, up to the verdict */
    int pauses_ms;   /* sleeps and timer periods of the protocol */
    const char* how; /* where those come from */
};

const FamilyCase CASES[] = {
    {"block", 250, 34 + 84 + 42, 40 + 100,
     "information 4+30; write 4+38 (the request ahead of it is answered) +38+4; read 4+38"},
    {"register", 800, 120 + 4 + 80 + 72, 12 * 50 + 100 + 70,
     "write 12x10, 50 ms apart; read 4, then 8x10 10 ms apart, 8x9 replies"},
};

void run_family(const FamilyCase& c) {
    std::string pty;
    const pid_t sim = bench_start_sim(SERVO_SIM_PATH, c.name, pty);
    if (sim < 0 || pty.empty()) {
        printf("%s: the simulator did not start\n", c.name);
        return;
    }
    const std::string reference = "/tmp/bench_production_" + std::string(c.name) + ".txt";
    std::vector<uint32_t> ms;
    int passed = 0;
    if (servo_open(pty.c_str()).code == CLI_OK && servo_params_read(TIMEOUT_MS, nullptr).code == CLI_OK &&
        params_file_save(reference.c_str()).code == CLI_OK) {
        for (int i = 0; i < RUNS; ++i) {
            const CycleResult r = production_cycle(reference.c_str(), TIMEOUT_MS);
            passed += r.pass ? 1 : 0;
            ms.push_back(r.duration_ms);
        }
    }
    servo_close();
    kill(sim, SIGTERM);
    waitpid(sim, nullptr, 0);
    unlink(reference.c_str());
    if (ms.empty()) {
        printf("%s: no cycle ran (the reference could not be read)\n", c.name);
        return;
    }
    std::sort(ms.begin(), ms.end());
    printf("%-8s cycle min/median/max %u / %u / %u ms over %zu runs (%d PASS), limit %u ms\n", c.name, ms.front(),
           ms[ms.size() / 2], ms.back(), ms.size(), passed, c.limit_ms);
    printf("         wire time %.1f ms for %d bytes (%s); the protocol's own pauses %d ms\n",
           c.wire_bytes / BYTES_PER_MS, c.wire_bytes, c.how, c.pauses_ms);
}

} // namespace

int main() {
    session_start(false);
    for (const FamilyCase& c : CASES)
        run_family(c);
    return 0;
}
