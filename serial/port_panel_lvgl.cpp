/**
 * The serial port panel on LVGL: serial/port_panel.h over ui_port_dropdown, ui_port_button,
 * ui_port_button_label, ui_port_label and ui_lang_button, plus the port button's click handler.
 * Every call tolerates a screen that was not built (missing picture).
 */
#include "serial/port_panel.h"
#include "serial/port_panel_lvgl.h"

#include "assets/fonts/fonts.h"
#include "common/lang.h"
#include "serial/Serial.h"
#include "ui/screen.h"

namespace {
constexpr uint32_t COLOR_PORT_OPEN = 0xE7C129;
constexpr uint32_t COLOR_PORT_CLOSED = 0xFFFFFF;
} // namespace

void port_list_set_options(const char* options) {
    if (ui_port_dropdown != nullptr) lv_dropdown_set_options(ui_port_dropdown, options != nullptr ? options : "");
}

int port_list_selected() {
    return ui_port_dropdown != nullptr ? static_cast<int>(lv_dropdown_get_selected(ui_port_dropdown)) : 0;
}

void port_list_select(int index) {
    if (ui_port_dropdown != nullptr && index >= 0)
        lv_dropdown_set_selected(ui_port_dropdown, static_cast<uint32_t>(index));
}

int port_list_option_count() {
    return ui_port_dropdown != nullptr ? static_cast<int>(lv_dropdown_get_option_count(ui_port_dropdown)) : 0;
}

void port_list_selected_text(char* buf, int size) {
    if (buf == nullptr || size <= 0) return;
    buf[0] = '\0';
    if (ui_port_dropdown != nullptr) lv_dropdown_get_selected_str(ui_port_dropdown, buf, static_cast<uint32_t>(size));
}

void port_ui_opened() {
    if (ui_port_button != nullptr) lv_obj_set_style_bg_color(ui_port_button, lv_color_hex(COLOR_PORT_OPEN), 0);
    if (ui_port_dropdown != nullptr) {
        lv_obj_add_state(ui_port_dropdown, LV_STATE_DISABLED);
        lv_obj_add_style(ui_port_dropdown, &style_disabled, LV_STATE_DISABLED);
    }
}

void port_ui_closed() {
    if (ui_port_button != nullptr) lv_obj_set_style_bg_color(ui_port_button, lv_color_hex(COLOR_PORT_CLOSED), 0);
    if (ui_port_dropdown != nullptr) {
        lv_obj_remove_state(ui_port_dropdown, LV_STATE_DISABLED);
        lv_obj_remove_style(ui_port_dropdown, &style_disabled, LV_STATE_DISABLED);
    }
}

void port_button_set_caption(const char* text) {
    if (ui_port_button_label != nullptr) lv_label_set_text(ui_port_button_label, text);
}

void relabel_port_panel() {
    if (ui_port_label != nullptr) {
        lv_obj_set_style_text_font(ui_port_label, &font_button, 0);
        lv_label_set_text(ui_port_label, lang_by_flag("Serial Port", "  串  口   "));
        lv_obj_align(ui_port_label, LV_ALIGN_LEFT_MID, ui_language_chinese == 1 ? -10 : 5, 0);
    }
    if (ui_port_button_label != nullptr) {
        lv_obj_set_style_text_font(ui_port_button_label, &font_text, 0);
        lv_label_set_text(ui_port_button_label, port_button_caption(isSerialOpen == 1));
    }
}

void lang_button_set_disabled(bool disabled) {
    if (ui_lang_button == nullptr) return;
    if (disabled)
        lv_obj_add_state(ui_lang_button, LV_STATE_DISABLED);
    else
        lv_obj_remove_state(ui_lang_button, LV_STATE_DISABLED);
}

void openSerial_event_handler(lv_event_t* /*e*/) { port_button_click(); }
