/* The main screen as built at start: handles, texts, geometry, the picture rule, the language
 * button. */
#include "common/lang.h"
#include "tests/fakes/common/fake_platform.h"
#include "tests/support/headless.h"
#include "ui/screen.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
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

    static std::string text(lv_obj_t* obj) { return headless_label_text(obj); }
    static lv_area_t coords(lv_obj_t* obj) {
        lv_obj_update_layout(obj);
        lv_area_t a;
        lv_obj_get_coords(obj, &a);
        return a;
    }
};

void expect_box(lv_obj_t* obj, int32_t x, int32_t y, int32_t w, int32_t h) {
    ASSERT_NE(obj, nullptr);
    lv_obj_update_layout(obj);
    EXPECT_EQ(lv_obj_get_x(obj), x);
    EXPECT_EQ(lv_obj_get_y(obj), y);
    EXPECT_EQ(lv_obj_get_width(obj), w);
    EXPECT_EQ(lv_obj_get_height(obj), h);
}

} // namespace

/* The platform (the fake) reports "en_US": the tool asks and starts in Chinese all the same. */
TEST_F(ScreenTest, builds_every_panel_in_chinese_at_start) {
    ASSERT_TRUE(main_ui_build());
    EXPECT_EQ(ui_language_at_start, LANG_AT_START_CHINESE);

    EXPECT_EQ(text(ui_info_title), "#FFFFFF 舵机信息");
    EXPECT_EQ(text(ui_type_label), "#FFFFFF 舵机型号:");
    EXPECT_EQ(text(ui_vertime_label), "#FFFFFF 舵机版本时间:");
    EXPECT_EQ(text(ui_year_label), "#FFFFFF 年");
    EXPECT_EQ(text(ui_month_label), "#FFFFFF 月");
    EXPECT_EQ(text(ui_day_label), "#FFFFFF 日");
    EXPECT_EQ(text(ui_read_info_button), "读取信息");
    EXPECT_EQ(text(ui_write_info_button), "写入信息");
    EXPECT_EQ(text(ui_port_label), "串  口");
    EXPECT_EQ(text(ui_port_button), "#000000 打开端口#");
    EXPECT_EQ(std::string(lv_dropdown_get_options(ui_port_dropdown)), " ");
    const char* zh[] = {"读取参数", "写入参数", "从PC导入参数", "保存参数到PC"};
    for (int i = 0; i < UI_ACTION_BUTTON_COUNT; ++i) EXPECT_EQ(text(ui_action_buttons[i]), zh[i]);
    EXPECT_EQ(text(ui_lang_button), "中/EN");
    EXPECT_EQ(text(ui_version_label), "Version: v1.0.7");
    EXPECT_EQ(std::string(lv_checkbox_get_text(ui_level1_checkbox)), "一级堵转");
    EXPECT_EQ(std::string(lv_checkbox_get_text(ui_level2_checkbox)), "二级堵转");
    EXPECT_EQ(std::string(lv_checkbox_get_text(ui_level3_checkbox)), "三级堵转");
    EXPECT_EQ(std::string(lv_checkbox_get_text(ui_direction_checkbox)), "反转 ");
    EXPECT_TRUE(fake_platform().message_boxes.empty());
    EXPECT_TRUE(fake_platform().quit_codes.empty());
}

TEST_F(ScreenTest, builds_with_the_build_time_english_texts_when_started_in_english) {
    ui_language_chinese = 0;
    ASSERT_TRUE(main_ui_build());
    EXPECT_EQ(ui_language_at_start, LANG_AT_START_OTHER);
    EXPECT_EQ(text(ui_info_title), "#FFFFFF Servo Information");
    EXPECT_EQ(text(ui_type_label), "#FFFFFF Servo Type:");
    EXPECT_EQ(text(ui_vertime_label), "#FFFFFF Servo Version Time:");
    EXPECT_EQ(text(ui_year_label), "#FFFFFF Year");
    EXPECT_EQ(text(ui_month_label), "#FFFFFF Month");
    EXPECT_EQ(text(ui_day_label), "#FFFFFF Day");
    EXPECT_EQ(text(ui_read_info_button), "读取信息"); /* the same in both languages at build time */
    EXPECT_EQ(text(ui_port_label), "Serial Port");
    EXPECT_EQ(text(ui_port_button), "#000000 Open Port#");
    const char* en[] = {"Read Servo", "Write Servo", "Load from PC", "Save to PC"};
    for (int i = 0; i < UI_ACTION_BUTTON_COUNT; ++i) EXPECT_EQ(text(ui_action_buttons[i]), en[i]);
    EXPECT_EQ(std::string(lv_checkbox_get_text(ui_level1_checkbox)), "First level blockage");
    EXPECT_EQ(std::string(lv_checkbox_get_text(ui_direction_checkbox)), "Inversion");
}

TEST_F(ScreenTest, containers_buttons_and_fields_sit_where_the_layout_puts_them) {
    ASSERT_TRUE(main_ui_build());
    expect_box(ui_top_panel, 5, 2, 958, 206);
    expect_box(ui_bottom_panel, 5, 215, 958, 430);
    expect_box(ui_config_image, 10, 0, 250, 200);
    for (int i = 0; i < UI_ACTION_BUTTON_COUNT; ++i) expect_box(ui_action_buttons[i], 745, 7 + i * 75, 150, 60);
    expect_box(ui_lang_button, 745, 307, 150, 60);
    expect_box(ui_port_panel, 3, 2, 690, 60);
    expect_box(ui_param_basic_panel, 3, 65, 690, 125);
    expect_box(ui_param_overload_panel, 3, 195, 690, 145);
    expect_box(ui_param_softstart_panel, 3, 345, 690, 70);
    EXPECT_EQ(lv_obj_get_width(ui_info_panel), 690);
    EXPECT_EQ(lv_obj_get_height(ui_info_panel), 200);
    EXPECT_EQ(lv_obj_get_width(ui_port_dropdown), 250);
    EXPECT_EQ(lv_obj_get_height(ui_port_dropdown), 50);
    EXPECT_EQ(lv_obj_get_width(ui_port_button), 150);
    EXPECT_EQ(lv_obj_get_width(ui_read_info_button), 150);
    EXPECT_EQ(lv_obj_get_height(ui_read_info_button), 60);

    /* Relative placement: info panel right of the picture, the write button under the read
     * button, the port button right of the list. */
    const lv_area_t img = coords(ui_config_image), info = coords(ui_info_panel);
    EXPECT_EQ(info.x1, img.x2 + 1 + 10);
    EXPECT_EQ(info.y1, img.y1 - 2);
    const lv_area_t rd = coords(ui_read_info_button), wr = coords(ui_write_info_button);
    EXPECT_EQ(wr.x1, rd.x1);
    EXPECT_EQ(wr.y1, rd.y2 + 1 + 13);
    const lv_area_t dd = coords(ui_port_dropdown), pb = coords(ui_port_button);
    EXPECT_EQ(pb.x1, dd.x2 + 1 + 58);

    /* Everything fits inside the 970 x 660 window. */
    const lv_area_t bottom = coords(ui_bottom_panel);
    EXPECT_LE(bottom.x2, UI_SCREEN_WIDTH - 1);
    EXPECT_LE(bottom.y2, UI_SCREEN_HEIGHT - 1);
}

TEST_F(ScreenTest, information_fields_start_with_their_defaults_and_limits) {
    ASSERT_TRUE(main_ui_build());
    EXPECT_STREQ(lv_textarea_get_text(ui_type_input), "");
    EXPECT_STREQ(lv_textarea_get_text(ui_year_input), "2026");
    EXPECT_STREQ(lv_textarea_get_text(ui_month_input), "01");
    EXPECT_STREQ(lv_textarea_get_text(ui_day_input), "01");
    for (lv_obj_t* ta : {ui_type_input, ui_year_input, ui_month_input, ui_day_input}) {
        EXPECT_TRUE(lv_textarea_get_one_line(ta));
        EXPECT_EQ(lv_obj_get_group(ta), ui_input_group);
    }
    /* Narrow date fields show their whole text, not scrolled to a cursor placed before their
     * size was known. */
    headless_run(50);
    for (lv_obj_t* ta : {ui_year_input, ui_month_input, ui_day_input}) EXPECT_EQ(lv_obj_get_scroll_x(ta), 0);
    EXPECT_EQ(lv_obj_get_width(ui_type_input), 350);
    EXPECT_EQ(lv_textarea_get_max_length(ui_type_input), 20u);

    /* The type field takes letters, digits and the listed punctuation only, 20 at most. */
    lv_textarea_add_text(ui_type_input, "Ab 9!_+|\"x");
    EXPECT_STREQ(lv_textarea_get_text(ui_type_input), "Ab9_+|\"x");
    lv_textarea_set_text(ui_type_input, "");
    lv_textarea_add_text(ui_type_input, "ABCDEFGHIJKLMNOPQRSTUVWXYZ");
    EXPECT_STREQ(lv_textarea_get_text(ui_type_input), "ABCDEFGHIJKLMNOPQRST");
}

TEST_F(ScreenTest, the_picture_file_is_an_image_of_250_by_200) {
    ASSERT_TRUE(main_ui_build());
    lv_image_header_t header;
    ASSERT_EQ(lv_image_decoder_get_info(UI_CONFIG_PICTURE_FILE, &header), LV_RESULT_OK);
    EXPECT_EQ(header.w, 250u);
    EXPECT_EQ(header.h, 200u);
    EXPECT_EQ(lv_image_get_src_width(ui_config_image), 250);
}

TEST_F(ScreenTest, missing_picture_tells_the_user_posts_quit_and_stops_the_build) {
    char cwd[4096];
    ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
    char tmp[] = "/tmp/servo_screen_XXXXXX";
    ASSERT_NE(mkdtemp(tmp), nullptr);
    ASSERT_EQ(chdir(tmp), 0);
    const bool built = main_ui_build();
    ASSERT_EQ(chdir(cwd), 0);
    rmdir(tmp);

    EXPECT_FALSE(built);
    ASSERT_EQ(fake_platform().message_boxes.size(), 1u);
    EXPECT_EQ(fake_platform().message_boxes[0].text, "检查是否存在\"QRX_V107_config.bin\"文件");
    EXPECT_EQ(fake_platform().message_boxes[0].caption, "Error");
    EXPECT_EQ(fake_platform().message_boxes[0].icon, MsgBoxIcon::Exclamation);
    ASSERT_EQ(fake_platform().quit_codes.size(), 1u);
    EXPECT_EQ(fake_platform().quit_codes[0], 0);
    EXPECT_EQ(ui_config_image, nullptr);
    EXPECT_EQ(ui_info_panel, nullptr);
    EXPECT_EQ(ui_bottom_panel, nullptr);
    EXPECT_EQ(ui_port_button, nullptr);
}

TEST_F(ScreenTest, language_button_switches_to_the_relabel_texts_and_back) {
    ASSERT_TRUE(main_ui_build());
    headless_click_obj(ui_lang_button);
    EXPECT_EQ(ui_language_chinese, 0);
    EXPECT_EQ(ui_language_at_start, LANG_AT_START_CHINESE); /* the toggle leaves the start value */
    EXPECT_EQ(text(ui_action_buttons[0]), "Read Servo");
    EXPECT_EQ(text(ui_action_buttons[3]), "Save to PC");
    EXPECT_EQ(text(ui_info_title), "#FFFFFF Serivo Information");
    EXPECT_EQ(text(ui_vertime_label), "#FFFFFF Serivo Ver Time:");
    EXPECT_EQ(text(ui_year_label), "#FFFFFF Y");
    EXPECT_EQ(text(ui_read_info_button), "#000000 Read Infor");
    EXPECT_EQ(text(ui_write_info_button), "#000000 Write Infor");

    headless_click_obj(ui_lang_button);
    EXPECT_EQ(ui_language_chinese, 1);
    EXPECT_EQ(text(ui_action_buttons[1]), "写入参数");
    EXPECT_EQ(text(ui_info_title), "#FFFFFF 舵机信息");
    /* Back in Chinese the buttons carry the relabel texts, not the build-time ones. */
    EXPECT_EQ(text(ui_read_info_button), "#000000 读取信息");
    EXPECT_EQ(text(ui_write_info_button), "#000000 写入信息");
}
