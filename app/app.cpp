#include "app/app.h"

#include "app/display_input.h"
#include "app/window.h"
#include "common/clock.h"
#include "common/debug_log.h"
#include "protocol/info_transaction.h"
#include "protocol/parser.h"
#include "serial/Serial.h"
#include "serial/comHandle.h"
#include "serial/rx_ring.h"
#include "ui/screen.h"
#include "ui/text_cursor.h"

#include "lvgl.h"

namespace {

/* Like the desktop toolkits, the text cursor rests (shown, not blinking) after this long without
 * input and while the window is in the background: an idle window then draws nothing. */
constexpr uint32_t CURSOR_BLINK_TIMEOUT_MS = 10000;

uint32_t tick_source() { return clock_ms32(); }

struct AppState {
    uint32_t last_rx_ms = 0;
};

AppState g_app;

void update_cursor_blink() {
    const bool active = window_has_focus() &&
                        clock_elapsed32(clock_ms32(), window_last_input_ms()) < CURSOR_BLINK_TIMEOUT_MS;
    text_cursor_set_blinking(active);
}

} // namespace

int app_create() {
    lv_init();
    lv_tick_set_cb(tick_source);
    if (display_input_create() != 0) return -1;
    main_ui_build(); /* a missing picture posts quit; the loop then ends by itself */
    lv_obj_invalidate(lv_screen_active());
    dbg_log("[Success] LVGL v9.4 初始化完成\n");
    return 0;
}

void app_tick() {
    lv_timer_handler();
    hot_plug_check();
    info_transaction_check_timeout();
    update_cursor_blink();
}

void app_serial_rx() {
    g_app.last_rx_ms = clock_ms32();
    SerialHandle();
    rx_ring_drain(process_servo_info_data);
}

void app_destroy() { SerialStopNotifier(); }

uint32_t app_tick_period_ms() {
    const uint32_t now = clock_ms32();
    const bool busy = clock_elapsed32(now, window_last_input_ms()) < APP_IDLE_AFTER_INPUT_MS ||
                      clock_elapsed32(now, g_app.last_rx_ms) < APP_IDLE_AFTER_RX_MS ||
                      serial_ports_state().plugFirstSeenTick != 0 || /* a plug-in is being debounced */
                      protocol_busy();          /* waiting for a servo, or a register sequence runs */
    return busy ? APP_TICK_PERIOD_MS : APP_IDLE_TICK_PERIOD_MS;
}
