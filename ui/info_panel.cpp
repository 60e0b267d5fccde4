/**
 * Servo information panel glue. Implements:
 *  - the read/write button handlers (the transactions live in the core);
 *  - attach_stepper and the stepper handlers;
 *  - date_field_changed and clamp_day_to_month with their re-entrance guards;
 *  - the information field calls of the screen port over the four text areas.
 * NOTE: writing a field's text raises a new value-changed event at once, so each handler that
 * writes returns early while its own guard is set.
 */
#include "ui/info_panel.h"

#include "common/prompt.h"
#include "common/text_format.h"
#include "protocol/info_date.h"
#include "protocol/info_transaction.h"
#include "ui/field_range.h"
#include "ui/screen.h"

#include <cstring>

namespace {

constexpr int32_t STEPPER_WIDTH = 30;
constexpr int32_t STEPPER_HEIGHT = 15; /* the two fit one over the other beside a 40 px field */
constexpr uint32_t STEPPER_COLOR = 0xFFFFFF;

struct InfoPanelState {
    bool in_field_check = false;
    bool in_day_clamp = false;
    bool in_step_up = false;
    char last_text[DATE_LAST_TEXT_SIZE] = {};
};
InfoPanelState g_info_panel;

bool date_field_of(const lv_obj_t* obj, DateField* field) {
    if (obj == nullptr) return false;
    if (obj == ui_year_input)
        *field = DateField::Year;
    else if (obj == ui_month_input)
        *field = DateField::Month;
    else if (obj == ui_day_input)
        *field = DateField::Day;
    else
        return false;
    return true;
}

lv_obj_t* make_stepper(lv_obj_t* parent, lv_obj_t* field, const char* symbol, lv_align_t align, int32_t dy,
                       lv_event_cb_t cb) {
    lv_obj_t* btn = lv_button_create(parent);
    lv_obj_set_size(btn, STEPPER_WIDTH, STEPPER_HEIGHT);
    lv_obj_set_style_bg_color(btn, lv_color_hex(STEPPER_COLOR), 0);
    lv_obj_set_style_radius(btn, 5, 0);
    lv_obj_set_style_pad_all(btn, 0, 0);
    lv_obj_align_to(btn, field, align, 1, dy);
    lv_obj_t* label = lv_label_create(btn);
    lv_label_set_text(label, symbol);
    lv_obj_set_style_text_font(label, &lv_font_montserrat_18, 0);
    lv_obj_set_style_text_color(label, lv_color_hex(0x000000), 0);
    lv_obj_center(label);
    lv_obj_add_event_cb(btn, cb, LV_EVENT_CLICKED, field);
    return btn;
}

void step(lv_event_t* e, bool up) {
    lv_obj_t* ta = static_cast<lv_obj_t*>(lv_event_get_user_data(e));
    DateField field;
    int32_t min = 0, max = 0;
    if (!date_field_of(ta, &field) || !field_range(ta, &min, &max)) return;
    char text[DATE_TEXT_SIZE];
    info_date_format(field, info_date_step(field_value(ta), min, max, up), text, sizeof text);
    lv_textarea_set_text(ta, text);
    if (field != DateField::Day) clamp_day_to_month();
}

} // namespace

void info_read_button_event_cb(lv_event_t* e) {
    if (lv_event_get_code(e) != LV_EVENT_CLICKED) return;
    info_transaction_read();
}

void info_write_button_event_cb(lv_event_t* e) {
    if (lv_event_get_code(e) != LV_EVENT_CLICKED) return;
    info_transaction_write();
}

void attach_stepper(lv_obj_t* parent, lv_obj_t* field) {
    if (parent == nullptr || field == nullptr) return;
    make_stepper(parent, field, LV_SYMBOL_UP, LV_ALIGN_OUT_RIGHT_TOP, 0, date_step_up);
    make_stepper(parent, field, LV_SYMBOL_DOWN, LV_ALIGN_OUT_RIGHT_BOTTOM, -10, date_step_down);
}

void date_step_up(lv_event_t* e) {
    if (g_info_panel.in_step_up) return;
    g_info_panel.in_step_up = true;
    step(e, true);
    g_info_panel.in_step_up = false;
}

void date_step_down(lv_event_t* e) {
    step(e, false);
}

void date_field_changed(lv_event_t* e) {
    if (lv_event_get_code(e) != LV_EVENT_VALUE_CHANGED) return;
    if (g_info_panel.in_field_check) return;
    lv_obj_t* ta = static_cast<lv_obj_t*>(lv_event_get_target(e));
    DateField field;
    if (!date_field_of(ta, &field)) return;
    g_info_panel.in_field_check = true;

    const char* text = lv_textarea_get_text(ta);
    if (text != nullptr && text[0] != '\0')
        text_format(g_info_panel.last_text, sizeof g_info_panel.last_text, "%s", text);
    int32_t min = 0, max = 0;
    field_range(ta, &min, &max);
    const DateCheck c = info_date_check(field, text, g_info_panel.last_text, min, max);
    if (c.write) lv_textarea_set_text(ta, c.text);
    if (c.prompt) show_prompt(field_range_message(c.prompt_min, c.prompt_max));
    if (c.clamp_day) clamp_day_to_month();

    g_info_panel.in_field_check = false;
}

void clamp_day_to_month() {
    if (g_info_panel.in_day_clamp || ui_day_input == nullptr) return;
    g_info_panel.in_day_clamp = true;
    char day[DATE_TEXT_SIZE];
    const int r = info_date_clamp_day(field_value(ui_year_input), field_value(ui_month_input),
                                      field_value(ui_day_input), day, sizeof day);
    if (r != DATE_CLAMP_NONE) lv_textarea_set_text(ui_day_input, day);
    if (r == DATE_CLAMP_ADJUSTED) show_prompt(info_date_adjusted_message());
    g_info_panel.in_day_clamp = false;
}

void info_panel_attach() {
    g_info_panel = InfoPanelState{};
    if (ui_read_info_button != nullptr)
        lv_obj_add_event_cb(ui_read_info_button, info_read_button_event_cb, LV_EVENT_CLICKED, nullptr);
    if (ui_write_info_button != nullptr)
        lv_obj_add_event_cb(ui_write_info_button, info_write_button_event_cb, LV_EVENT_CLICKED, nullptr);
    lv_obj_t* const fields[] = {ui_year_input, ui_month_input, ui_day_input};
    for (lv_obj_t* ta : fields) {
        if (ta == nullptr) continue;
        lv_obj_add_event_cb(ta, date_field_changed, LV_EVENT_VALUE_CHANGED, nullptr);
        attach_stepper(ui_info_panel, ta);
    }
}

/* ---- the information field calls of the screen port ---- */

namespace {

lv_obj_t* field_widget(InfoField field) {
    switch (field) {
    case InfoField::Type:
        return ui_type_input;
    case InfoField::Year:
        return ui_year_input;
    case InfoField::Month:
        return ui_month_input;
    case InfoField::Day:
        return ui_day_input;
    }
    return nullptr;
}

int ui_info_field_get(InfoField field, char* out, size_t cap) {
    lv_obj_t* ta = field_widget(field);
    if (ta == nullptr || out == nullptr || cap == 0) return -1;
    const char* text = lv_textarea_get_text(ta);
    if (text == nullptr) return -1;
    size_t n = strlen(text);
    if (n > cap - 1) n = cap - 1;
    memcpy(out, text, n);
    out[n] = '\0';
    return static_cast<int>(n);
}

void ui_info_field_set(InfoField field, const char* text) {
    lv_obj_t* ta = field_widget(field);
    if (ta == nullptr || text == nullptr) return;
    lv_textarea_set_text(ta, text); /* raises value-changed: the date fields check themselves */
}

} // namespace

void info_panel_fill_port(ScreenPort& port) {
    port.info_field_get = ui_info_field_get;
    port.info_field_set = ui_info_field_set;
}
