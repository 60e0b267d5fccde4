/* The three prompt boxes: titles by language, red text for alerts and errors, size, stacking,
 * cut texts, closing. */
#include "common/lang.h"
#include "common/prompt.h"
#include "tests/support/headless.h"

#include <gtest/gtest.h>

#include <string>

namespace {

class PromptTest : public ::testing::Test {
protected:
    void SetUp() override {
        lang_reset();
        headless_new_screen();
    }
    void TearDown() override { lang_reset(); }

    static lv_obj_t* content_label(lv_obj_t* box) { return lv_obj_get_child(lv_msgbox_get_content(box), 0); }
    static uint32_t text_color(lv_obj_t* label) {
        return lv_color_to_u32(lv_obj_get_style_text_color(label, LV_PART_MAIN)) & 0xFFFFFF;
    }
};

} // namespace

TEST_F(PromptTest, titles_follow_the_language_flag) {
    show_prompt("a");
    show_error("b");
    ui_language_chinese = 0;
    show_prompt_alert("c");
    show_error("d");
    ASSERT_EQ(headless_msgbox_count(), 4);
    EXPECT_EQ(headless_msgbox_title(headless_msgbox(0)), "提示");
    EXPECT_EQ(headless_msgbox_title(headless_msgbox(1)), "错误");
    EXPECT_EQ(headless_msgbox_title(headless_msgbox(2)), "Prompt");
    EXPECT_EQ(headless_msgbox_title(headless_msgbox(3)), "Error");
    EXPECT_EQ(headless_msgbox_text(headless_msgbox(3)), "d");
}

TEST_F(PromptTest, alerts_and_errors_are_red_and_prompts_keep_the_theme_colour) {
    lv_obj_t* p = static_cast<lv_obj_t*>(show_prompt("ok"));
    lv_obj_t* a = static_cast<lv_obj_t*>(show_prompt_alert("notice"));
    lv_obj_t* e = static_cast<lv_obj_t*>(show_error("failed"));
    EXPECT_EQ(text_color(content_label(a)), 0xCA1515u);
    EXPECT_EQ(text_color(content_label(e)), 0xCA1515u);
    EXPECT_NE(text_color(content_label(p)), 0xCA1515u);
}

TEST_F(PromptTest, boxes_are_350_by_150_centred_and_stack_without_blocking) {
    show_error("Please enter a number between 0 and 4096");
    show_error("Please enter a number between 0 and 4096");
    headless_run(20);
    ASSERT_EQ(headless_msgbox_count(), 2);
    for (int i = 0; i < 2; ++i) {
        lv_obj_t* box = headless_msgbox(i);
        lv_obj_update_layout(box);
        EXPECT_EQ(lv_obj_get_width(box), 350);
        EXPECT_EQ(lv_obj_get_height(box), 150);
        lv_area_t a;
        lv_obj_get_coords(box, &a);
        EXPECT_EQ(a.x1, (970 - 350) / 2);
        EXPECT_EQ(a.y1, (660 - 150) / 2);
        /* Children of the screen, no modal backdrop layer. */
        EXPECT_EQ(lv_obj_get_parent(box), lv_screen_active());
    }
}

TEST_F(PromptTest, long_text_is_cut_to_1023_bytes_on_a_character_boundary) {
    std::string text;
    while (text.size() < 1500) text += "舵机"; /* 3-byte characters: 1023 falls mid-character */
    lv_obj_t* box = static_cast<lv_obj_t*>(show_prompt(text.c_str()));
    const std::string shown = headless_msgbox_text(box);
    EXPECT_LE(shown.size(), 1023u);
    EXPECT_GE(shown.size(), 1021u);
    EXPECT_EQ(shown, text.substr(0, shown.size()));
    EXPECT_EQ(shown.size() % 3, 0u);
}

TEST_F(PromptTest, the_close_button_and_prompt_close_remove_a_box) {
    lv_obj_t* first = static_cast<lv_obj_t*>(show_prompt("one"));
    prompt_box_t second = show_prompt_alert("two");
    ASSERT_EQ(headless_msgbox_count(), 2);
    prompt_close(second);
    headless_run(20);
    ASSERT_EQ(headless_msgbox_count(), 1);
    prompt_close(nullptr);

    lv_obj_t* header = lv_msgbox_get_header(first);
    lv_obj_t* close = lv_obj_get_child(header, -1);
    headless_click_obj(close);
    EXPECT_EQ(headless_msgbox_count(), 0);
}
