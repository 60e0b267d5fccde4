#include "common/screen_port.h"

namespace {
ScreenPort g_screen = {};

/* Calls a member when it is set, else answers `none`. */
template <typename Fn, typename R, typename... Args> R call_or(Fn fn, R none, Args... args) {
    return fn != nullptr ? fn(args...) : none;
}
template <typename Fn, typename... Args> void call(Fn fn, Args... args) {
    if (fn != nullptr) fn(args...);
}
} // namespace

void screen_port_set(const ScreenPort* port) { g_screen = port != nullptr ? *port : ScreenPort{}; }

prompt_box_t show_prompt(const char* text) { return call_or(g_screen.show_prompt, prompt_box_t{}, text); }
prompt_box_t show_prompt_alert(const char* text) { return call_or(g_screen.show_prompt_alert, prompt_box_t{}, text); }
prompt_box_t show_error(const char* text) { return call_or(g_screen.show_error, prompt_box_t{}, text); }
void prompt_close(prompt_box_t box) { call(g_screen.prompt_close, box); }

void panel_set_text(PanelEntry entry, const char* text) { call(g_screen.panel_set_text, entry, text); }

int panel_get_text(PanelEntry entry, char* out, size_t cap) {
    if (out == nullptr || cap == 0) return -1;
    out[0] = '\0';
    return call_or(g_screen.panel_get_text, -1, entry, out, cap);
}

void panel_set_checked(PanelCheck check, bool checked) { call(g_screen.panel_set_checked, check, checked); }
bool panel_get_checked(PanelCheck check) { return call_or(g_screen.panel_get_checked, false, check); }
void panel_set_check_enabled(PanelCheck check, bool enabled) { call(g_screen.panel_set_check_enabled, check, enabled); }
void panel_show_level(int level, bool shown) { call(g_screen.panel_show_level, level, shown); }
void panel_redraw() { call(g_screen.panel_redraw); }

int info_field_get(InfoField field, char* out, size_t cap) {
    if (out == nullptr || cap == 0) return -1;
    out[0] = '\0';
    return call_or(g_screen.info_field_get, -1, field, out, cap);
}

void info_field_set(InfoField field, const char* text) { call(g_screen.info_field_set, field, text); }

void port_list_set_options(const char* options) { call(g_screen.port_list_set_options, options); }
int port_list_selected() { return call_or(g_screen.port_list_selected, 0); }
void port_list_select(int index) { call(g_screen.port_list_select, index); }
int port_list_option_count() { return call_or(g_screen.port_list_option_count, 0); }

void port_list_selected_text(char* buf, int size) {
    if (buf == nullptr || size <= 0) return;
    buf[0] = '\0';
    call(g_screen.port_list_selected_text, buf, size);
}

void port_ui_opened() { call(g_screen.port_ui_opened); }
void port_ui_closed() { call(g_screen.port_ui_closed); }
void port_button_set_caption(const char* text) { call(g_screen.port_button_set_caption, text); }
void relabel_port_panel() { call(g_screen.relabel_port_panel); }
void lang_button_set_disabled(bool disabled) { call(g_screen.lang_button_set_disabled, disabled); }

protocol_timer_t protocol_timer_start(uint32_t period_ms, protocol_timer_cb cb) {
    return cb != nullptr ? call_or(g_screen.timer_start, protocol_timer_t{}, period_ms, cb) : nullptr;
}

void protocol_timer_delete(protocol_timer_t timer) {
    if (timer != nullptr) call(g_screen.timer_delete, timer);
}
