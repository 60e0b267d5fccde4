/* The program's loop over a scripted window and a recording shell, on a test clock: the tick's
 * pace, the loop kept alive by a modal box, and quitting. */
#include "app/app.h"
#include "app/main_loop.h"
#include "app/window.h"
#include "common/clock.h"

#include <gtest/gtest.h>

#include <functional>
#include <utility>
#include <map>
#include <vector>

namespace {

struct Script {
    uint64_t now = 1000;
    std::multimap<uint64_t, std::function<void()>> events; /* window events by time */
    std::vector<uint64_t> ticks;
    std::vector<uint64_t> rx;
    std::function<void()> on_create, on_tick;
    uint32_t period = APP_TICK_PERIOD_MS;
    uint32_t last_input = 0;
    int destroyed = 0;
};
Script g;

uint64_t script_now() { return g.now; }

void at(uint64_t t, std::function<void()> what) { g.events.emplace(t, std::move(what)); }

/* A modal box: the nested loop pumps every 5 ms until the box closes or the program quits. */
void modal_box(uint64_t close_at) {
    while (g.now < close_at) {
        g.now += 5;
        if (!main_loop_pump()) return;
    }
}

class MainLoopTest : public ::testing::Test {
  protected:
    void SetUp() override {
        g = Script{};
        clock_set_source(script_now);
    }
    void TearDown() override { clock_set_source(nullptr); }
};

} // namespace

/* ---- the window and the shell, as the loop sees them ---- */

int window_create() { return 0; }
void window_show() {}
void window_destroy() { ++g.destroyed; }
void window_wait_events(uint64_t deadline) {
    auto next = g.events.begin();
    if (next == g.events.end() || next->first > std::max(deadline, g.now)) {
        g.now = std::max(g.now, deadline);
        return;
    }
    g.now = std::max(g.now, next->first);
    auto what = next->second;
    g.events.erase(next);
    what();
}
int app_create() {
    if (g.on_create) g.on_create();
    return 0;
}
void app_tick() {
    g.ticks.push_back(g.now);
    if (g.on_tick) std::exchange(g.on_tick, nullptr)();
}
void app_destroy() {}
uint32_t app_tick_period_ms() { return g.period; }
uint32_t app_last_input_ms() { return g.last_input; }

TEST_F(MainLoopTest, ticks_keep_their_pace_slow_down_when_idle_catch_up_without_a_burst_and_speed_up_on_input) {
    at(1022, [] { g.period = APP_IDLE_TICK_PERIOD_MS; });
    at(1050, [] { g.on_tick = [] { g.now += 40; }; }); /* a slow tick */
    at(1146, [] { /* the user is back */
        g.last_input = 1146;
        g.period = APP_TICK_PERIOD_MS;
    });
    at(1200, [] { main_loop_quit(3); });
    EXPECT_EQ(main_loop_run(), 3);
    const std::vector<uint64_t> expected = {1005, 1010, 1015, 1020, 1025, 1041, 1057, 1113, 1129, 1145,
                                            1151, 1156, 1161, 1166, 1171, 1176, 1181, 1186, 1191, 1196};
    EXPECT_EQ(g.ticks, expected);
    EXPECT_EQ(g.destroyed, 1);
}

TEST_F(MainLoopTest, a_box_opened_by_a_tick_keeps_ticks_and_wakeups_going_and_closes_when_the_program_quits) {
    g.on_tick = [] { modal_box(5000); };
    at(1030, [] { g.rx.push_back(g.now); });
    at(1100, [] { main_loop_quit(0); });
    EXPECT_EQ(main_loop_run(), 0);
    EXPECT_EQ(g.rx, std::vector<uint64_t>{1030});
    ASSERT_GE(g.ticks.size(), 15u) << "the tick stopped while the box was open";
    for (size_t i = 1; i < g.ticks.size(); ++i)
        EXPECT_EQ(g.ticks[i] - g.ticks[i - 1], 5u) << "tick " << i;
    EXPECT_LE(g.ticks.back(), 1100u) << "ticked after quit";
    EXPECT_LT(g.now, 1200u) << "the box stayed open after quit";
}

TEST_F(MainLoopTest, a_box_during_start_up_handles_events_but_never_ticks_and_a_quit_then_ends_the_program) {
    /* the picture is missing: a box, then quit, before the screen exists */
    g.on_create = [] {
        at(1010, [] { g.rx.push_back(g.now); });
        modal_box(1100);
        at(g.now, [] { main_loop_quit(0); });
    };
    EXPECT_EQ(main_loop_run(), 0);
    EXPECT_EQ(g.rx.size(), 1u);
    EXPECT_TRUE(g.ticks.empty());
}
