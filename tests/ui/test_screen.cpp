/* The main screen: the language button reaching every panel, the type field's filter, the
 * picture rule. */
#include "common/lang.h"
#include "ui/param_panel.h"
#include "tests/fakes/common/fake_platform.h"
#include "tests/support/files.h"
#include "tests/support/headless.h"
#include "ui/screen.h"

#include <gtest/gtest.h>

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

TEST_F(ScreenTest, missing_picture_tells_the_user_posts_quit_and_stops_the_build) {
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
    ASSERT_EQ(fake_platform().message_boxes.size(), 1u);
    EXPECT_EQ(fake_platform().message_boxes[0].text, "检查是否存在\"QRX_V107_config.bin\"文件");
    EXPECT_EQ(fake_platform().message_boxes[0].caption, "Error");
    EXPECT_EQ(fake_platform().quit_codes, std::vector<int>{0});
}
