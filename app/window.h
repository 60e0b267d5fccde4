/**
 * The platform window as the shell sees it: app/window_sdl.cpp on Linux, app/window_win32.cpp on
 * Windows. A backend owns no control flow: the portable loop (app/main_loop.cpp) asks it to wait
 * for events up to a deadline, and the backend hands each event to the shell on the UI thread:
 *
 *   pointer move / left button      app_on_pointer_move, app_on_pointer_button
 *   key event, other button         app_on_activity
 *   Alt+"/" or Alt+"?"              app_on_about
 *   serial wake-up                  app_on_serial_rx
 *   ports came or went (Linux)      app_on_ports_changed
 *   exposure                        app_on_expose
 *   close, quit request             main_loop_quit
 *
 * Keys themselves are polled (window_keyboard), not taken from the events.
 *
 * NOTE (Windows): window_wait_events maps onto one round of a GetMessage-style loop:
 * MsgWaitForMultipleObjects(0, nullptr, FALSE, deadline - now, QS_ALLINPUT), then PeekMessage /
 * TranslateAccelerator / TranslateMessage / DispatchMessage until the queue is empty; the window
 * procedure makes the calls above. Timer 1 (SetTimer, 5 ms) only wakes the wait there; inside a
 * system modal loop (MessageBox, GetOpenFileName, DialogBox) its WM_TIMER calls
 * main_loop_tick_if_due(), which keeps the tick running while a box is open, and the data-arrived
 * message (WM_SERIAL_RX, posted by window_post_serial_rx) reaches app_on_serial_rx either way.
 */
#pragma once

#include "ui/screen_size.h"

#include <cstdint>

struct KeyboardPort;

constexpr int WINDOW_CLIENT_WIDTH = UI_SCREEN_WIDTH; /* the client area is the screen */
constexpr int WINDOW_CLIENT_HEIGHT = UI_SCREEN_HEIGHT;
constexpr int WINDOW_STRIDE = WINDOW_CLIENT_WIDTH * 4; /* 3880 bytes per XRGB8888 row */

/* Creates the main window, hidden: title APP_WINDOW_TITLE, class APP_WINDOW_CLASS, a fixed
 * 970 x 660 client area centred on the primary screen. Returns 0, or -1 (logged) when there is
 * no display to open it on. */
int window_create();

/* Shows the window created by window_create. */
void window_show();

/* Destroys the window. Wake-ups posted afterwards are dropped. */
void window_destroy();

/* Sleeps until an event arrives or clock_ms() reaches deadline_ms, then handles every event that
 * is waiting (see the table above) and returns. A deadline in the past handles what is waiting
 * without sleeping. May be called again from inside a handler (a modal box's loop). */
void window_wait_events(uint64_t deadline_ms);

/* From any thread: wakes the UI thread to drain received serial bytes (app_on_serial_rx).
 * False when the wake-up could not be queued (the caller tries again later). */
bool window_post_serial_rx();

/* From any thread: asks the loop to end with this exit code (main_loop_quit on the UI thread). */
void window_post_quit(int code);

/* While a modal box is open the window takes no input: pointer and key events are dropped, and
 * what arrived meanwhile is discarded when the last box closes (Windows: EnableWindow). Calls
 * nest. */
void window_set_modal(bool modal);

enum class BackBufferResult {
    Ok,
    NoSurface,   /* the window has no drawable surface */
    NoMemory,    /* the back buffer could not be allocated */
};

/* The 970 x 660 XRGB8888 back buffer (stride 3880): the window's own pixels when their layout
 * matches, else a 16-byte aligned buffer of the backend that is copied on present. */
uint8_t* window_back_buffer(BackBufferResult* result);

/* True once the main window exists. */
bool window_exists();

/* Shows the back buffer's rectangle x1..x2, y1..y2 (inclusive) on the window. The window system
 * may still be reading the buffer when this returns: see window_present_wait. */
void window_present(int32_t x1, int32_t y1, int32_t x2, int32_t y2);

/* Returns once the window system has read every rectangle presented so far, so the back buffer
 * may be drawn into again (at once when a present copies before it returns). Never spins. */
void window_present_wait();

/* True while the window has the keyboard focus. */
bool window_has_focus();

/* Keyboard state for the keypad device. */
const KeyboardPort& window_keyboard();

/* The user's preferred interface language ("zh_CN", "en_US", ...), "" when none. */
const char* window_user_language();
