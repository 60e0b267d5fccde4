/* Figures of the serial link on this machine (prints; asserts nothing):
 *  1. cost of one hot-plug check when nothing changed, against a full scan of /sys/class/tty;
 *  2. the check's share of a core at 200 ticks a second;
 *  3. how long after a simulated plug-in / removal discovery reports it, with and without
 *     change notifications;
 *  4. receive throughput from a pseudo-terminal through SerialHandle and the drain, against the
 *     line rate of 115200 8N2;
 *  5. CPU used by the notifier thread with the port open and no traffic.
 * The screen calls go to the recording panel and prompts of the tests. */
#include "common/clock.h"
#include "common/debug_log.h"
#include "common/platform.h"
#include "tools/bench_platform.h"
#include "serial/Serial.h"
#include "serial/comHandle.h"
#include "serial/discovery_linux.h"
#include "serial/rx_ring.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <pty.h>
#include <string>
#include <sys/resource.h>
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

double percentile(std::vector<double> v, double p) {
    std::sort(v.begin(), v.end());
    return v[std::min(v.size() - 1, static_cast<size_t>(p * static_cast<double>(v.size())))];
}

void quiet_log(const char*) {}

void bench_check_cost() {
    discovery_set_roots(nullptr, nullptr, true);
    serial_ports_reset();
    std::vector<double> scan;
    for (int i = 0; i < 2000; ++i) {
        const auto t = Clock::now();
        enumerate_com_ports_in("/sys/class/tty", "/dev");
        scan.push_back(us_since(t));
    }
    std::vector<double> rescan; /* what the check runs every 50 ms: a scan with the kept verdicts */
    for (int i = 0; i < 2000; ++i) {
        discovery_invalidate();
        const auto t = Clock::now();
        enumerate_com_ports();
        rescan.push_back(us_since(t));
    }
    std::vector<double> check;
    for (int i = 0; i < 200000; ++i) {
        const auto t = Clock::now();
        hot_plug_check();
        check.push_back(us_since(t));
    }
    printf("full scan of /sys/class/tty (%d USB ports): median %.1f us, p90 %.1f us\n", serial_port_table().portCount,
           percentile(scan, 0.5), percentile(scan, 0.9));
    printf("periodic rescan with kept verdicts:   median %.1f us, p90 %.1f us\n", percentile(rescan, 0.5),
           percentile(rescan, 0.9));
    printf("hot-plug check, nothing changed:  median %.2f us, p90 %.2f us, p99 %.2f us (goal: median < 10 us)\n",
           percentile(check, 0.5), percentile(check, 0.9), percentile(check, 0.99));

    /* At the real cadence a rescan still comes every 50 ms: the CPU over ticks, less that of the
     * same loop without the check, is the cost. */
    double used[2];
    for (int with_check = 0; with_check < 2; ++with_check) {
        const double cpu_before = cpu_ms();
        const auto start = Clock::now();
        for (auto next = start; Clock::now() - start < std::chrono::seconds(3);) {
            if (with_check != 0) hot_plug_check();
            next += std::chrono::milliseconds(5);
            std::this_thread::sleep_until(next);
        }
        used[with_check] = cpu_ms() - cpu_before;
    }
    printf("at 200 ticks/s for 3 s: %.1f ms CPU with the check, %.1f ms without = %.3f %% of a core "
           "(a full scan every tick: %.1f %%)\n",
           used[1], used[0], (used[1] - used[0]) / 30.0, percentile(scan, 0.5) * 200 / 1e4);
}

/* A plug-in simulated in a built tree: the entry, then its node. */
struct Tree {
    std::string root;
    Tree() {
        char tmpl[] = "/tmp/bench_tree_XXXXXX";
        root = mkdtemp(tmpl);
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

/* Milliseconds from the change until the 5 ms checks report want_count ports. */
double detection_ms(bool plug_in, bool watch) {
    Tree tree;
    if (!plug_in) tree.plug();
    discovery_set_roots(tree.sys().c_str(), tree.dev().c_str(), watch);
    serial_ports_reset();
    discover_ports();
    /* land the change at a random point of the periodic scan's cycle */
    std::this_thread::sleep_for(std::chrono::microseconds(rand() % 50000));
    const int want = plug_in ? 1 : 0;
    auto next = Clock::now();
    const auto changed = Clock::now();
    if (plug_in)
        tree.plug();
    else
        tree.pull();
    while (discover_ports() != want) {
        next += std::chrono::milliseconds(5);
        std::this_thread::sleep_until(next);
        if (Clock::now() - changed > std::chrono::seconds(1)) return -1;
    }
    return us_since(changed) / 1000.0;
}

void bench_detection() {
    for (bool watch : {true, false}) {
        for (bool plug_in : {true, false}) {
            std::vector<double> ms;
            for (int i = 0; i < 20; ++i)
                ms.push_back(detection_ms(plug_in, watch));
            printf("%-8s %-24s: median %5.1f ms, worst %5.1f ms (goal: within 100 ms)\n",
                   plug_in ? "plug-in" : "removal", watch ? "with change notification" : "without (periodic scan)",
                   percentile(ms, 0.5), *std::max_element(ms.begin(), ms.end()));
        }
    }
    discovery_set_roots(nullptr, nullptr, true);
}

uint64_t g_consumed = 0;
void count_byte(uint8_t) {
    ++g_consumed;
}

void bench_throughput() {
    int master = -1, slave = -1;
    char name[128];
    if (openpty(&master, &slave, name, nullptr, nullptr) != 0) {
        printf("throughput: no pseudo-terminal\n");
        return;
    }
    termios t;
    tcgetattr(master, &t);
    cfmakeraw(&t);
    tcsetattr(master, TCSANOW, &t);
    close(slave);
    fcntl(master, F_SETFL, fcntl(master, F_GETFL) | O_NONBLOCK);
    if (SerialOpen(name) == PORT_HANDLE_NONE) {
        printf("throughput: port did not open\n");
        close(master);
        return;
    }

    /* Idle: port open, nothing on the line. */
    const double idle_before = cpu_ms();
    std::this_thread::sleep_for(std::chrono::seconds(3));
    printf("notifier thread, port open, no traffic: %.3f %% of a core\n", (cpu_ms() - idle_before) / 30.0);

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
    uint64_t wakeups = 0;
    const auto start = Clock::now();
    while (Clock::now() - start < std::chrono::seconds(2)) {
        if (!bench_wait_serial_rx(Clock::now() + std::chrono::milliseconds(100))) continue;
        ++wakeups;
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
    const double rate = static_cast<double>(g_consumed) / seconds;
    printf("receive throughput pty -> ring -> consumer: %.2f MB/s in %llu wake-ups (%.0f x the line rate of %.0f B/s), "
           "%llu of %llu bytes delivered\n",
           rate / 1e6, static_cast<unsigned long long>(wakeups), rate / LINE_RATE_BYTES_PER_S, LINE_RATE_BYTES_PER_S,
           static_cast<unsigned long long>(g_consumed), static_cast<unsigned long long>(sent.load()));
    SerialClose();
    close(master);
}

} // namespace

int main() {
    dbg_log_set_sink(quiet_log);
    bench_check_cost();
    bench_detection();
    bench_throughput();
    return 0;
}
