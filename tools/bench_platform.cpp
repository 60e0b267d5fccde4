#include "tools/bench_platform.h"

#include "common/platform.h"
#include "tests/fakes/common/fake_platform.h"

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

void bench_platform_message_box(const char* text, const char* caption, MsgBoxIcon) {
    printf("[box] %s: %s\n", caption, text);
}

bool bench_platform_post_serial_rx() {
    std::lock_guard<std::mutex> lock(g_rx_mutex);
    g_rx_posted = true;
    g_rx_cv.notify_one();
    return true;
}

void bench_platform_post_quit(int) {}

const char* bench_platform_user_language() { return ""; }

namespace {
const bool g_installed = [] {
    PlatformPort port = {};
    port.message_box = bench_platform_message_box;
    port.post_serial_rx = bench_platform_post_serial_rx;
    port.post_quit = bench_platform_post_quit;
    port.user_language = bench_platform_user_language;
    port.file_dialog_open_txt = fake_file_dialog_open_txt;
    port.file_dialog_save_txt = fake_file_dialog_save_txt;
    platform_port_set(&port);
    return true;
}();
} // namespace
