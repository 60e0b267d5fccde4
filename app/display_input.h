/**
 * Joins LVGL to the main window: one full-screen XRGB8888 buffer that LVGL renders into and
 * the window shows, a pointer device fed by the window's mouse events, and a keypad device
 * that polls the keyboard itself.
 */
#pragma once

#include "lvgl.h"

/* The display and the two input devices (created once, never deleted). */
struct DisplayInput {
    lv_display_t* display;
    lv_indev_t* keypad;
    lv_indev_t* pointer;
    uint8_t* frameBits;
};

/* The one instance. */
DisplayInput& display_input();

/* Creates the back buffer, the display and both input devices. Returns 0, or -1 after telling
 * the user (message box) or the log what failed. */
int display_input_create();

/* LVGL callbacks, exposed for tests. */
void display_flush_cb(lv_display_t* disp, const lv_area_t* area, uint8_t* px_map);
void keypad_read_cb(lv_indev_t* indev, lv_indev_data_t* data);
void mouse_read_cb(lv_indev_t* indev, lv_indev_data_t* data);
