/* The main screen as built at start and relabelled by the language button: the texts in both
 * languages, the information fields, the picture rule. */
#include "common/lang.h"
#include "ui/param_panel.h"
#include "tests/fakes/common/fake_platform.h"
#include "tests/support/files.h"
#include "tests/support/headless.h"
#include "ui/screen.h"
#include "ui/text_cursor.h"

#include <gtest/gtest.h>

#include <vector>

#include <unistd.h>

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

/* The pixels of a whole frame drawn now. */
std::vector<uint32_t> draw_frame() {
    lv_display_t* disp = lv_display_get_default();
    lv_obj_invalidate(lv_screen_active());
    lv_refr_now(disp);
    const lv_draw_buf_t* buf = lv_display_get_buf_active(disp);
    const uint32_t* px = reinterpret_cast<const uint32_t*>(buf->data);
    return std::vector<uint32_t>(px, px + UI_SCREEN_WIDTH * UI_SCREEN_HEIGHT);
}

std::string text(lv_obj_t* obj) {
    return lv_obj_check_type(obj, &lv_checkbox_class) ? lv_checkbox_get_text(obj) : headless_label_text(obj);
}

} // namespace

TEST_F(ScreenTest, texts_at_start_in_either_language_and_after_each_press_of_the_language_button) {
    struct Row {
        lv_obj_t* (*widget)();
        const char* text[4]; /* built in Chinese, built in English, first press (English), second press */
    };
    const Row rows[] = {
        {[] { return ui_info_title; },
         {"#FFFFFF 舵机信息", "#FFFFFF Servo Information", "#FFFFFF Serivo Information", "#FFFFFF 舵机信息"}},
        {[] { return ui_type_label; },
         {"#FFFFFF 舵机型号:", "#FFFFFF Servo Type:", "#FFFFFF Serivo Type:", "#FFFFFF 舵机型号:"}},
        {[] { return ui_vertime_label; },
         {"#FFFFFF 舵机版本时间:", "#FFFFFF Servo Version Time:", "#FFFFFF Serivo Ver Time:", "#FFFFFF 舵机版本时间:"}},
        {[] { return ui_year_label; }, {"#FFFFFF 年", "#FFFFFF Year", "#FFFFFF Y", "#FFFFFF 年"}},
        {[] { return ui_month_label; }, {"#FFFFFF 月", "#FFFFFF Month", "#FFFFFF M", "#FFFFFF 月"}},
        {[] { return ui_day_label; }, {"#FFFFFF 日", "#FFFFFF Day", "#FFFFFF D", "#FFFFFF 日"}},
        {[] { return ui_read_info_button; }, {"读取信息", "读取信息", "#000000 Read Infor", "#000000 读取信息"}},
        {[] { return ui_write_info_button; }, {"写入信息", "写入信息", "#000000 Write Infor", "#000000 写入信息"}},
        {[] { return ui_port_label; }, {"串  口", "Serial Port", "Serial Port", "  串  口   "}},
        {[] { return ui_port_button; },
         {"#000000 打开端口#", "#000000 Open Port#", "#000000 Open Port#", "#000000 打开端口#"}},
        {[] { return ui_action_buttons[0]; }, {"读取参数", "Read Servo", "Read Servo", "读取参数"}},
        {[] { return ui_action_buttons[1]; }, {"写入参数", "Write Servo", "Write Servo", "写入参数"}},
        {[] { return ui_action_buttons[2]; }, {"从PC导入参数", "Load from PC", "Load from PC", "从PC导入参数"}},
        {[] { return ui_action_buttons[3]; }, {"保存参数到PC", "Save to PC", "Save to PC", "保存参数到PC"}},
        {[] { return ui_lang_button; }, {"中/EN", "中/EN", "中/EN", "中/EN"}},
        {[] { return ui_version_label; }, {"Version: v1.0.7", "Version: v1.0.7", "Version: v1.0.7", "Version: v1.0.7"}},
        {[] { return ui_level1_checkbox; }, {"一级堵转", "First level blockage", "First level blockage", "一级堵转"}},
        {[] { return ui_level2_checkbox; }, {"二级堵转", "Second level blockage", "Second level blockage", "二级堵转"}},
        {[] { return ui_level3_checkbox; }, {"三级堵转", "Third level blockage", "Third level blockage", "三级堵转"}},
        {[] { return ui_direction_checkbox; }, {"反转 ", "Inversion", "Inversion", "反转 "}},
        /* The captions' paddings differ between build and relabel. */
        {[] { return panel_caption_widget(PanelEntry::MinAngle); },
         {"最小角度    ", "MinAngle     ", "MinAngle    ", "最小角度    "}},
        {[] { return panel_caption_widget(PanelEntry::MinPulse); },
         {"最小脉宽    ", "MinPulse     ", "MinPulse    ", "最小脉宽     "}},
        {[] { return panel_caption_widget(PanelEntry::Gain); }, {"增益        ", "Gain   ", "Gain   ", "增益   "}},
        {[] { return panel_caption_widget(PanelEntry::Stall1Time); },
         {"堵转1时间", "Overload Time 1", "Time  1", "堵转1时间"}},
        {[] { return panel_caption_widget(PanelEntry::Stall2Power); },
         {"堵转2功率", "Overload Power 2", "Power 2", "堵转2功率"}},
        {[] { return panel_caption_widget(PanelEntry::SoftStart); },
         {"   软启动", "SoftStart", "SoftStart", "  软启动"}},
    };
    /* The platform (the fake) reports "en_US": the tool asks and starts in Chinese all the same. */
    auto expect_column = [&](int column) {
        for (const Row& r : rows)
            EXPECT_EQ(text(r.widget()), r.text[column]) << "column " << column << ", expected " << r.text[0];
    };
    ASSERT_TRUE(main_ui_build());
    EXPECT_EQ(lang_state().ui_language_at_start, LANG_AT_START_CHINESE);
    expect_column(0);
    headless_click_obj(ui_lang_button);
    EXPECT_EQ(lang_state().ui_language_chinese, 0);
    expect_column(2);
    headless_click_obj(ui_lang_button);
    EXPECT_EQ(lang_state().ui_language_chinese, 1);
    expect_column(3);
    EXPECT_EQ(lang_state().ui_language_at_start, LANG_AT_START_CHINESE) << "the toggle leaves the start value";

    headless_new_screen();
    lang_set_chinese(0);
    ASSERT_TRUE(main_ui_build());
    EXPECT_EQ(lang_state().ui_language_at_start, LANG_AT_START_OTHER);
    expect_column(1);
    EXPECT_TRUE(fake_platform().message_boxes.empty());
}

TEST_F(ScreenTest, information_fields_take_keyboard_input_and_the_type_field_filters_it) {
    ASSERT_TRUE(main_ui_build());
    const std::pair<lv_obj_t*, const char*> fields[] = {
        {ui_type_input, ""}, {ui_year_input, "2026"}, {ui_month_input, "01"}, {ui_day_input, "01"}};
    headless_run(50);
    for (const auto& [ta, start] : fields) {
        EXPECT_STREQ(lv_textarea_get_text(ta), start);
        EXPECT_TRUE(lv_textarea_get_one_line(ta));
        EXPECT_EQ(lv_obj_get_group(ta), ui_input_group);
        /* Narrow fields show their whole text, not scrolled to a cursor placed before their size
         * was known. */
        EXPECT_EQ(lv_obj_get_scroll_x(ta), 0);
    }
    /* Letters, digits and the listed punctuation only, 20 at most. */
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

TEST_F(ScreenTest, missing_picture_tells_the_user_posts_quit_and_stops_the_build) {
    const lv_tick_get_cb_t clock = lv_tick_get_cb();
    char cwd[4096];
    ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
    bool built = true;
    {
        TempDir empty;
        ASSERT_EQ(chdir(empty.path.c_str()), 0);
        built = main_ui_build();
        ASSERT_EQ(chdir(cwd), 0);
    }
    EXPECT_FALSE(built);
    EXPECT_EQ(lv_tick_get_cb(), clock);
    ASSERT_EQ(fake_platform().message_boxes.size(), 1u);
    EXPECT_EQ(fake_platform().message_boxes[0].text, "检查是否存在\"QRX_V107_config.bin\"文件");
    EXPECT_EQ(fake_platform().message_boxes[0].caption, "Error");
    EXPECT_EQ(fake_platform().message_boxes[0].icon, MsgBoxIcon::Exclamation);
    EXPECT_EQ(fake_platform().quit_codes, std::vector<int>{0});
    EXPECT_EQ(ui_config_image, nullptr);
    EXPECT_EQ(ui_bottom_panel, nullptr);
    EXPECT_EQ(ui_port_button, nullptr);
}
