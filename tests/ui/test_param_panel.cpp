/* The parameter panel on a headless screen: build, defaults, stall levels, the entry checks,
 * relabelling, field ranges and the action buttons. */
#include "common/lang.h"
#include "params/panel_lvgl.h"
#include "params/param_files.h"
#include "params/param_values.h"
#include "protocol/parser.h"
#include "tests/fakes/common/fake_file_dialog.h"
#include "tests/fakes/common/log_capture.h"
#include "tests/support/headless.h"
#include "ui/field_range.h"
#include "ui/screen.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

namespace {

std::string data_file(const char* name) {
    std::string dir = __FILE__;
    return dir.substr(0, dir.rfind('/')) + "/../data/" + name;
}

std::string read_all(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

class ParamPanel : public ::testing::Test {
  protected:
    void SetUp() override {
        params_reset();
        params_import_reset();
        protocol_reset();
        fake_file_dialog_reset();
        lang_reset();
        headless_new_screen();
        ASSERT_TRUE(main_ui_build());
        headless_run(50);
    }
    static std::string text(PanelEntry e) { return lv_textarea_get_text(panel_entry_widget(e)); }
    static void type(PanelEntry e, const char* t) { lv_textarea_set_text(panel_entry_widget(e), t); }
    static bool hidden(lv_obj_t* obj) { return lv_obj_has_flag(obj, LV_OBJ_FLAG_HIDDEN); }
    static bool group_hidden(int level) {
        const PanelEntry time = static_cast<PanelEntry>(static_cast<int>(PanelEntry::Stall1Time) + (level - 1) * 2);
        const PanelEntry power = static_cast<PanelEntry>(static_cast<int>(time) + 1);
        const bool all = hidden(panel_entry_widget(time)) && hidden(panel_entry_widget(power)) &&
                         hidden(panel_caption_widget(time)) && hidden(panel_caption_widget(power)) &&
                         hidden(panel_hint_widget(time)) && hidden(panel_hint_widget(power));
        const bool none = !hidden(panel_entry_widget(time)) && !hidden(panel_entry_widget(power)) &&
                          !hidden(panel_caption_widget(time)) && !hidden(panel_caption_widget(power)) &&
                          !hidden(panel_hint_widget(time)) && !hidden(panel_hint_widget(power));
        EXPECT_TRUE(all || none) << "level " << level << " is half hidden";
        return all;
    }
    static bool checked(lv_obj_t* box) { return lv_obj_has_state(box, LV_STATE_CHECKED); }
    static bool disabled(lv_obj_t* box) { return lv_obj_has_state(box, LV_STATE_DISABLED); }
};

} // namespace

TEST_F(ParamPanel, fresh_build_shows_table_defaults_with_captions_hints_and_limits) {
    const char* expected[PANEL_ENTRY_COUNT] = {"596", "3500", "2048", "1000", "2000", "3", "65", "50",
                                               "100", "3",    "1",    "0",    "0",    "0", "0",  "1"};
    const uint32_t max_chars[PANEL_ENTRY_COUNT] = {4, 4, 4, 4, 4, 2, 3, 3, 3, 5, 2, 5, 2, 5, 2, 3};
    for (int i = 0; i < PANEL_ENTRY_COUNT; ++i) {
        const PanelEntry e = static_cast<PanelEntry>(i);
        ASSERT_NE(panel_entry_widget(e), nullptr) << i;
        EXPECT_EQ(text(e), expected[i]) << i;
        EXPECT_EQ(lv_textarea_get_max_length(panel_entry_widget(e)), max_chars[i]) << i;
        EXPECT_TRUE(lv_label_get_recolor(panel_hint_widget(e)));
    }
    EXPECT_STREQ(lv_label_get_text(panel_caption_widget(PanelEntry::Gain)), "增益        ");
    EXPECT_STREQ(lv_label_get_text(panel_caption_widget(PanelEntry::Stall2Power)), "堵转2功率");
    EXPECT_STREQ(lv_label_get_text(panel_caption_widget(PanelEntry::SoftStart)), "   软启动");
    EXPECT_STREQ(lv_label_get_text(panel_hint_widget(PanelEntry::OutputPower)), "#9ea2e5 (0-150)#");
    EXPECT_STREQ(lv_label_get_text(panel_hint_widget(PanelEntry::Stall3Time)), "#9ea2e5 (Ms)#");

    ASSERT_EQ(param_widget_map_count(), 16);
    const ParamWidgetMapEntry* m = param_widget_map_find(panel_entry_widget(PanelEntry::MaxPulse));
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->row, 2);
    EXPECT_STREQ(m->tag, "Rect4");
    EXPECT_STREQ(param_widget_map_find(panel_entry_widget(PanelEntry::Stall3Time))->tag, "Rect5");
    EXPECT_EQ(param_widget_map_find(panel_entry_widget(PanelEntry::Stall3Time))->row, 37);
    EXPECT_STREQ(param_widget_map_find(panel_entry_widget(PanelEntry::SoftStart))->tag, "Rect6");
    EXPECT_EQ(param_widget_map_find(ui_type_input), nullptr);
}

TEST_F(ParamPanel, fields_sit_in_their_columns_and_rows) {
    lv_obj_update_layout(lv_screen_active());
    lv_obj_t* cap = panel_caption_widget(PanelEntry::MaxPulse); /* basic field 4: column 1, row 1 */
    EXPECT_EQ(lv_obj_get_parent(cap), ui_param_basic_panel);
    EXPECT_EQ(lv_obj_get_x(cap), 235);
    EXPECT_EQ(lv_obj_get_y(cap), 50);
    lv_obj_t* entry = panel_entry_widget(PanelEntry::MaxPulse);
    EXPECT_EQ(lv_obj_get_width(entry), 75);
    EXPECT_EQ(lv_obj_get_height(entry), 38);
    EXPECT_EQ(lv_obj_get_x(entry), lv_obj_get_x(cap) + lv_obj_get_width(cap) - 20);
    lv_obj_t* hint = panel_hint_widget(PanelEntry::MaxPulse);
    EXPECT_EQ(lv_obj_get_x(hint), lv_obj_get_x(entry) + 75 + 5);

    lv_obj_t* over = panel_caption_widget(PanelEntry::Stall2Power); /* overload field 3: column 1, row 1 */
    EXPECT_EQ(lv_obj_get_parent(over), ui_param_overload_panel);
    EXPECT_EQ(lv_obj_get_x(over), 265);
    EXPECT_EQ(lv_obj_get_y(over), 96);
    EXPECT_EQ(lv_obj_get_width(panel_entry_widget(PanelEntry::Stall2Power)), 65);
    EXPECT_EQ(lv_obj_get_height(panel_entry_widget(PanelEntry::Stall2Power)), 30);

    lv_obj_t* soft = panel_caption_widget(PanelEntry::SoftStart);
    EXPECT_EQ(lv_obj_get_x(soft), lv_obj_get_x(ui_direction_checkbox) + lv_obj_get_width(ui_direction_checkbox) + 72);
    EXPECT_EQ(lv_obj_get_width(panel_entry_widget(PanelEntry::SoftStart)), 100);
}

TEST_F(ParamPanel, defaults_are_loaded_once_and_logged) {
    LogCapture log;
    params_reset();
    headless_new_screen();
    ASSERT_TRUE(main_ui_build());
    EXPECT_TRUE(log.contains("[Debug] defaultValues[0] = 65"));
    EXPECT_TRUE(log.contains("[Debug] defaultValues[45] = 1"));
    EXPECT_EQ(parameterValues[15], 2); /* the start-up pass ran */
    log.clear();
    headless_new_screen();
    ASSERT_TRUE(main_ui_build());
    EXPECT_FALSE(log.contains("defaultValues"));
}

TEST_F(ParamPanel, unchecking_level_one_takes_the_later_levels_down_and_checking_it_enables_level_two) {
    int32_t v[PARAM_COUNT];
    memcpy(v, defaultValues, sizeof v);
    v[8] = 3;
    v[36] = 5;
    v[37] = 7;
    update_par(v, PARAM_COUNT);
    EXPECT_TRUE(checked(ui_level1_checkbox) && checked(ui_level2_checkbox) && checked(ui_level3_checkbox));
    EXPECT_FALSE(group_hidden(3));
    EXPECT_EQ(text(PanelEntry::Stall3Time), "700");

    headless_click_obj(ui_level1_checkbox);
    EXPECT_FALSE(checked(ui_level1_checkbox));
    for (lv_obj_t* box : {ui_level2_checkbox, ui_level3_checkbox}) {
        EXPECT_FALSE(checked(box));
        EXPECT_TRUE(disabled(box));
    }
    EXPECT_TRUE(group_hidden(1) && group_hidden(2) && group_hidden(3));
    EXPECT_EQ(text(PanelEntry::Stall3Time), "700"); /* hidden entries keep their text */

    headless_click_obj(ui_level2_checkbox); /* disabled: no effect */
    EXPECT_FALSE(checked(ui_level2_checkbox));

    headless_click_obj(ui_level1_checkbox);
    EXPECT_TRUE(checked(ui_level1_checkbox));
    EXPECT_FALSE(group_hidden(1));
    EXPECT_FALSE(disabled(ui_level2_checkbox));
    EXPECT_FALSE(checked(ui_level2_checkbox));
    EXPECT_TRUE(group_hidden(2));
    EXPECT_TRUE(disabled(ui_level3_checkbox));

    headless_click_obj(ui_level2_checkbox);
    EXPECT_FALSE(group_hidden(2));
    EXPECT_FALSE(disabled(ui_level3_checkbox));
}

TEST_F(ParamPanel, out_of_range_entries_are_restored_with_an_error_box) {
    parameterValues[5] = 3000;
    type(PanelEntry::MaxAngle, "5000");
    EXPECT_EQ(text(PanelEntry::MaxAngle), "3000"); /* the working value */
    ASSERT_EQ(headless_msgbox_count(), 1);
    EXPECT_EQ(headless_msgbox_title(headless_msgbox(0)), "错误");
    EXPECT_EQ(headless_msgbox_text(headless_msgbox(0)), "请输入 0-4096 之间的数字");

    ui_language_chinese = 0;
    type(PanelEntry::Gain, "300");
    EXPECT_EQ(text(PanelEntry::Gain), "65"); /* the default */
    ASSERT_EQ(headless_msgbox_count(), 2);
    EXPECT_EQ(headless_msgbox_text(headless_msgbox(1)), "Please enter a number between 0 and 255");
    lv_obj_update_layout(headless_msgbox(1));
    EXPECT_EQ(lv_obj_get_width(headless_msgbox(1)), 350);
    EXPECT_EQ(lv_obj_get_height(headless_msgbox(1)), 150);

    type(PanelEntry::Stall1Time, "20000");
    EXPECT_EQ(text(PanelEntry::Stall1Time), "300"); /* default 3 in hundredths */
    type(PanelEntry::Deadband, "14");
    EXPECT_EQ(text(PanelEntry::Deadband), "3");
    type(PanelEntry::OutputPower, "151");
    EXPECT_EQ(text(PanelEntry::OutputPower), "100");
    EXPECT_EQ(headless_msgbox_count(), 5);

    type(PanelEntry::MinAngle, "-1"); /* the angle check looks at 4-character texts only */
    type(PanelEntry::MinPulse, "");
    type(PanelEntry::Stall1Power, "15");
    EXPECT_EQ(text(PanelEntry::MinAngle), "-1");
    EXPECT_EQ(headless_msgbox_count(), 5);
}

TEST_F(ParamPanel, relabel_uses_the_switch_texts_in_either_language) {
    ui_language_chinese = 0;
    relabel_parameter_panel();
    relabel_overload_boxes();
    EXPECT_STREQ(lv_label_get_text(panel_caption_widget(PanelEntry::MinAngle)), "MinAngle    ");
    EXPECT_STREQ(lv_label_get_text(panel_caption_widget(PanelEntry::Stall1Time)), "Time  1");
    EXPECT_STREQ(lv_label_get_text(panel_caption_widget(PanelEntry::SoftStart)), "SoftStart");
    EXPECT_STREQ(lv_checkbox_get_text(ui_level2_checkbox), "Second level blockage");
    EXPECT_STREQ(lv_checkbox_get_text(ui_direction_checkbox), "Inversion");
    ui_language_chinese = 1;
    relabel_parameter_panel();
    relabel_overload_boxes();
    EXPECT_STREQ(lv_label_get_text(panel_caption_widget(PanelEntry::MinPulse)), "最小脉宽     ");
    EXPECT_STREQ(lv_label_get_text(panel_caption_widget(PanelEntry::SoftStart)), "  软启动");
    EXPECT_STREQ(lv_checkbox_get_text(ui_direction_checkbox), "反转 ");
}

TEST_F(ParamPanel, field_ranges_follow_the_widget_and_the_date_fields) {
    int32_t lo = -1, hi = -1;
    EXPECT_TRUE(field_range(ui_year_input, &lo, &hi));
    EXPECT_EQ(lo, 2000);
    EXPECT_EQ(hi, 2100);
    EXPECT_TRUE(field_range(ui_month_input, &lo, &hi));
    EXPECT_EQ(lo, 0);
    EXPECT_EQ(hi, 12);
    struct Case {
        const char *year, *month;
        int32_t days;
    };
    /* The date fields' own check puts a full year outside 2000-2100 and a month above 12 back in
     * range, so a short year stands for an unknown date. */
    const Case cases[] = {{"2024", "02", 29}, {"2100", "02", 28}, {"2000", "02", 29},
                          {"2023", "04", 30}, {"2023", "0", 31},  {"199", "02", 31}};
    for (const Case& c : cases) {
        lv_textarea_set_text(ui_year_input, c.year);
        lv_textarea_set_text(ui_month_input, c.month);
        EXPECT_TRUE(field_range(ui_day_input, &lo, &hi));
        EXPECT_EQ(lo, 0);
        EXPECT_EQ(hi, c.days) << c.year << "-" << c.month;
    }
    EXPECT_TRUE(field_range(panel_entry_widget(PanelEntry::Stall2Time), &lo, &hi));
    EXPECT_EQ(hi, 10000);
    EXPECT_TRUE(field_range(panel_entry_widget(PanelEntry::Deadband), &lo, &hi));
    EXPECT_EQ(hi, 13);
    EXPECT_FALSE(field_range(ui_type_input, &lo, &hi));
}

TEST_F(ParamPanel, action_buttons_import_and_save_through_the_dialogs) {
    headless_click_obj(ui_action_buttons[0]); /* read: with the port closed the requests go nowhere */
    headless_run(200);
    headless_click_obj(ui_action_buttons[1]); /* write with nothing read or imported */
    ASSERT_EQ(headless_msgbox_count(), 1);
    EXPECT_EQ(headless_msgbox_text(headless_msgbox(0)), "写入参数失败，请先读取或导入参数!!");
    EXPECT_TRUE(fake_file_dialog().calls.empty());

    fake_file_dialog().next_path = data_file("configbuffer_defaults.txt");
    headless_click_obj(ui_action_buttons[2]);
    ASSERT_EQ(headless_msgbox_count(), 2);
    EXPECT_EQ(headless_msgbox_text(headless_msgbox(1)), "导入成功!");
    EXPECT_EQ(text(PanelEntry::Stall1Time), "300");
    EXPECT_TRUE(checked(ui_level1_checkbox));
    EXPECT_TRUE(group_hidden(2));
    EXPECT_EQ(parameterSource, PARAM_SOURCE_BLOCK);

    char tmpl[] = "/tmp/servo_panel_XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    const std::string out = std::string(tmpl) + "/saved.txt";
    fake_file_dialog().next_path = out;
    headless_click_obj(ui_action_buttons[3]);
    EXPECT_EQ(read_all(out), read_all(data_file("configbuffer_defaults.txt")));
    EXPECT_EQ(headless_msgbox_count(), 3);
    const std::string rm = std::string("rm -rf '") + tmpl + "'";
    EXPECT_EQ(system(rm.c_str()), 0);
}
