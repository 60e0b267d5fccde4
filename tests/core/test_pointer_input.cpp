/* Pointer state between polls: quick clicks survive, the position is the last move. */
#include "app/pointer_input.h"

#include <gtest/gtest.h>

namespace {
bool poll_pressed(PointerInput& p, int32_t* x = nullptr, int32_t* y = nullptr) {
    int32_t px = 0, py = 0;
    bool pressed = false;
    pointer_input_poll(p, x ? x : &px, y ? y : &py, &pressed);
    return pressed;
}
} // namespace

TEST(PointerInput, quick_clicks_between_two_polls_each_give_a_press_then_a_release) {
    PointerInput p;
    for (int i = 0; i < 5; ++i) {
        pointer_input_button(p, true);
        pointer_input_button(p, false);
    }
    for (int i = 0; i < 5; ++i) {
        EXPECT_TRUE(poll_pressed(p)) << "click " << i;
        EXPECT_FALSE(poll_pressed(p)) << "click " << i;
    }
    EXPECT_FALSE(poll_pressed(p));
}

TEST(PointerInput, a_held_button_stays_pressed_and_the_position_is_the_last_move) {
    PointerInput p;
    pointer_input_move(p, 10, 20);
    pointer_input_button(p, true);
    pointer_input_move(p, 30, 40);
    int32_t x = 0, y = 0;
    EXPECT_TRUE(poll_pressed(p, &x, &y));
    EXPECT_EQ(x, 30);
    EXPECT_EQ(y, 40);
    EXPECT_TRUE(poll_pressed(p)); /* queue empty: the current state */
}

TEST(PointerInput, a_flood_of_changes_keeps_the_oldest_and_ends_in_the_current_state) {
    PointerInput p;
    for (int i = 0; i < 3 * POINTER_QUEUE_SIZE; ++i)
        pointer_input_button(p, i % 2 == 0);
    for (int i = 0; i < POINTER_QUEUE_SIZE; ++i)
        EXPECT_EQ(poll_pressed(p), i % 2 == 0) << i;
    EXPECT_FALSE(poll_pressed(p)); /* the last change was a release */
}
