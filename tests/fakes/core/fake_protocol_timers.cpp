/* Timers for the core tests: started timers are recorded; tests fire them by hand or by the clock. */
#include "common/screen_port.h"
#include "tests/fakes/core/fake_protocol_timers.h"

#include "common/clock.h"

FakeTimers& fake_timers() {
    static FakeTimers state;
    return state;
}

void fake_timers_reset() {
    fake_timers().timers.clear();
    fake_timers().fail_next_start = false;
}

int fake_timers_alive() {
    int n = 0;
    for (const auto& t : fake_timers().timers)
        n += t->alive ? 1 : 0;
    return n;
}

protocol_timer_t fake_protocol_timer_start(uint32_t period_ms, protocol_timer_cb cb) {
    if (fake_timers().fail_next_start) {
        fake_timers().fail_next_start = false;
        return nullptr;
    }
    auto t = std::make_unique<FakeTimer>();
    t->period_ms = period_ms;
    t->cb = cb;
    t->last_run_ms = clock_ms() - period_ms - 1; /* due at once */
    FakeTimer* raw = t.get();
    fake_timers().timers.push_back(std::move(t));
    return raw;
}

void fake_protocol_timer_delete(protocol_timer_t timer) {
    if (timer != nullptr) static_cast<FakeTimer*>(timer)->alive = false;
}

void fake_timer_fire(protocol_timer_t timer) {
    auto* t = static_cast<FakeTimer*>(timer);
    if (t == nullptr || !t->alive || t->cb == nullptr) return;
    t->last_run_ms = clock_ms();
    t->fired_ms.push_back(t->last_run_ms);
    t->cb(timer);
}

int fake_timers_run_due() {
    int calls = 0;
    const uint64_t now = clock_ms();
    const size_t n = fake_timers().timers.size(); /* timers started by a callback wait for the next run */
    for (size_t i = 0; i < n; ++i) {
        FakeTimer* t = fake_timers().timers[i].get();
        if (!t->alive || now - t->last_run_ms < t->period_ms) continue;
        fake_timer_fire(t);
        ++calls;
    }
    return calls;
}

void fake_protocol_timers_fill_port(ScreenPort& port) {
    port.timer_start = fake_protocol_timer_start;
    port.timer_delete = fake_protocol_timer_delete;
}
