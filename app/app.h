/**
 * Application shell: the start-up sequence that runs once the main window exists, the 5 ms tick
 * sequence, and the hand-over of received serial bytes to the protocol parser. The platform
 * window backend calls these from its event loop, all on the UI thread.
 */
#pragma once

#include <cstdint>

constexpr uint32_t APP_TICK_PERIOD_MS = 5;

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
