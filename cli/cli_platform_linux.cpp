/* servo_cli on Linux: an eventfd as the wake-up, SIGINT/SIGTERM as the interrupt. */
#include "cli/cli_platform.h"

#include <cerrno>
#include <csignal>
#include <ctime>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace {
int g_wake_fd = -1;
volatile sig_atomic_t g_interrupted = 0;

void on_interrupt(int) {
    g_interrupted = 1;
    cli_wakeup_post(); /* write(2) is async-signal-safe */
}
} // namespace

bool cli_wakeup_init() {
    if (g_wake_fd < 0) g_wake_fd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    return g_wake_fd >= 0;
}

bool cli_wakeup_post() {
    if (g_wake_fd < 0) return true;
    const uint64_t one = 1;
    const int saved = errno;
    /* NOTE: a full counter (never reached) still leaves the descriptor readable, so the loop wakes. */
    ssize_t r = write(g_wake_fd, &one, sizeof one);
    (void)r;
    errno = saved;
    return true;
}

bool cli_wakeup_wait(uint32_t ms) {
    if (g_wake_fd < 0) {
        usleep(ms * 1000u);
        return false;
    }
    pollfd p = {g_wake_fd, POLLIN, 0};
    const int r = poll(&p, 1, static_cast<int>(ms));
    if (r <= 0) return false;
    uint64_t count = 0;
    return read(g_wake_fd, &count, sizeof count) == static_cast<ssize_t>(sizeof count);
}

void cli_interrupt_install() {
    struct sigaction sa = {};
    sa.sa_handler = on_interrupt;
    sa.sa_flags = SA_RESTART; /* other calls go on; the loop's own wait still wakes */
    sigemptyset(&sa.sa_mask);
    sigaction(SIGINT, &sa, nullptr);
    sigaction(SIGTERM, &sa, nullptr);
}

bool cli_interrupted() {
    return g_interrupted != 0;
}

unsigned cli_process_id() {
    return static_cast<unsigned>(getpid());
}

void cli_local_time(char* buf, size_t cap) {
    if (buf == nullptr || cap == 0) return;
    const time_t now = time(nullptr);
    struct tm local = {};
    localtime_r(&now, &local);
    if (strftime(buf, cap, "%Y-%m-%d %H:%M:%S", &local) == 0) buf[0] = '\0';
}
