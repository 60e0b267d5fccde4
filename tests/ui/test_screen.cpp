/* The main screen: the language button reaching every panel, the type field's filter, the
 * picture rule. */
#include "common/lang.h"
#include "ui/param_panel.h"
#include "tests/fakes/common/fake_platform.h"
#include "tests/support/files.h"
#include "tests/support/headless.h"
#include "ui/screen.h"
#include "ui/text_cursor.h"

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
    EXPECT_EQ(fake_platform().quit_codes, std::vector<int>{0});
}
