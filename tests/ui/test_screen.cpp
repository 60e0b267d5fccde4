/* The main screen: the language button reaching every panel, the type field's filter, a settled
 * first frame; the prompt boxes: titles by language, red text for alerts and errors, none
 * replacing another, cut texts, closing. */
#include "common/lang.h"
#include "common/prompt.h"
#include "ui/param_panel.h"
#include "tests/fakes/common/fake_platform.h"
#include "tests/support/headless.h"
#include "ui/screen.h"
#include "ui/text_cursor.h"

namespace {

class ScreenTest : public ::testing::Test {
  protected:
    void SetUp() override {
        lang_reset();
        fake_platform_reset();
        headless_new_screen();
    }
    void TearDown() override { lang_reset(); }
};
using PromptTest = ScreenTest;

/* The pixels of a whole frame drawn now. */
std::vector<uint32_t> draw_frame() {
    lv_display_t* disp = lv_display_get_default();
    lv_obj_invalidate(lv_screen_active());
    lv_refr_now(disp);
    const lv_draw_buf_t* buf = lv_display_get_buf_active(disp);
    const uint32_t* px = reinterpret_cast<const uint32_t*>(buf->data);
    return std::vector<uint32_t>(px, px + UI_SCREEN_WIDTH * UI_SCREEN_HEIGHT);
}

} // namespace

TEST_F(ScreenTest, language_button_relabels_every_panel_both_ways) {
    ASSERT_TRUE(main_ui_build());
    /* One widget of each panel: English after the first press, Chinese after the second. */
    const struct {
        lv_obj_t* widget;
        const char* text[2];
    } rows[] = {
        {ui_action_buttons[0], {"Read Servo", "读取参数"}},
        {ui_port_button, {"#000000 Open Port#", "#000000 打开端口#"}},
        {ui_info_title, {"#FFFFFF Serivo Information", "#FFFFFF 舵机信息"}},
        {panel_caption_widget(PanelEntry::Stall1Time), {"Time  1", "堵转1时间"}},
        {ui_level1_checkbox, {"First level blockage", "一级堵转"}},
    };
    for (int press = 0; press < 2; ++press) {
        headless_click_obj(ui_lang_button);
        for (const auto& r : rows) {
            const bool box = lv_obj_check_type(r.widget, &lv_checkbox_class);
            EXPECT_EQ(box ? lv_checkbox_get_text(r.widget) : headless_label_text(r.widget), r.text[press])
                << "press " << press + 1;
        }
    }
}

TEST_F(ScreenTest, type_field_takes_letters_digits_and_listed_punctuation_up_to_twenty) {
    ASSERT_TRUE(main_ui_build());
    lv_textarea_add_text(ui_type_input, "Ab 9!_+|\"x");
    EXPECT_STREQ(lv_textarea_get_text(ui_type_input), "Ab9_+|\"x");
    lv_textarea_set_text(ui_type_input, "");
    lv_textarea_add_text(ui_type_input, "ABCDEFGHIJKLMNOPQRSTUVWXYZ");
    EXPECT_STREQ(lv_textarea_get_text(ui_type_input), "ABCDEFGHIJKLMNOPQRST");
}

TEST_F(ScreenTest, the_first_frame_after_the_build_is_the_settled_screen) {
    const lv_tick_get_cb_t clock = lv_tick_get_cb();
    ASSERT_TRUE(main_ui_build());
    EXPECT_EQ(lv_tick_get_cb(), clock) << "LVGL runs on the program's clock again";
    text_cursor_set_blinking(false); /* the focused field's cursor shows steadily in both frames */
    const std::vector<uint32_t> first = draw_frame();
    headless_run(3000);
    const std::vector<uint32_t> settled = draw_frame();
    size_t differing = 0;
    for (size_t i = 0; i < first.size(); ++i)
        differing += first[i] != settled[i];
    EXPECT_EQ(differing, 0u) << "fields scrolling or scrollbars fading after the first frame";
}

TEST_F(PromptTest, boxes_have_their_title_by_language_and_red_text_for_alerts_and_errors) {
    const struct {
        prompt_box_t (*show)(const char*);
        int chinese;
        const char* title;
        bool red;
    } cases[] = {{show_prompt, 1, "提示", false},
                 {show_error, 1, "错误", true},
                 {show_prompt_alert, 0, "Prompt", true},
                 {show_error, 0, "Error", true}};
    for (const auto& c : cases) {
        lang_set_chinese(c.chinese);
        lv_obj_t* box = static_cast<lv_obj_t*>(c.show("text"));
        EXPECT_EQ(headless_msgbox_title(box), c.title);
        EXPECT_EQ(headless_msgbox_text(box), "text");
        lv_obj_t* label = lv_obj_get_child(lv_msgbox_get_content(box), 0);
        const uint32_t colour = lv_color_to_u32(lv_obj_get_style_text_color(label, LV_PART_MAIN)) & 0xFFFFFF;
        EXPECT_EQ(colour == 0xCA1515u, c.red) << c.title << " " << std::hex << colour;
    }
    headless_run(20);
    EXPECT_EQ(headless_msgboxes().size(), 4u) << "none blocks or replaces another";
}

TEST_F(PromptTest, long_text_is_cut_to_1023_bytes_on_a_character_boundary) {
    std::string text = "a";
    while (text.size() < 1500)
        text += "舵机"; /* 3-byte characters after one byte: 1023 falls mid-character */
    const std::string shown = headless_msgbox_text(static_cast<lv_obj_t*>(show_prompt(text.c_str())));
    EXPECT_EQ(shown, text.substr(0, 1 + 340 * 3));
}

TEST_F(PromptTest, the_close_button_and_prompt_close_remove_a_box) {
    lv_obj_t* first = static_cast<lv_obj_t*>(show_prompt("one"));
    prompt_close(show_prompt_alert("two"));
    headless_run(20);
    ASSERT_EQ(headless_msgboxes().size(), 1u);
    prompt_close(nullptr);
    headless_click_obj(lv_obj_get_child(lv_msgbox_get_header(first), -1));
    EXPECT_TRUE(headless_msgboxes().empty());
}
