/* The screen port: the core's calls to the screen, filled from the panels' LVGL code, and the
 * sequencing timers as LVGL timers run by the tick's lv_timer_handler. */
#include "ui/screen.h"

#include "common/screen_port.h"
#include "ui/info_panel.h"
#include "ui/param_panel.h"
#include "ui/port_panel.h"
#include "ui/prompt.h"

#include "lvgl.h"

namespace {

void trampoline(lv_timer_t* timer) {
    const auto cb = reinterpret_cast<protocol_timer_cb>(lv_timer_get_user_data(timer));
    if (cb != nullptr) cb(timer);
}

protocol_timer_t ui_timer_start(uint32_t period_ms, protocol_timer_cb cb) {
    if (cb == nullptr) return nullptr;
    lv_timer_t* timer = lv_timer_create(trampoline, period_ms, reinterpret_cast<void*>(cb));
    if (timer == nullptr) return nullptr;
    lv_timer_ready(timer); /* last run = now - period - 1: due at once */
    return timer;
}

void ui_timer_delete(protocol_timer_t timer) {
    if (timer != nullptr) lv_timer_delete(static_cast<lv_timer_t*>(timer));
}

} // namespace

void ui_screen_port_install() {
    ScreenPort port = {};
    prompt_fill_port(port);
    param_panel_fill_port(port);
    info_panel_fill_port(port);
    port_panel_fill_port(port);
    port.timer_start = ui_timer_start;
    port.timer_delete = ui_timer_delete;
    screen_port_set(&port);
}
