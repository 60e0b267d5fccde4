#include "tools/bench_platform.h"

#include "common/platform.h"

#include <condition_variable>
#include <cstdio>
#include <mutex>

namespace {
std::mutex g_rx_mutex;
std::condition_variable g_rx_cv;
bool g_rx_posted = false;
} // namespace

bool bench_wait_serial_rx(std::chrono::steady_clock::time_point deadline) {
    std::unique_lock<std::mutex> lock(g_rx_mutex);
    if (!g_rx_cv.wait_until(lock, deadline, [] { return g_rx_posted; })) return false;
    g_rx_posted = false;
    return true;
}

void platform_message_box(const char* text, const char* caption, MsgBoxIcon) {
    printf("[box] %s: %s\n", caption, text);
}

bool platform_post_serial_rx() {
    std::lock_guard<std::mutex> lock(g_rx_mutex);
    g_rx_posted = true;
    g_rx_cv.notify_one();
    return true;
}

void platform_post_quit(int) {}

const char* platform_user_language() { return ""; }
