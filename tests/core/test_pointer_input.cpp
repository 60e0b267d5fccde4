/* Pointer state between polls: quick clicks survive, a flood of changes does not overflow. */
#include "app/pointer_input.h"

#include <gtest/gtest.h>

namespace {
bool poll_pressed(PointerInput& p) {
    int32_t x = 0, y = 0;
    bool pressed = false;
    pointer_input_poll(p, &x, &y, &pressed);
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

TEST(PointerInput, a_flood_of_changes_keeps_the_oldest_and_ends_in_the_current_state) {
    PointerInput p;
    for (int i = 0; i < 3 * POINTER_QUEUE_SIZE; ++i)
        pointer_input_button(p, i % 2 == 0);
    for (int i = 0; i < POINTER_QUEUE_SIZE; ++i)
        EXPECT_EQ(poll_pressed(p), i % 2 == 0) << i;
    EXPECT_FALSE(poll_pressed(p)); /* the last change was a release */
}
