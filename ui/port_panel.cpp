/**
 * The serial port panel on LVGL: the port calls of the screen port over ui_port_dropdown, ui_port_button,
 * ui_port_button_label, ui_port_label and ui_lang_button, plus the port button's click handler.
 * Every call tolerates a screen that was not built (missing picture).
 */
#include "ui/port_panel.h"

#include "assets/fonts/fonts.h"
#include "common/lang.h"
#include "serial/Serial.h"
#include "ui/screen.h"

namespace {
constexpr uint32_t COLOR_PORT_OPEN = 0xE7C129;
constexpr uint32_t COLOR_PORT_CLOSED = 0xFFFFFF;

void ui_port_list_set_options(const char* options) {
    if (ui_port_dropdown != nullptr) lv_dropdown_set_options(ui_port_dropdown, options != nullptr ? options : "");
}

int ui_port_list_selected() {
    return ui_port_dropdown != nullptr ? static_cast<int>(lv_dropdown_get_selected(ui_port_dropdown)) : 0;
}

void ui_port_list_select(int index) {
    if (ui_port_dropdown != nullptr && index >= 0)
        lv_dropdown_set_selected(ui_port_dropdown, static_cast<uint32_t>(index));
}

int ui_port_list_option_count() {
    return ui_port_dropdown != nullptr ? static_cast<int>(lv_dropdown_get_option_count(ui_port_dropdown)) : 0;
}

void ui_port_list_selected_text(char* buf, int size) {
    if (buf == nullptr || size <= 0) return;
    buf[0] = '\0';
    if (ui_port_dropdown != nullptr) lv_dropdown_get_selected_str(ui_port_dropdown, buf, static_cast<uint32_t>(size));
}

void ui_port_ui_opened() {
    if (ui_port_button != nullptr) lv_obj_set_style_bg_color(ui_port_button, lv_color_hex(COLOR_PORT_OPEN), 0);
    if (ui_port_dropdown != nullptr) {
        lv_obj_add_state(ui_port_dropdown, LV_STATE_DISABLED);
        lv_obj_add_style(ui_port_dropdown, &style_disabled, LV_STATE_DISABLED);
    }
}

void ui_port_ui_closed() {
    if (ui_port_button != nullptr) lv_obj_set_style_bg_color(ui_port_button, lv_color_hex(COLOR_PORT_CLOSED), 0);
    if (ui_port_dropdown != nullptr) {
        lv_obj_remove_state(ui_port_dropdown, LV_STATE_DISABLED);
        lv_obj_remove_style(ui_port_dropdown, &style_disabled, LV_STATE_DISABLED);
    }
}

void ui_port_button_set_caption(const char* text) {
    if (ui_port_button_label != nullptr) lv_label_set_text(ui_port_button_label, text);
}

void ui_relabel_port_panel() {
    if (ui_port_label != nullptr) {
        lv_obj_set_style_text_font(ui_port_label, &font_button, 0);
        lv_label_set_text(ui_port_label, lang_by_flag("Serial Port", "  串  口   "));
        lv_obj_align(ui_port_label, LV_ALIGN_LEFT_MID, lang_is_chinese() ? -10 : 5, 0);
    }
    if (ui_port_button_label != nullptr) {
        lv_obj_set_style_text_font(ui_port_button_label, &font_text, 0);
        lv_label_set_text(ui_port_button_label, port_button_caption(serial_ports_state().isSerialOpen == 1));
    }
}

void ui_lang_button_set_disabled(bool disabled) {
    if (ui_lang_button == nullptr) return;
    if (disabled)
        lv_obj_add_state(ui_lang_button, LV_STATE_DISABLED);
    else
        lv_obj_remove_state(ui_lang_button, LV_STATE_DISABLED);
}

} // namespace

void openSerial_event_handler(lv_event_t* /*e*/) { port_button_click(); }

void port_panel_fill_port(ScreenPort& port) {
    port.port_list_set_options = ui_port_list_set_options;
    port.port_list_selected = ui_port_list_selected;
    port.port_list_select = ui_port_list_select;
    port.port_list_option_count = ui_port_list_option_count;
    port.port_list_selected_text = ui_port_list_selected_text;
    port.port_ui_opened = ui_port_ui_opened;
    port.port_ui_closed = ui_port_ui_closed;
    port.port_button_set_caption = ui_port_button_set_caption;
    port.relabel_port_panel = ui_relabel_port_panel;
    port.lang_button_set_disabled = ui_lang_button_set_disabled;
}
