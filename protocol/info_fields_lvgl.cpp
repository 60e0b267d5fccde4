/* The information fields over the panel's LVGL text areas. */
#include "protocol/info_fields.h"

#include "ui/screen.h"

#include <cstring>

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
} // namespace

int info_field_get(InfoField field, char* out, size_t cap) {
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

void info_field_set(InfoField field, const char* text) {
    lv_obj_t* ta = field_widget(field);
    if (ta == nullptr || text == nullptr) return;
    lv_textarea_set_text(ta, text); /* raises value-changed: the date fields check themselves */
}
