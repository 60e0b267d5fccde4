#include "common/clock.h"

#include <chrono>
#include <thread>

namespace {
clock_source_fn g_source = nullptr;
clock_sleeper_fn g_sleeper = nullptr;
}

void clock_set_source(clock_source_fn source) { g_source = source; }

uint64_t clock_ms() {
    if (g_source != nullptr) return g_source();
    using namespace std::chrono;
    return static_cast<uint64_t>(duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

void clock_set_sleeper(clock_sleeper_fn sleeper) { g_sleeper = sleeper; }

void clock_sleep_ms(uint32_t ms) {
    if (g_sleeper != nullptr) {
        g_sleeper(ms);
        return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}
