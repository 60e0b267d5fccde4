/* Pointer state between polls: quick clicks survive, the position is the last move. */
#include "app/pointer_input.h"

#include <gtest/gtest.h>

namespace {
struct Poll {
    int32_t x, y;
    bool pressed;
};
Poll poll(PointerInput& p) {
    Poll r{};
    pointer_input_poll(p, &r.x, &r.y, &r.pressed);
    return r;
}
} // namespace

TEST(PointerInput, a_click_between_two_polls_is_reported_as_press_then_release) {
    PointerInput p;
    pointer_input_move(p, 100, 200);
    pointer_input_button(p, true);
    pointer_input_button(p, false);
    EXPECT_TRUE(poll(p).pressed);
    EXPECT_FALSE(poll(p).pressed);
    EXPECT_FALSE(poll(p).pressed);
}

TEST(PointerInput, five_quick_clicks_give_five_presses) {
    PointerInput p;
    for (int i = 0; i < 5; ++i) {
        pointer_input_button(p, true);
        pointer_input_button(p, false);
    }
    int presses = 0;
    bool was = false;
    for (int i = 0; i < 20; ++i) {
        const bool now = poll(p).pressed;
        presses += now && !was;
        was = now;
    }
    EXPECT_EQ(presses, 5);
}

TEST(PointerInput, a_held_button_stays_pressed_and_the_position_is_the_last_move) {
    PointerInput p;
    pointer_input_move(p, 10, 20);
    pointer_input_button(p, true);
    pointer_input_move(p, 30, 40);
    Poll r = poll(p);
    EXPECT_TRUE(r.pressed);
    EXPECT_EQ(r.x, 30);
    EXPECT_EQ(r.y, 40);
    EXPECT_TRUE(poll(p).pressed); /* queue empty: the current state */
}

TEST(PointerInput, a_flood_of_changes_keeps_the_oldest_and_ends_in_the_current_state) {
    PointerInput p;
    for (int i = 0; i < 3 * POINTER_QUEUE_SIZE; ++i) pointer_input_button(p, i % 2 == 0);
    for (int i = 0; i < POINTER_QUEUE_SIZE; ++i) EXPECT_EQ(poll(p).pressed, i % 2 == 0) << i;
    EXPECT_FALSE(poll(p).pressed); /* the last change was a release */
}
