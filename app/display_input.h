/**
 * Joins LVGL to the main window: one full-screen XRGB8888 buffer that LVGL renders into and
 * the window shows, a pointer device fed by the window's mouse events, and a keypad device
 * that polls the keyboard itself.
 */
#pragma once

/* Creates the back buffer, the display and both input devices. Returns 0, or -1 after telling
 * the user (message box) or the log what failed. */
int display_input_create();

/* True once LVGL has drawn its first frame into the back buffer. */
bool display_input_drawn();
