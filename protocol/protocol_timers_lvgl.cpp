/* The sequencing timers as LVGL timers, run by the tick's lv_timer_handler. */
#include "protocol/protocol_timers.h"

#include "lvgl.h"

namespace {
void trampoline(lv_timer_t* timer) {
    const auto cb = reinterpret_cast<protocol_timer_cb>(lv_timer_get_user_data(timer));
    if (cb != nullptr) cb(timer);
}
} // namespace

protocol_timer_t protocol_timer_start(uint32_t period_ms, protocol_timer_cb cb) {
    if (cb == nullptr) return nullptr;
    lv_timer_t* timer = lv_timer_create(trampoline, period_ms, reinterpret_cast<void*>(cb));
    if (timer == nullptr) return nullptr;
    lv_timer_ready(timer); /* last run = now - period - 1: due at once */
    return timer;
}

void protocol_timer_delete(protocol_timer_t timer) {
    if (timer != nullptr) lv_timer_delete(static_cast<lv_timer_t*>(timer));
}
