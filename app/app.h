/**
 * Application shell: the start-up sequence that runs once the main window exists, the 5 ms tick
 * sequence, and the hand-over of received serial bytes to the protocol parser. The platform
 * window backend calls these from its event loop, all on the UI thread.
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

/* Initialises LVGL, the display and input devices and builds the screen. Returns 0, or -1 when
 * the window must not be created (the user or the log has been told why). */
int app_create();

/* One tick: LVGL's timer handler, the hot-plug check, the servo information time-outs. */
void app_tick();

/* Moves received bytes into the receive ring and drains it into the parser. */
void app_serial_rx();

/* The program ends: stops the serial notifier thread (the port stays open, as at any process
 * end) before the window system it wakes goes away. */
void app_destroy();

/* Milliseconds from this tick to the next: APP_TICK_PERIOD_MS, or APP_IDLE_TICK_PERIOD_MS while
 * everything is quiet. */
uint32_t app_tick_period_ms();
