#include "app/app.h"

#include "app/display_input.h"
#include "common/clock.h"
#include "common/debug_log.h"
#include "serial/Serial.h"
#include "serial/rx_ring.h"
#include "ui/screen.h"

#include "lvgl.h"

namespace {
uint32_t tick_source() { return clock_ms32(); }
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
}

void app_serial_rx() {
    SerialHandle();
    rx_ring_drain(nullptr); /* FIXME: hand the bytes to the receive parser once it exists */
}
