/* The headless display, its pointer and clock, and the message-box lookups (headless.h). */
#include "tests/support/headless.h"

#include "common/lang.h"
#include "params/param_files.h"
#include "params/param_values.h"
#include "protocol/parser.h"
#include "serial/Serial.h"
#include "tests/fakes/common/fake_platform.h"
#include "ui/screen.h"

namespace {

constexpr int W = 970;
constexpr int H = 660;

struct Headless {
    bool ready = false;
    std::vector<uint8_t> buffer;
    uint32_t now = 1000;
    lv_point_t point{0, 0};
    bool pressed = false;
};

Headless g;

void init_once() {
    if (g.ready) return;
    g.ready = true;
    lv_init();
    lv_tick_set_cb([] { return g.now; });
    lv_display_t* display = lv_display_create(W, H);
    lv_display_set_color_format(display, LV_COLOR_FORMAT_XRGB8888);
    g.buffer.assign(static_cast<size_t>(W) * H * 4 + 16, 0);
    lv_display_set_flush_cb(display, [](lv_display_t* d, const lv_area_t*, uint8_t*) { lv_display_flush_ready(d); });
    lv_display_set_buffers(display, g.buffer.data(), nullptr, static_cast<uint32_t>(W) * H * 4,
                           LV_DISPLAY_RENDER_MODE_FULL);
    lv_indev_t* pointer = lv_indev_create();
    lv_indev_set_type(pointer, LV_INDEV_TYPE_POINTER);
    lv_indev_set_read_cb(pointer, [](lv_indev_t*, lv_indev_data_t* data) {
        data->point = g.point;
        data->state = g.pressed ? LV_INDEV_STATE_PRESSED : LV_INDEV_STATE_RELEASED;
    });
    ui_screen_port_install(); /* the screen build does it too; prompts alone need it first */
}

} // namespace

void headless_new_screen() {
    init_once();
    lv_obj_t* old = lv_screen_active();
    lv_obj_t* scr = lv_obj_create(nullptr);
    lv_screen_load(scr);
    if (old != nullptr && old != scr) lv_obj_delete(old);
    g.pressed = false;
    headless_run(50);
}

void headless_run(uint32_t ms) {
    for (uint32_t t = 0; t < ms; t += 5) {
        g.now += 5;
        lv_timer_handler();
    }
}

void headless_click_obj(lv_obj_t* obj) {
    lv_obj_update_layout(obj);
    lv_area_t a;
    lv_obj_get_coords(obj, &a);
    g.point = {(a.x1 + a.x2) / 2, (a.y1 + a.y2) / 2};
    for (bool pressed : {false, true, false}) {
        g.pressed = pressed;
        headless_run(40);
    }
}

std::string headless_label_text(lv_obj_t* obj) {
    if (obj == nullptr) return "";
    if (lv_obj_check_type(obj, &lv_label_class)) return lv_label_get_text(obj);
    const uint32_t n = lv_obj_get_child_count(obj);
    for (uint32_t i = 0; i < n; ++i) {
        std::string t = headless_label_text(lv_obj_get_child(obj, static_cast<int32_t>(i)));
        if (!t.empty()) return t;
    }
    return "";
}

std::vector<lv_obj_t*> headless_msgboxes() {
    std::vector<lv_obj_t*> out;
    lv_obj_t* screen = lv_screen_active();
    for (uint32_t i = 0; i < lv_obj_get_child_count(screen); ++i) {
        lv_obj_t* child = lv_obj_get_child(screen, static_cast<int32_t>(i));
        if (lv_obj_check_type(child, &lv_msgbox_class)) out.push_back(child);
    }
    return out;
}

std::string headless_msgbox_title(lv_obj_t* box) {
    lv_obj_t* title = lv_msgbox_get_title(box);
    return title ? lv_label_get_text(title) : "";
}

std::string headless_msgbox_text(lv_obj_t* box) {
    return headless_label_text(lv_msgbox_get_content(box));
}

std::vector<std::string> headless_msgbox_texts() {
    std::vector<std::string> out;
    for (lv_obj_t* box : headless_msgboxes())
        out.push_back(headless_msgbox_text(box));
    return out;
}

void ScreenFixture::SetUp() {
    params_reset();
    params_import_reset();
    protocol_reset();
    serial_ports_reset();
    lang_reset();
    fake_platform_reset();
    headless_new_screen();
    ASSERT_TRUE(main_ui_build());
    headless_run(50);
}

void ScreenFixture::TearDown() {
    serial_ports_reset();
    lang_reset();
}
