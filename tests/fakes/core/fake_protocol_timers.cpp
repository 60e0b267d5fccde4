/* Timers for the core tests: started timers are recorded; tests fire them by hand or by the clock. */
#include "tests/fakes/core/fake_protocol_timers.h"

#include "common/clock.h"

#include <utility>

FakeTimers& fake_timers() {
    static FakeTimers state;
    return state;
}

void fake_timers_reset() {
    fake_timers() = FakeTimers{};
}

int fake_timers_alive() {
    int n = 0;
    for (const auto& t : fake_timers().timers)
        n += t->alive ? 1 : 0;
    return n;
}

protocol_timer_t fake_protocol_timer_start(uint32_t period_ms, protocol_timer_cb cb) {
    if (std::exchange(fake_timers().fail_next_start, false)) return nullptr;
    auto t = std::make_unique<FakeTimer>();
    t->period_ms = period_ms;
    t->cb = cb;
    t->last_run_ms = clock_ms() - period_ms - 1;
    fake_timers().timers.push_back(std::move(t));
    return fake_timers().timers.back().get();
}

void fake_protocol_timer_delete(protocol_timer_t timer) {
    if (timer != nullptr) static_cast<FakeTimer*>(timer)->alive = false;
}

void fake_timer_fire(protocol_timer_t timer) {
    auto* t = static_cast<FakeTimer*>(timer);
    if (t == nullptr || !t->alive || t->cb == nullptr) return;
    t->last_run_ms = clock_ms();
    ++t->fired;
    t->cb(timer);
}

void fake_protocol_timers_fill_port(ScreenPort& port) {
    port.timer_start = fake_protocol_timer_start;
    port.timer_delete = fake_protocol_timer_delete;
}
