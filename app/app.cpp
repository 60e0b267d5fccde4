#include "app/app.h"

#include "app/dialogs.h"
#include "app/display_input.h"
#include "app/pointer_input.h"
#include "app/window.h"
#include "common/clock.h"
#include "common/debug_log.h"
#include "common/platform.h"
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

void run_lvgl() { lv_timer_handler(); }

void check_info_timeout() { info_transaction_check_timeout(); }

void update_cursor_blink() {
    const bool active = window_has_focus() &&
                        clock_elapsed32(clock_ms32(), app_last_input_ms()) < CURSOR_BLINK_TIMEOUT_MS;
    text_cursor_set_blinking(active);
}

void drain_serial() {
    SerialHandle();
    rx_ring_drain(process_servo_info_data);
}

/* One piece of work of the tick or of a wake-up. `running` is set while it runs: a modal box
 * opened from inside it (a port that cannot be opened, a file dialog behind a button) runs the
 * tick again from its own loop, and the piece must not start over inside itself. */
struct Work {
    void (*run)();
    bool running;
};

void run_once(Work& w) {
    if (w.running) return;
    w.running = true;
    w.run();
    w.running = false;
}

constexpr int HOT_PLUG_WORK = 1; /* the hot-plug check's place in the tick */

struct AppState {
    /* The tick sequence, in its order. */
    Work tick[4] = {{run_lvgl, false}, {hot_plug_check, false}, {check_info_timeout, false},
                    {update_cursor_blink, false}};
    Work serial_rx = {drain_serial, false};
    uint32_t last_rx_ms = 0;
    uint32_t last_input_ms = 0;
    PointerInput pointer;
    bool about_open = false;
};

AppState g_app;

} // namespace

int app_create() {
    PlatformPort platform = {};
    platform.message_box = dialog_message_box;
    platform.post_serial_rx = window_post_serial_rx;
    platform.post_quit = window_post_quit;
    platform.user_language = window_user_language;
    platform.file_dialog_open_txt = dialog_file_open_txt;
    platform.file_dialog_save_txt = dialog_file_save_txt;
    platform_port_set(&platform);

    g_app.last_input_ms = clock_ms32();
    lv_init();
    lv_tick_set_cb(tick_source);
    if (display_input_create() != 0) return -1;
    main_ui_build(); /* a missing picture posts quit; the loop then ends by itself */
    lv_obj_invalidate(lv_screen_active());
    dbg_log("[Success] LVGL v9.4 初始化完成\n");
    return 0;
}

void app_tick() {
    for (Work& w : g_app.tick)
        run_once(w);
}

void app_destroy() { SerialStopNotifier(); }

uint32_t app_tick_period_ms() {
    const uint32_t now = clock_ms32();
    const bool busy = clock_elapsed32(now, g_app.last_input_ms) < APP_IDLE_AFTER_INPUT_MS ||
                      clock_elapsed32(now, g_app.last_rx_ms) < APP_IDLE_AFTER_RX_MS ||
                      serial_ports_state().plugFirstSeenTick != 0 || /* a plug-in is being debounced */
                      protocol_busy();          /* waiting for a servo, or a register sequence runs */
    return busy ? APP_TICK_PERIOD_MS : APP_IDLE_TICK_PERIOD_MS;
}

uint32_t app_last_input_ms() { return g_app.last_input_ms; }

void app_on_pointer_move(int32_t x, int32_t y) {
    g_app.last_input_ms = clock_ms32();
    pointer_input_move(g_app.pointer, x, y);
}

void app_on_pointer_button(bool pressed) {
    g_app.last_input_ms = clock_ms32();
    pointer_input_button(g_app.pointer, pressed);
}

void app_on_activity() { g_app.last_input_ms = clock_ms32(); }

void app_on_about() {
    g_app.last_input_ms = clock_ms32();
    if (g_app.about_open) return;
    g_app.about_open = true;
    dialog_about_box();
    g_app.about_open = false;
}

void app_on_serial_rx() {
    g_app.last_rx_ms = clock_ms32();
    run_once(g_app.serial_rx);
}

void app_on_ports_changed() { run_once(g_app.tick[HOT_PLUG_WORK]); }

void app_on_expose() {
    /* Before LVGL's first frame the back buffer holds nothing to show; that frame follows within
     * a tick and is presented whole. */
    if (display_input_drawn()) window_present(0, 0, WINDOW_CLIENT_WIDTH - 1, WINDOW_CLIENT_HEIGHT - 1);
}

void app_pointer(int32_t* x, int32_t* y, bool* pressed) { pointer_input_poll(g_app.pointer, x, y, pressed); }
