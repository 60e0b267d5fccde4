#include "app/display_input.h"

#include "app/app.h"
#include "app/keypad.h"
#include "app/window.h"
#include "common/debug_log.h"
#include "common/platform.h"

#include "lvgl.h"

#include <cstring>

namespace {
constexpr uint32_t FRAME_BYTES = WINDOW_STRIDE * WINDOW_CLIENT_HEIGHT; /* 2560800 */
constexpr uint32_t KEYPAD_LONG_PRESS_MS = 20;
constexpr uint32_t KEYPAD_LONG_PRESS_REPEAT_MS = 10;

/* The display and the two input devices (created once, never deleted). */
struct DisplayInput {
    lv_display_t* display;
    lv_indev_t* keypad;
    lv_indev_t* pointer;
    uint8_t* frameBits;
    bool drawn; /* LVGL has drawn a frame into frameBits */
};

DisplayInput g_di;
KeypadState g_keypad;

void creation_error(const char* text) { platform_message_box(text, "错误", MsgBoxIcon::Error); }

/* LVGL's flush callback: the rendered rows into the back buffer, then onto the window. The
 * flush is done when the window has read them (display_flush_wait_cb), not on return. */
void display_flush_cb(lv_display_t*, const lv_area_t* area, uint8_t* px_map) {
    if (g_di.frameBits != nullptr && window_exists()) {
        /* In full-screen mode px_map is frameBits itself and nothing moves; the copy keeps a
         * partial-render configuration working. */
        const size_t row_bytes = static_cast<size_t>(area->x2 - area->x1 + 1) * 4;
        const uint8_t* src = px_map;
        for (int32_t y = area->y1; y <= area->y2; ++y) {
            uint8_t* dst = g_di.frameBits + static_cast<size_t>(y) * WINDOW_STRIDE + static_cast<size_t>(area->x1) * 4;
            if (dst != src) memmove(dst, src, row_bytes);
            src += row_bytes;
        }
        window_present(area->x1, area->y1, area->x2, area->y2);
        g_di.drawn = true;
    }
}

/* Before LVGL draws into the buffer again: the window must have read the last frame, or it could
 * show a half-drawn one. */
void display_flush_wait_cb(lv_display_t*) { window_present_wait(); }

/* LVGL's read callbacks of the keypad and the pointer. */
void keypad_read_cb(lv_indev_t*, lv_indev_data_t* data) {
    const KeypadReport r = keypad_poll(g_keypad, lv_tick_get(), window_keyboard());
    data->state = r.pressed ? LV_INDEV_STATE_PRESSED : LV_INDEV_STATE_RELEASED;
    data->key = r.key;
}

void mouse_read_cb(lv_indev_t*, lv_indev_data_t* data) {
    int32_t x = 0, y = 0;
    bool pressed = false;
    app_pointer(&x, &y, &pressed);
    data->point.x = x;
    data->point.y = y;
    data->state = pressed ? LV_INDEV_STATE_PRESSED : LV_INDEV_STATE_RELEASED;
}

} // namespace

bool display_input_drawn() { return g_di.drawn; }

int display_input_create() {
    BackBufferResult res = BackBufferResult::Ok;
    g_di.frameBits = window_back_buffer(&res);
    if (res == BackBufferResult::NoSurface) {
        creation_error("创建内存DC失败");
        return -1;
    }
    if (g_di.frameBits == nullptr) {
        creation_error("创建后台缓冲区失败");
        return -1;
    }
    if ((reinterpret_cast<uintptr_t>(g_di.frameBits) & 15u) != 0)
        dbg_log("[Warning] back buffer is not 16-byte aligned: %p\n", static_cast<void*>(g_di.frameBits));

    g_di.display = lv_display_create(WINDOW_CLIENT_WIDTH, WINDOW_CLIENT_HEIGHT);
    if (g_di.display == nullptr) {
        dbg_log("[Error] 创建LVGL显示对象失败\n");
        return -1;
    }
    lv_display_set_color_format(g_di.display, LV_COLOR_FORMAT_XRGB8888);
    lv_display_set_flush_cb(g_di.display, display_flush_cb);
    lv_display_set_flush_wait_cb(g_di.display, display_flush_wait_cb);
    lv_display_set_buffers(g_di.display, g_di.frameBits, nullptr, FRAME_BYTES, LV_DISPLAY_RENDER_MODE_FULL);

    memset(&g_keypad, 0, sizeof g_keypad);
    g_di.keypad = lv_indev_create();
    if (g_di.keypad != nullptr) {
        lv_indev_set_type(g_di.keypad, LV_INDEV_TYPE_KEYPAD);
        lv_indev_set_read_cb(g_di.keypad, keypad_read_cb);
        lv_indev_set_long_press_time(g_di.keypad, KEYPAD_LONG_PRESS_MS);
        lv_indev_set_long_press_repeat_time(g_di.keypad, KEYPAD_LONG_PRESS_REPEAT_MS);
    }

    g_di.pointer = lv_indev_create();
    if (g_di.pointer == nullptr) {
        creation_error("创建 LVGL 鼠标输入设备失败");
        return -1;
    }
    lv_indev_set_type(g_di.pointer, LV_INDEV_TYPE_POINTER);
    lv_indev_set_read_cb(g_di.pointer, mouse_read_cb);
    return 0;
}
