/**
 * The periodic timers that pace the register read and write sequences. On screen they are LVGL
 * timers run by the tick's timer handler (protocol/protocol_timers_lvgl.cpp); core tests drive the
 * callbacks by hand through a recording fake.
 */
#pragma once

#include <cstdint>

/* A running timer; null for none. */
typedef void* protocol_timer_t;

/* Called on each period with the timer that fired (so the callback can delete it). */
typedef void (*protocol_timer_cb)(protocol_timer_t timer);

/* Starts a periodic timer that is due at once (its first call comes with the next run of the
 * timer handler). Returns the timer, or null when it could not be created. */
protocol_timer_t protocol_timer_start(uint32_t period_ms, protocol_timer_cb cb);

/* Deletes a timer returned by protocol_timer_start; null is ignored. */
void protocol_timer_delete(protocol_timer_t timer);
