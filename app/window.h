/**
 * The platform window as the shell sees it (app/window_sdl.cpp on Linux). The portable start-up
 * sequence, display bridge and tick sequence use only these calls.
 */
#pragma once

#include <cstdint>

struct KeyboardPort;

constexpr int WINDOW_CLIENT_WIDTH = 970;
constexpr int WINDOW_CLIENT_HEIGHT = 660;
constexpr int WINDOW_STRIDE = WINDOW_CLIENT_WIDTH * 4; /* 3880 bytes per XRGB8888 row */

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

/* Shows the back buffer's rectangle x1..x2, y1..y2 (inclusive) on the window. */
void window_present(int32_t x1, int32_t y1, int32_t x2, int32_t y2);

/* Time (clock_ms32) of the user's last key or mouse event in the window. */
uint32_t window_last_input_ms();

/* True while the window has the keyboard focus. */
bool window_has_focus();

/* Keyboard state for the keypad device. */
const KeyboardPort& window_keyboard();

/* The pointer for the pointer device: the last move position and the next pressed state
 * (queued button changes are handed out one per call, then the current state). */
void window_pointer(int32_t* x, int32_t* y, bool* pressed);
