#include "app/pointer_input.h"

void pointer_input_move(PointerInput& p, int32_t x, int32_t y) {
    p.x = x;
    p.y = y;
}

void pointer_input_button(PointerInput& p, bool pressed) {
    p.pressed = pressed;
    if (p.count == POINTER_QUEUE_SIZE) return;
    p.queue[(p.head + p.count) % POINTER_QUEUE_SIZE] = pressed;
    ++p.count;
}

void pointer_input_poll(PointerInput& p, int32_t* x, int32_t* y, bool* pressed) {
    *x = p.x;
    *y = p.y;
    if (p.count > 0) {
        *pressed = p.queue[p.head];
        p.head = (p.head + 1) % POINTER_QUEUE_SIZE;
        --p.count;
    } else {
        *pressed = p.pressed;
    }
}
