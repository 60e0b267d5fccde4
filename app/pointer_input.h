/**
 * Pointer state between two polls of LVGL's pointer device. Button changes are queued, so a
 * press and its release that both happen between two polls (a quick click) are both reported;
 * the position is always the last move position.
 */
#pragma once

#include <cstdint>

constexpr int POINTER_QUEUE_SIZE = 64;

struct PointerInput {
    int32_t x = 0, y = 0;   /* last move position */
    bool pressed = false;   /* current button state */
    bool queue[POINTER_QUEUE_SIZE] = {};
    int head = 0, count = 0;
};

/* Records a mouse move. */
void pointer_input_move(PointerInput& p, int32_t x, int32_t y);

/* Records a left-button change; a flood beyond the queue keeps the oldest changes. */
void pointer_input_button(PointerInput& p, bool pressed);

/* The state for one poll: the next queued change, else the current state; position = last move. */
void pointer_input_poll(PointerInput& p, int32_t* x, int32_t* y, bool* pressed);
