/* The servo information panel on a headless screen: the date fields' steppers and checks as the
 * user types, the information buttons, and the fields as the protocol sees them. */
#include "common/screen_port.h"
#include "serial/Serial.h"
#include "tests/support/headless.h"
#include "ui/info_panel.h"
#include "ui/screen.h"

namespace {

class InfoPanel : public ScreenFixture {
  protected:
    static std::string text(lv_obj_t* ta) { return lv_textarea_get_text(ta); }
    static void type(lv_obj_t* ta, const char* t) { lv_textarea_set_text(ta, t); }
    /* Clicks the up or down stepper just right of a field; the steppers must clear its unit label. */
    static void step(lv_obj_t* field, lv_obj_t* unit, bool up) {
        lv_area_t f, u, a;
        lv_obj_get_coords(field, &f);
        lv_obj_get_coords(unit, &u);
        for (uint32_t i = 0; i < lv_obj_get_child_count(ui_info_panel); ++i) {
            lv_obj_t* c = lv_obj_get_child(ui_info_panel, static_cast<int32_t>(i));
            lv_obj_get_coords(c, &a);
            if (!lv_obj_check_type(c, &lv_button_class) || a.x1 != f.x2 + 2) continue;
            EXPECT_LT(a.x2, u.x1) << "a stepper covers the unit label";
            if (headless_label_text(c) == (up ? LV_SYMBOL_UP : LV_SYMBOL_DOWN)) return headless_click_obj(c);
        }
        ADD_FAILURE() << "no stepper";
    }
};

} // namespace

TEST_F(InfoPanel, steppers_stop_at_the_bounds_and_typed_dates_are_held_in_range) {
    const std::pair<lv_obj_t*, lv_obj_t*> fields[] = {
        {ui_year_input, ui_year_label}, {ui_month_input, ui_month_label}, {ui_day_input, ui_day_label}};
    const char* const start[] = {"2100", "12", "01"};
    const char* const up[] = {"2100", "12", "02"};
    const char* const down[] = {"2099", "11", "01"};
    for (int i = 0; i < 3; ++i) {
        type(fields[i].first, start[i]);
        step(fields[i].first, fields[i].second, true);
        EXPECT_EQ(text(fields[i].first), up[i]);
        step(fields[i].first, fields[i].second, false);
        EXPECT_EQ(text(fields[i].first), down[i]);
    }
    const struct {
        lv_obj_t* field;
        const char *typed, *shown, *message; /* message: "" = no box */
    } cases[] = {
        {ui_year_input, "20", "20", ""}, /* a year waits for four characters */
        {ui_year_input, "1999", "2026", "请输入 2000-2100 之间的数字"},
        {ui_year_input, "12345", "2100", "请输入 2000-2100 之间的数字"},
        {ui_month_input, "5", "05", ""},
        {ui_day_input, "45", "31", "请输入 0-31 之间的数字"},
        {ui_year_input, "2023", "2023", ""},
        {ui_month_input, "04", "04", "日期已自动调整为当月最后一天"}, /* day 31 in April */
    };
    for (const auto& c : cases) {
        const size_t before = headless_msgboxes().size();
        type(c.field, c.typed);
        EXPECT_EQ(text(c.field), c.shown) << c.typed;
        EXPECT_EQ(headless_msgboxes().size() > before ? headless_msgbox_texts().back() : "", c.message) << c.typed;
    }
    EXPECT_EQ(text(ui_day_input), "30");
    type(ui_year_input, "2100"); /* no leap day in 2100, one in 2024 */
    type(ui_month_input, "02");
    EXPECT_EQ(text(ui_day_input), "28");
    type(ui_year_input, "2024");
    type(ui_month_input, "03");
    type(ui_day_input, "31");
    headless_click_obj(ui_lang_button); /* the message follows the start language, not the toggle */
    type(ui_month_input, "02");
    EXPECT_EQ(text(ui_day_input), "29");
    EXPECT_EQ(headless_msgbox_texts().back(), "日期已自动调整为当月最后一天");
}

TEST_F(InfoPanel, the_buttons_refuse_with_the_port_closed_and_check_the_fields_with_it_open) {
    headless_click_obj(ui_read_info_button);
    headless_click_obj(ui_write_info_button);
    EXPECT_EQ(headless_msgbox_texts(), (std::vector<std::string>{"请先打开串口！", "请先打开串口！"}));
    serial_ports_set_open(1); /* no port behind it: nothing is sent */
    headless_click_obj(ui_write_info_button);
    EXPECT_EQ(headless_msgbox_texts().back(), "应正确输入\"舵机型号\"!");
}

TEST_F(InfoPanel, the_protocol_reads_and_writes_the_fields_through_the_widgets) {
    info_field_set(InfoField::Year, "2031");
    EXPECT_EQ(text(ui_year_input), "2031");
    info_field_set(InfoField::Type, "QRX-9");
    char out[8];
    EXPECT_EQ(info_field_get(InfoField::Type, out, sizeof out), 5);
    EXPECT_STREQ(out, "QRX-9");
    EXPECT_EQ(info_field_get(InfoField::Type, out, 3), 2);
    EXPECT_STREQ(out, "QR");
}
