#pragma once

#include "common/screen_port.h"

#include <cstdint>
#include <memory>
#include <vector>

/* One timer started by the code under test. */
struct FakeTimer {
    uint32_t period_ms = 0;
    protocol_timer_cb cb = nullptr;
    uint64_t last_run_ms = 0; /* clock_ms() at the last call; a new timer is due at once */
    bool alive = true;
    int fired = 0;
};

struct FakeTimers {
    std::vector<std::unique_ptr<FakeTimer>> timers; /* in start order, deleted ones included */
    bool fail_next_start = false;                   /* the next start returns null */
};

FakeTimers& fake_timers();
void fake_timers_reset();

/* Number of timers not deleted yet. */
int fake_timers_alive();

/* Calls a live timer's callback once, as LVGL does when it is due. */
void fake_timer_fire(protocol_timer_t timer);
