/* The servo information panel on a headless screen: the date fields' checks as the user types,
 * the steppers, the clamp of the day with its message, the information buttons and the fields
 * as the protocol sees them. */
#include "common/lang.h"
#include "params/param_values.h"
#include "protocol/info_fields.h"
#include "protocol/info_panel_lvgl.h"
#include "protocol/parser.h"
#include "serial/Serial.h"
#include "tests/support/headless.h"
#include "ui/screen.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

class InfoPanel : public ::testing::Test {
  protected:
    void SetUp() override {
        params_reset();
        protocol_reset();
        lang_reset();
        isSerialOpen = 0;
        headless_new_screen();
        ASSERT_TRUE(main_ui_build());
        headless_run(50);
    }
    void TearDown() override { isSerialOpen = 0; }

    static std::string text(lv_obj_t* ta) { return lv_textarea_get_text(ta); }
    static void type(lv_obj_t* ta, const char* t) { lv_textarea_set_text(ta, t); }

    static std::vector<std::string> boxes() {
        std::vector<std::string> out;
        for (int i = 0; i < headless_msgbox_count(); ++i)
            out.push_back(headless_msgbox_text(headless_msgbox(i)));
        return out;
    }

    /* The stepper buttons beside a field: up first, then down. */
    static std::vector<lv_obj_t*> steppers(lv_obj_t* field) {
        std::vector<lv_obj_t*> out;
        lv_area_t f;
        lv_obj_get_coords(field, &f);
        for (uint32_t i = 0; i < lv_obj_get_child_count(ui_info_panel); ++i) {
            lv_obj_t* c = lv_obj_get_child(ui_info_panel, static_cast<int32_t>(i));
            if (!lv_obj_check_type(c, &lv_button_class)) continue;
            lv_area_t a;
            lv_obj_get_coords(c, &a);
            if (a.x1 == f.x2 + 2) out.push_back(c); /* outside right, offset 1 */
        }
        return out;
    }
};

} // namespace

TEST_F(InfoPanel, each_date_field_has_an_up_and_a_down_stepper_clear_of_its_unit_label) {
    const std::pair<lv_obj_t*, lv_obj_t*> fields[] = {
        {ui_year_input, ui_year_label}, {ui_month_input, ui_month_label}, {ui_day_input, ui_day_label}};
    for (const auto& [field, unit] : fields) {
        const std::vector<lv_obj_t*> s = steppers(field);
        ASSERT_EQ(s.size(), 2u);
        lv_area_t f, up, down, label;
        lv_obj_get_coords(field, &f);
        lv_obj_get_coords(s[0], &up);
        lv_obj_get_coords(s[1], &down);
        lv_obj_get_coords(unit, &label);
        EXPECT_EQ(lv_obj_get_width(s[0]), 30);
        EXPECT_EQ(up.y1, f.y1);
        EXPECT_EQ(down.y2, f.y2 - 10);
        EXPECT_LE(up.y2, down.y1) << "the two do not overlap";
        EXPECT_LT(up.x2, label.x1);
        EXPECT_EQ(headless_label_text(s[0]), LV_SYMBOL_UP);
        EXPECT_EQ(headless_label_text(s[1]), LV_SYMBOL_DOWN);
    }
}

TEST_F(InfoPanel, steppers_move_the_value_within_its_range_with_two_digit_month_and_day) {
    headless_click_obj(steppers(ui_month_input)[0]);
    EXPECT_EQ(text(ui_month_input), "02");
    type(ui_month_input, "12");
    headless_click_obj(steppers(ui_month_input)[0]);
    EXPECT_EQ(text(ui_month_input), "12");
    headless_click_obj(steppers(ui_day_input)[1]);
    EXPECT_EQ(text(ui_day_input), "00");
    headless_click_obj(steppers(ui_day_input)[1]);
    EXPECT_EQ(text(ui_day_input), "00");
    type(ui_year_input, "2100");
    headless_click_obj(steppers(ui_year_input)[0]);
    EXPECT_EQ(text(ui_year_input), "2100");
    headless_click_obj(steppers(ui_year_input)[1]);
    EXPECT_EQ(text(ui_year_input), "2099");
    EXPECT_TRUE(boxes().empty());
}

TEST_F(InfoPanel, stepping_or_typing_into_a_shorter_month_clamps_the_day_with_a_chinese_message) {
    type(ui_day_input, "31");
    type(ui_year_input, "2024");
    headless_click_obj(steppers(ui_month_input)[0]); /* January to February */
    EXPECT_EQ(text(ui_month_input), "02");
    EXPECT_EQ(text(ui_day_input), "29");
    EXPECT_EQ(boxes(), std::vector<std::string>{"日期已自动调整为当月最后一天"});
    type(ui_year_input, "2100");
    EXPECT_EQ(text(ui_day_input), "28");
    type(ui_year_input, "2000");
    EXPECT_EQ(text(ui_day_input), "28") << "a day that fits is not raised";

    headless_click_obj(ui_lang_button); /* the message follows the start language, not the toggle */
    type(ui_month_input, "01");
    type(ui_day_input, "31");
    type(ui_month_input, "04");
    EXPECT_EQ(text(ui_day_input), "30");
    EXPECT_EQ(boxes().back(), "日期已自动调整为当月最后一天");
}

TEST_F(InfoPanel, typed_dates_are_checked_as_they_change) {
    /* The rules are tested in the core; here, that every field runs them on each change. */
    type(ui_year_input, "20");
    EXPECT_EQ(text(ui_year_input), "20") << "still typing";
    type(ui_year_input, "1999");
    EXPECT_EQ(text(ui_year_input), "2026");
    type(ui_month_input, "5");
    EXPECT_EQ(text(ui_month_input), "05");
    type(ui_day_input, "1a");
    EXPECT_EQ(text(ui_day_input), "1a") << "a non-digit leaves the entry as typed";
    type(ui_day_input, "45");
    EXPECT_EQ(text(ui_day_input), "31");
    EXPECT_EQ(boxes(), (std::vector<std::string>{"请输入 2000-2100 之间的数字", "请输入 0-31 之间的数字"}));
}

TEST_F(InfoPanel, the_buttons_refuse_with_the_port_closed_and_read_enters_mode_5_with_it_open) {
    headless_click_obj(ui_read_info_button);
    headless_click_obj(ui_write_info_button);
    EXPECT_EQ(boxes(), (std::vector<std::string>{"请先打开串口！", "请先打开串口！"}));
    EXPECT_EQ(g_protocol.mode, MODE_IDLE);
    isSerialOpen = 1; /* no port behind it: the write fails and the time-out ends the read */
    headless_click_obj(ui_read_info_button);
    EXPECT_EQ(g_protocol.mode, MODE_READ_INFO);
    headless_click_obj(ui_write_info_button);
    EXPECT_EQ(headless_msgbox_text(headless_msgbox(2)), "应正确输入\"舵机型号\"!");
}

TEST_F(InfoPanel, the_protocol_reads_and_writes_the_four_fields_through_the_widgets) {
    info_field_set(InfoField::Type, "QRX-9");
    info_field_set(InfoField::Year, "2031");
    info_field_set(InfoField::Month, "07");
    info_field_set(InfoField::Day, "04");
    EXPECT_EQ(text(ui_type_input), "QRX-9");
    EXPECT_EQ(text(ui_year_input), "2031");
    char out[8];
    EXPECT_EQ(info_field_get(InfoField::Type, out, sizeof out), 5);
    EXPECT_STREQ(out, "QRX-9");
    EXPECT_EQ(info_field_get(InfoField::Type, out, 3), 2);
    EXPECT_STREQ(out, "QR");
    info_field_set(InfoField::Type, "A B\xEF\xBF\xBD"); /* the type field accepts its own characters only */
    EXPECT_EQ(text(ui_type_input), "AB");
    ui_type_input = nullptr;
    EXPECT_EQ(info_field_get(InfoField::Type, out, sizeof out), -1);
}
