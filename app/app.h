/**
 * Application shell: the start-up sequence that runs once the main window exists, the 5 ms tick
 * sequence, and the window's events (input, serial wake-up, exposure, About). The loop
 * (app/main_loop.cpp) and the platform window call these, all on the UI thread.
 */
#pragma once

#include <cstdint>

/* The tick runs every 5 ms while anything is going on (input, received bytes, a plug-in, a
 * servo transaction). When the user, the port and the protocol have been quiet for a while it
 * runs at the granularity of a Windows timer instead: nothing depends on the exact rate, and 200
 * wake-ups a second alone cost about 0.6 % of a core on a virtual machine. Received bytes wake the
 * loop at once whatever the period. */
constexpr uint32_t APP_TICK_PERIOD_MS = 5;
constexpr uint32_t APP_IDLE_TICK_PERIOD_MS = 16;
constexpr uint32_t APP_IDLE_AFTER_INPUT_MS = 3000;
constexpr uint32_t APP_IDLE_AFTER_RX_MS = 1000;

/* Window title, class name and About texts; the version words differ on purpose. */
#define APP_WINDOW_TITLE "QRX_SERVO_TOOL_V_1_0_7"
#define APP_WINDOW_CLASS "QRXSERVOTOOLV106"
#define APP_ABOUT_CAPTION "关于 QRX_SERVO_TOOL_V_1_0_6"
#define APP_ABOUT_LINE1 "QRX_SERVO_TOOL_V_1_0_6, 版本 1.0"
#define APP_ABOUT_LINE2 "PWM 舵机参数配置工具 (c) 2026"

/* Installs the platform port, initialises LVGL, the display and input devices and builds the
 * screen. Returns 0, or -1 when the window must not be shown (the user or the log has been told
 * why). */
int app_create();

/* One tick: LVGL's timer handler, the hot-plug check, the servo information time-outs, the text
 * cursor. A step that is itself waiting on a modal box further up the stack is skipped, the
 * others run. */
void app_tick();

/* The program ends: stops the serial notifier thread (the port stays open, as at any process
 * end) before the window system it wakes goes away. */
void app_destroy();

/* Milliseconds from this tick to the next: APP_TICK_PERIOD_MS, or APP_IDLE_TICK_PERIOD_MS while
 * everything is quiet. */
uint32_t app_tick_period_ms();

/* Time (clock_ms32) of the user's last key or mouse event in the window. */
uint32_t app_last_input_ms();

/* ---- the window's events ---- */

void app_on_pointer_move(int32_t x, int32_t y);
void app_on_pointer_button(bool pressed); /* left button */
void app_on_activity();                   /* a key event or another button: the user is there (the keypad polls keys) */
void app_on_about();                      /* opens the About box (modal) */

/* Moves received bytes into the receive ring and drains it into the parser. */
void app_on_serial_rx();

/* Port discovery reported ports coming or going (the wait's discovery_wait_handle turned
 * readable): the hot-plug check runs at once instead of at the next tick. */
void app_on_ports_changed();

/* Repaints the whole window from the back buffer (once LVGL has drawn into it). */
void app_on_expose();

/* The pointer for the pointer device: the last move position and the next pressed state
 * (queued button changes are handed out one per call, then the current state). */
void app_pointer(int32_t* x, int32_t* y, bool* pressed);
