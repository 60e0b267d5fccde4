/* The focused field's cursor rests while the user is away: with full-screen rendering every
 * blink redraws the whole window. */
#include "common/lang.h"
#include "tests/support/headless.h"
#include "ui/screen.h"
#include "ui/text_cursor.h"

#include <gtest/gtest.h>

namespace {

/* Counts redraw requests over 3 s of running, after `settle_ms` to let the screen settle. */
int redraws_after(uint32_t settle_ms) {
    headless_run(settle_ms);
    int count = 0;
    lv_display_t* disp = lv_display_get_default();
    auto cb = [](lv_event_t* e) { ++*static_cast<int*>(lv_event_get_user_data(e)); };
    lv_display_add_event_cb(disp, cb, LV_EVENT_REFR_REQUEST, &count);
    headless_run(3000);
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

TEST_F(TextCursorTest, the_focused_field_blinks_rests_and_wakes_on_request) {
    text_cursor_set_blinking(false);
    EXPECT_EQ(redraws_after(1000), 0) << "a resting screen requests no redraw";

    lv_group_focus_obj(ui_year_input);
    text_cursor_set_blinking(true);
    EXPECT_GE(redraws_after(500), 5); /* blinks every 400 ms */
    text_cursor_set_blinking(false);
    EXPECT_EQ(redraws_after(500), 0);
    EXPECT_TRUE(lv_obj_has_state(ui_year_input, LV_STATE_FOCUSED));
    text_cursor_set_blinking(true);
    EXPECT_GE(redraws_after(100), 5);
}

TEST_F(TextCursorTest, a_rested_cursor_does_not_follow_the_focus_to_another_field) {
    lv_group_focus_obj(ui_year_input);
    text_cursor_set_blinking(false);
    lv_group_focus_obj(ui_month_input); /* the user clicks another field... */
    text_cursor_set_blinking(true);     /* ...which counts as input */
    EXPECT_GE(redraws_after(500), 5);
    lv_group_focus_obj(ui_year_input); /* the first field blinks again as the theme has it */
    EXPECT_GE(redraws_after(500), 5);
}
