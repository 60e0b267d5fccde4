/* The focused field's cursor rests while the user is away: with full-screen rendering every
 * blink redraws the whole window. */
#include "common/lang.h"
#include "tests/support/headless.h"
#include "ui/screen.h"
#include "ui/text_cursor.h"

#include "lvgl.h"

#include <gtest/gtest.h>

namespace {

/* Counts redraw requests over `ms` of running. */
int invalidations_during(uint32_t ms) {
    int count = 0;
    lv_display_t* disp = lv_display_get_default();
    auto cb = [](lv_event_t* e) { ++*static_cast<int*>(lv_event_get_user_data(e)); };
    lv_display_add_event_cb(disp, cb, LV_EVENT_REFR_REQUEST, &count);
    headless_run(ms);
    lv_display_remove_event_cb_with_user_data(disp, cb, &count);
    return count;
}

class TextCursorTest : public ::testing::Test {
protected:
    void SetUp() override {
        lang_reset();
        headless_new_screen();
        ASSERT_TRUE(main_ui_build());
        headless_run(100);
    }
};

} // namespace

TEST_F(TextCursorTest, a_resting_screen_requests_no_redraw) {
    text_cursor_set_blinking(false);
    headless_run(1000); /* a field scrolled to its cursor settles first */
    EXPECT_EQ(invalidations_during(3000), 0);
}

TEST_F(TextCursorTest, the_focused_field_blinks_rests_and_wakes_on_request) {
    lv_group_focus_obj(ui_year_input);
    text_cursor_set_blinking(true);
    headless_run(500);
    EXPECT_GE(invalidations_during(3000), 5); /* blinks every 400 ms */

    text_cursor_set_blinking(false);
    headless_run(500);
    EXPECT_EQ(invalidations_during(3000), 0);
    EXPECT_TRUE(lv_obj_has_state(ui_year_input, LV_STATE_FOCUSED));

    text_cursor_set_blinking(true);
    headless_run(100);
    EXPECT_GE(invalidations_during(3000), 5);
}

TEST_F(TextCursorTest, a_rested_cursor_does_not_follow_the_focus_to_another_field) {
    lv_group_focus_obj(ui_year_input);
    text_cursor_set_blinking(false);
    lv_group_focus_obj(ui_month_input); /* the user clicks another field... */
    text_cursor_set_blinking(true);     /* ...which counts as input */
    headless_run(500);
    EXPECT_GE(invalidations_during(3000), 5);
    lv_group_focus_obj(ui_year_input); /* the first field blinks again as the theme has it */
    headless_run(500);
    EXPECT_GE(invalidations_during(3000), 5);
}
