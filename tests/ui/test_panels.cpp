/* The three panels of the main screen on a headless display. Information: the date fields'
 * steppers and checks as the user types, the buttons, the fields as the protocol sees them.
 * Parameters: the stall levels and the entry checks. Serial port: open/closed looks, the port
 * list's options and selection, the port button without a port. */
#include "common/lang.h"
#include "common/screen_port.h"
#include "params/param_values.h"
#include "serial/Serial.h"
#include "serial/discovery.h"
#include "tests/support/headless.h"
#include "ui/info_panel.h"
#include "ui/param_panel.h"
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

class ParamPanel : public ScreenFixture {
  protected:
    static std::string text(PanelEntry e) { return lv_textarea_get_text(panel_entry_widget(e)); }
    static void type(PanelEntry e, const char* t) { lv_textarea_set_text(panel_entry_widget(e), t); }
    static bool hidden(lv_obj_t* obj) { return lv_obj_has_flag(obj, LV_OBJ_FLAG_HIDDEN); }
    /* A level's six objects (two entries, their captions and hints) are hidden together. */
    static bool group_hidden(int level) {
        const int time = static_cast<int>(PanelEntry::Stall1Time) + (level - 1) * 2;
        int n = 0;
        for (int e : {time, time + 1}) {
            const PanelEntry entry = static_cast<PanelEntry>(e);
            n += hidden(panel_entry_widget(entry)) + hidden(panel_caption_widget(entry)) +
                 hidden(panel_hint_widget(entry));
        }
        EXPECT_TRUE(n == 0 || n == 6) << "level " << level << " is half hidden";
        return n == 6;
    }
    static bool checked(lv_obj_t* box) { return lv_obj_has_state(box, LV_STATE_CHECKED); }
    static bool disabled(lv_obj_t* box) { return lv_obj_has_state(box, LV_STATE_DISABLED); }
};

class PortPanelTest : public ScreenFixture {
  protected:
    static uint32_t bg(lv_obj_t* obj) {
        headless_run(500); /* state changes fade in */
        return lv_color_to_u32(lv_obj_get_style_bg_color(obj, LV_PART_MAIN)) & 0xFFFFFF;
    }
    static void show_ports(std::initializer_list<const char*> names) {
        std::vector<std::string> found(names.begin(), names.end());
        discovery_fill_port_table(found);
        updateddListWithoutOpen();
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

TEST_F(ParamPanel, unchecking_level_one_takes_the_later_levels_down_and_checking_it_enables_level_two) {
    int32_t v[PARAM_COUNT];
    memcpy(v, params_state().defaultValues, sizeof v);
    v[8] = 3;
    v[36] = 5;
    v[37] = 7;
    update_par(v, PARAM_COUNT);
    EXPECT_TRUE(checked(ui_level1_checkbox) && checked(ui_level2_checkbox) && checked(ui_level3_checkbox));
    EXPECT_FALSE(group_hidden(3));
    headless_click_obj(ui_level1_checkbox);
    EXPECT_FALSE(checked(ui_level1_checkbox));
    for (lv_obj_t* box : {ui_level2_checkbox, ui_level3_checkbox}) {
        EXPECT_FALSE(checked(box));
        EXPECT_TRUE(disabled(box));
    }
    EXPECT_TRUE(group_hidden(1) && group_hidden(2) && group_hidden(3));
    EXPECT_EQ(text(PanelEntry::Stall3Time), "700"); /* hidden entries keep their text */
    headless_click_obj(ui_level2_checkbox);         /* disabled: no effect */
    EXPECT_FALSE(checked(ui_level2_checkbox));
    headless_click_obj(ui_level1_checkbox);
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
    int32_t working[PARAM_COUNT] = {};
    working[5] = 3000;
    params_set_working(working);
    struct Case {
        PanelEntry entry;
        const char *typed, *shown; /* what the entry holds after the check */
        int chinese;
        const char* message; /* "" = no box */
    };
    const Case cases[] = {
        {PanelEntry::MaxAngle, "5000", "3000", 1, "请输入 0-4096 之间的数字"},         /* the working value */
        {PanelEntry::Gain, "300", "65", 0, "Please enter a number between 0 and 255"}, /* the default */
        {PanelEntry::MinAngle, "-1", "-1", 1, ""}, /* the angle check looks at 4-character texts only */
        {PanelEntry::MinPulse, "", "", 1, ""},
    };
    size_t boxes = 0;
    for (const Case& c : cases) {
        lang_set_chinese(c.chinese);
        type(c.entry, c.typed);
        EXPECT_EQ(text(c.entry), c.shown) << c.typed;
        boxes += *c.message != '\0';
        ASSERT_EQ(headless_msgboxes().size(), boxes) << c.typed;
        if (*c.message == '\0') continue;
        EXPECT_EQ(headless_msgbox_title(headless_msgboxes().back()), c.chinese ? "错误" : "Error");
        EXPECT_EQ(headless_msgbox_text(headless_msgboxes().back()), c.message);
    }
}

TEST_F(PortPanelTest, opened_look_is_yellow_with_a_grey_locked_list_and_closed_look_undoes_it) {
    port_ui_opened();
    EXPECT_EQ(bg(ui_port_button), 0xE7C129u);
    EXPECT_TRUE(lv_obj_has_state(ui_port_dropdown, LV_STATE_DISABLED));
    EXPECT_EQ(bg(ui_port_dropdown), 0xE6E6E6u);
    port_ui_closed();
    EXPECT_EQ(bg(ui_port_button), 0xFFFFFFu);
    EXPECT_FALSE(lv_obj_has_state(ui_port_dropdown, LV_STATE_DISABLED));
    lv_obj_add_state(ui_port_dropdown, LV_STATE_DISABLED);
    EXPECT_NE(bg(ui_port_dropdown), 0xE6E6E6u) << "the grey style goes with the closed look";
}

TEST_F(PortPanelTest, port_list_shows_each_port_then_an_empty_option_and_keeps_the_selection) {
    show_ports({"/dev/ttyUSB0", "/dev/ttyUSB1"});
    EXPECT_STREQ(lv_dropdown_get_options(ui_port_dropdown), "/dev/ttyUSB0\n/dev/ttyUSB1\n");
    EXPECT_EQ(lv_dropdown_get_option_count(ui_port_dropdown), 3u);
    lv_dropdown_set_selected(ui_port_dropdown, 1);
    show_ports({"/dev/ttyACM0", "/dev/ttyUSB0", "/dev/ttyUSB1"});
    EXPECT_EQ(lv_dropdown_get_selected(ui_port_dropdown), 2u);
    char text[64];
    port_list_selected_text(text, sizeof text);
    EXPECT_STREQ(text, "/dev/ttyUSB1");
    show_ports({"/dev/ttyACM0", "/dev/ttyUSB0"});
    EXPECT_EQ(lv_dropdown_get_selected(ui_port_dropdown), 0u) << "the remembered port is gone";
    show_ports({});
    EXPECT_STREQ(lv_dropdown_get_options(ui_port_dropdown), " ");
}

TEST_F(PortPanelTest, port_button_without_a_port_shows_the_error_box_in_the_current_language) {
    headless_click_obj(ui_port_button);
    lang_set_chinese(0);
    headless_click_obj(ui_port_button);
    EXPECT_EQ(headless_msgbox_texts(), (std::vector<std::string>{"打开串口失败!", "Failed to open serial port!"}));
    EXPECT_EQ(headless_msgbox_title(headless_msgboxes().at(0)), "错误");
    EXPECT_EQ(serial_ports_state().isSerialOpen, 0);
}
