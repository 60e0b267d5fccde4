/* Figures of the serial link on this machine (prints; asserts nothing), each as min / median / max
 * over several runs:
 *  1. the hot-plug check as the program pays it: called at the program's idle tick pace for 60 s
 *     against the real /sys/class/tty and /dev, periodic rescans included (median, p99, mean per
 *     run); and the cost of one full scan and of one rescan;
 *  2. how long after an adapter's entries appear (plug-in) or go (removal) in a tree on a tmpfs the
 *     check at that pace notices it: with the change notification in the loop's wait (as the
 *     program runs on Linux), read at each tick, or without notifications; the clock starts once
 *     the change is complete;
 *  3. receive throughput from a pseudo-terminal through SerialHandle and the drain, against the
 *     line rate of 115200 8N2, and the CPU of the notifier thread with the port open and no traffic.
 * Usage: bench_serial [--runs N] [--seconds S] [--pace MS]  (defaults 5, 60, the idle tick period)
 * The screen calls go to the recording panel and prompts of the tests. */
#include "app/app.h"
#include "common/clock.h"
#include "common/debug_log.h"
#include "common/platform.h"
#include "tools/bench_platform.h"
#include "tools/bench_stats.h"
#include "serial/Serial.h"
#include "serial/comHandle.h"
#include "serial/discovery.h"
#include "serial/discovery_linux.h"
#include "serial/rx_ring.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <cstring>
#include <filesystem>
#include <linux/magic.h>
#include <poll.h>
#include <pty.h>
#include <string>
#include <sys/resource.h>
#include <sys/statfs.h>
#include <sys/vfs.h>
#include <termios.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
constexpr double LINE_RATE_BYTES_PER_S = 115200.0 / 11.0; /* start + 8 data + 2 stop bits */


double us_since(Clock::time_point t) {
    return std::chrono::duration<double, std::micro>(Clock::now() - t).count();
}

double cpu_ms() {
    rusage u;
    getrusage(RUSAGE_SELF, &u);
    return (u.ru_utime.tv_sec + u.ru_stime.tv_sec) * 1000.0 + (u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1000.0;
}

void quiet_log(const char*) {}

struct Options {
    int runs = 5;
    int seconds = 60;
    int pace_ms = APP_IDLE_TICK_PERIOD_MS;
} g_opt;

/* How the check learns of a change. */
enum class Notice {
    Wait,     /* the program's loop: it sleeps on discovery's wait handle up to the next tick */
    Read,     /* the check reads the notifications at each tick */
    Periodic, /* no notifications: the periodic rescan */
};

/* Sleeps until `until` as the program's loop does. With Notice::Wait a readable wait handle runs
 * the check at once (app_on_ports_changed) and ends the sleep: returns true then. */
bool sleep_until_tick(Notice notice, Clock::time_point until) {
    const int handle = notice == Notice::Wait ? discovery_wait_handle() : -1;
    if (handle < 0) {
        std::this_thread::sleep_until(until);
        return false;
    }
    const auto left = std::chrono::duration_cast<std::chrono::microseconds>(until - Clock::now()).count();
    pollfd p = {handle, POLLIN, 0};
    if (poll(&p, 1, static_cast<int>((std::max<long long>(left, 0) + 999) / 1000)) <= 0) return false;
    discovery_wait_handle_ready();
    hot_plug_check();
    return true;
}

void bench_check_cost() {
    printf("\n1. Hot-plug check on this machine's /sys/class/tty and /dev, at a tick every %d ms for %d s\n"
           "   (min / median / max over %d runs)\n",
           g_opt.pace_ms, g_opt.seconds, g_opt.runs);
    std::vector<double> scan_med, rescan_med, tick_med, tick_p99, tick_mean, tick_max, cpu_share;
    for (int r = 0; r < g_opt.runs; ++r) {
        discovery_set_roots(nullptr, nullptr, true);
        serial_ports_reset();
        std::vector<double> scan, rescan;
        for (int i = 0; i < 200; ++i) {
            const auto t = Clock::now();
            enumerate_com_ports_in("/sys/class/tty", "/dev");
            scan.push_back(us_since(t));
        }
        for (int i = 0; i < 200; ++i) { /* what the check runs at least every 50 ms */
            discovery_invalidate();
            const auto t = Clock::now();
            enumerate_com_ports();
            rescan.push_back(us_since(t));
        }
        scan_med.push_back(median_of(scan));
        rescan_med.push_back(median_of(rescan));

        serial_ports_reset();
        std::vector<double> tick;
        double sum = 0;
        const auto start = Clock::now();
        for (auto next = start; Clock::now() - start < std::chrono::seconds(g_opt.seconds);) {
            const auto t = Clock::now();
            hot_plug_check();
            const double us = us_since(t);
            tick.push_back(us);
            sum += us;
            next += std::chrono::milliseconds(g_opt.pace_ms);
            sleep_until_tick(Notice::Wait, next); /* the loop holds the wait handle: the check reads nothing */
        }
        tick_med.push_back(median_of(tick));
        tick_p99.push_back(percentile_of(tick, 0.99));
        tick_mean.push_back(sum / static_cast<double>(tick.size()));
        tick_max.push_back(*std::max_element(tick.begin(), tick.end()));
        cpu_share.push_back(sum / 1e6 / static_cast<double>(g_opt.seconds) * 100.0);
    }
    print_figure("full scan of /sys/class/tty, median", scan_med, "us", "");
    print_figure("rescan with kept verdicts, median", rescan_med, "us", "");
    print_figure("check per tick, median", tick_med, "us", "(goal: < 10 us)");
    print_figure("check per tick, p99", tick_p99, "us", "");
    print_figure("check per tick, mean", tick_mean, "us", "");
    print_figure("check per tick, max", tick_max, "us", "");
    print_figure("share of a core", cpu_share, "%", "");
}

/* A plug-in simulated in a built tree on a tmpfs: the entry, then its node. */
struct Tree {
    std::string root;
    explicit Tree(const std::string& base) {
        std::string tmpl = base + "/bench_tree_XXXXXX";
        std::vector<char> buf(tmpl.begin(), tmpl.end());
        buf.push_back('\0');
        root = mkdtemp(buf.data());
        std::filesystem::create_directories(root + "/sys/class/tty");
        std::filesystem::create_directories(root + "/dev");
    }
    ~Tree() { std::filesystem::remove_all(root); }
    std::string sys() const { return root + "/sys/class/tty"; }
    std::string dev() const { return root + "/dev"; }
    void plug() {
        const std::string tty = root + "/sys/devices/pci0000:00/usb1/1-1/1-1:1.0/ttyUSB0/tty/ttyUSB0";
        std::filesystem::create_directories(tty);
        std::filesystem::create_directory_symlink("../..", tty + "/device");
        std::filesystem::create_directory_symlink(tty, sys() + "/ttyUSB0");
        close(open((dev() + "/ttyUSB0").c_str(), O_CREAT | O_WRONLY, 0644));
    }
    void pull() {
        std::filesystem::remove(dev() + "/ttyUSB0");
        std::filesystem::remove(sys() + "/ttyUSB0");
        std::filesystem::remove_all(root + "/sys/devices");
    }
};

/* A tmpfs to build the trees on, as /sys and /dev are in-memory file systems. */
std::string tmpfs_dir() {
    for (const char* dir : {"/dev/shm", "/run/user", "/tmp"}) {
        struct statfs fs;
        if (statfs(dir, &fs) == 0 && fs.f_type == TMPFS_MAGIC && access(dir, W_OK) == 0) return dir;
    }
    return "";
}


/* Milliseconds from the completed change until the check at the tick pace notices it. */
double detection_ms(const std::string& base, bool plug_in, Notice notice) {
    const bool watch = notice != Notice::Periodic;
    Tree tree(base);
    if (!plug_in) tree.plug();
    discovery_set_roots(tree.sys().c_str(), tree.dev().c_str(), watch);
    serial_ports_reset();
    hot_plug_check();
    const int want = plug_in ? 1 : 0;
    if (serial_port_table().portCount == want) return -1;
    std::this_thread::sleep_for(std::chrono::microseconds(rand() % 50000)); /* anywhere in the rescan cycle */
    if (plug_in)
        tree.plug();
    else
        tree.pull();
    const auto changed = Clock::now();
    auto next = changed + std::chrono::microseconds(rand() % (g_opt.pace_ms * 1000)); /* anywhere in the tick */
    while (true) {
        const bool checked = sleep_until_tick(notice, next);
        if (!checked) hot_plug_check();
        if (serial_port_table().portCount == want) break;
        if (!checked) next += std::chrono::milliseconds(g_opt.pace_ms);
        if (Clock::now() - changed > std::chrono::seconds(1)) return -1;
    }
    return us_since(changed) / 1000.0;
}

void bench_detection() {
    const std::string base = tmpfs_dir();
    if (base.empty()) {
        printf("\n2. Plug-in and removal: no writable tmpfs (/dev/shm); skipped\n");
        return;
    }
    const int trials = std::max(g_opt.runs, 20);
    printf("\n2. Plug-in and removal noticed by the check at a tick every %d ms, tree on the tmpfs %s\n"
           "   (min / median / max over %d changes, the clock starting once the change is complete)\n",
           g_opt.pace_ms, base.c_str(), trials);
    for (Notice notice : {Notice::Wait, Notice::Read, Notice::Periodic}) {
        for (bool plug_in : {true, false}) {
            std::vector<double> ms;
            int missed = 0;
            for (int i = 0; i < trials; ++i) {
                const double v = detection_ms(base, plug_in, notice);
                if (v < 0) ++missed;
                else ms.push_back(v);
            }
            char name[96];
            snprintf(name, sizeof name, "%s, %s", plug_in ? "plug-in" : "removal",
                     notice == Notice::Wait   ? "notification in the loop's wait"
                     : notice == Notice::Read ? "notification read each tick"
                                              : "periodic scan only");
            if (ms.empty()) printf("  %-52s never noticed\n", name);
            else print_figure(name, ms, "ms", "(goal: within 100 ms)");
            if (missed > 0) printf("  (%d of %d changes not noticed within 1 s)\n", missed, trials);
        }
    }
    discovery_set_roots(nullptr, nullptr, true);
    serial_ports_reset();
}

uint64_t g_consumed = 0;
void count_byte(uint8_t) {
    ++g_consumed;
}

/* One run: the notifier's CPU with no traffic (% of a core) and the throughput (bytes/s), or
 * false when no pseudo-terminal could be used. */
bool throughput_once(double* idle_percent, double* rate, bool* complete) {
    int master = -1, slave = -1;
    char name[128];
    if (openpty(&master, &slave, name, nullptr, nullptr) != 0) {
        return false;
    }
    termios t;
    tcgetattr(master, &t);
    cfmakeraw(&t);
    tcsetattr(master, TCSANOW, &t);
    close(slave);
    fcntl(master, F_SETFL, fcntl(master, F_GETFL) | O_NONBLOCK);
    if (SerialOpen(name) == PORT_HANDLE_NONE) {
        close(master);
        return false;
    }

    /* Idle: port open, nothing on the line. */
    const double idle_before = cpu_ms();
    std::this_thread::sleep_for(std::chrono::seconds(2));
    *idle_percent = (cpu_ms() - idle_before) / 20.0;

    std::atomic<bool> stop{false};
    std::atomic<uint64_t> sent{0}; /* the writer's count, for the reader's loss check */
    std::thread writer([&] {
        std::vector<uint8_t> chunk(4096);
        for (size_t i = 0; i < chunk.size(); ++i)
            chunk[i] = static_cast<uint8_t>(i);
        while (!stop) {
            const ssize_t n = write(master, chunk.data(), chunk.size());
            if (n > 0) {
                sent += static_cast<uint64_t>(n);
            } else {
                pollfd p = {master, POLLOUT, 0};
                poll(&p, 1, 10);
            }
        }
    });
    g_consumed = 0;
    const auto start = Clock::now();
    while (Clock::now() - start < std::chrono::seconds(2)) {
        if (!bench_wait_serial_rx(Clock::now() + std::chrono::milliseconds(100))) continue;
        SerialHandle();
        rx_ring_drain(count_byte);
    }
    const double seconds = us_since(start) / 1e6;
    stop = true;
    writer.join();
    /* What was sent but not consumed yet is still in the line; collect it to check nothing was lost. */
    for (int i = 0; i < 50 && g_consumed < sent; ++i) {
        SerialHandle();
        rx_ring_drain(count_byte);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    *rate = static_cast<double>(g_consumed) / seconds;
    *complete = g_consumed == sent;
    SerialClose();
    close(master);
    return true;
}

void bench_throughput() {
    printf("\n3. Receive path on a pseudo-terminal (min / median / max over %d runs)\n", g_opt.runs);
    std::vector<double> idle, rate;
    int lost = 0;
    for (int r = 0; r < g_opt.runs; ++r) {
        double i = 0, bytes_per_s = 0;
        bool complete = false;
        if (!throughput_once(&i, &bytes_per_s, &complete)) {
            printf("  no pseudo-terminal could be opened; skipped\n");
            return;
        }
        idle.push_back(i);
        rate.push_back(bytes_per_s / 1e6);
        lost += complete ? 0 : 1;
    }
    print_figure("notifier thread, port open, no traffic", idle, "%", "(of a core)");
    char goal[64];
    snprintf(goal, sizeof goal, "(line rate %.3f MB/s)", LINE_RATE_BYTES_PER_S / 1e6);
    print_figure("throughput pty -> ring -> consumer", rate, "MB/s", goal);
    if (lost > 0) printf("  (%d runs lost bytes)\n", lost);
}

} // namespace

int main(int argc, char** argv) {
    for (int i = 1; i + 1 < argc; i += 2) {
        if (strcmp(argv[i], "--runs") == 0) g_opt.runs = std::max(1, atoi(argv[i + 1]));
        else if (strcmp(argv[i], "--seconds") == 0) g_opt.seconds = std::max(1, atoi(argv[i + 1]));
        else if (strcmp(argv[i], "--pace") == 0) g_opt.pace_ms = std::max(1, atoi(argv[i + 1]));
    }
    setvbuf(stdout, nullptr, _IOLBF, 0); /* each figure as soon as it is known */
    dbg_log_set_sink(quiet_log);
    bench_check_cost();
    bench_detection();
    bench_throughput();
    return 0;
}
