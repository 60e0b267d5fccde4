#include "app/main_loop.h"

#include "app/app.h"
#include "app/window.h"
#include "common/clock.h"

namespace {

struct LoopState {
    bool started = false; /* the tick runs from the first loop round on */
    bool quitting = false;
    int exit_code = 0;
    uint64_t next_tick = 0;
};

LoopState g_loop;

/* One round: wait for events until the tick is due, handle them, tick if due. */
void run_round(uint64_t deadline) {
    const uint32_t input_before = app_last_input_ms();
    window_wait_events(deadline);
    const uint64_t now = clock_ms();
    /* the user is back after an idle stretch: full rate at once, not at the next slow tick */
    if (app_last_input_ms() != input_before && g_loop.next_tick > now + APP_TICK_PERIOD_MS)
        g_loop.next_tick = now + APP_TICK_PERIOD_MS;
    main_loop_tick_if_due();
}

} // namespace

int main_loop_run() {
    g_loop = LoopState{};
    if (window_create() != 0) return 0;
    if (app_create() != 0) {
        window_destroy();
        return 0;
    }
    window_show();
    g_loop.started = true;
    g_loop.next_tick = clock_ms() + APP_TICK_PERIOD_MS;
    while (!g_loop.quitting)
        run_round(g_loop.next_tick);
    app_destroy();
    window_destroy();
    return g_loop.exit_code;
}

void main_loop_quit(int code) {
    if (g_loop.quitting) return;
    g_loop.quitting = true;
    g_loop.exit_code = code;
}

bool main_loop_quitting() { return g_loop.quitting; }

bool main_loop_pump() {
    if (!g_loop.quitting) window_wait_events(0);
    if (!g_loop.quitting) main_loop_tick_if_due();
    return !g_loop.quitting;
}

void main_loop_tick_if_due() {
    if (!g_loop.started || g_loop.quitting) return;
    const uint64_t now = clock_ms();
    if (now < g_loop.next_tick) return;
    const uint64_t due = g_loop.next_tick;
    /* A modal box opened by this tick pumps the loop from inside it: keep its ticks paced. */
    g_loop.next_tick = now + APP_TICK_PERIOD_MS;
    app_tick();
    const uint64_t after = clock_ms();
    const uint32_t period = app_tick_period_ms();
    uint64_t next = due + period;
    if (next <= after) next = after + period; /* fell behind (or a box was open): no burst */
    g_loop.next_tick = next;
}
