#include "ui/text_cursor.h"

#include "ui/screen.h"

#include "lvgl.h"

namespace {

/* The theme gives the cursor of a focused text area its blink time; a local style for the same
 * part and state overrides it. */
constexpr lv_style_selector_t CURSOR_FOCUSED = LV_PART_CURSOR | LV_STATE_FOCUSED;

struct TextCursor {
    lv_obj_t* rested = nullptr; /* the focused field whose cursor was stopped */
};

TextCursor g_cursor;

/* A text area restarts its blink animation, or stops it and shows the cursor when the blink
 * time is 0, whenever the style of its label changes. */
void restart_blink(lv_obj_t* ta) { lv_obj_refresh_style(lv_textarea_get_label(ta), LV_PART_MAIN, LV_STYLE_PROP_ANY); }

void wake(lv_obj_t* ta, bool restart) {
    if (ta == nullptr || !lv_obj_is_valid(ta)) return;
    lv_obj_remove_local_style_prop(ta, LV_STYLE_ANIM_DURATION, CURSOR_FOCUSED);
    if (restart) restart_blink(ta);
}

} // namespace

void text_cursor_reset() { g_cursor = TextCursor{}; }

void text_cursor_set_blinking(bool blinking) {
    if (ui_input_group == nullptr) return;
    lv_obj_t* focused = lv_group_get_focused(ui_input_group);
    if (focused != nullptr && !lv_obj_check_type(focused, &lv_textarea_class)) focused = nullptr;

    if (blinking) {
        wake(g_cursor.rested, g_cursor.rested == focused);
        g_cursor.rested = nullptr;
        return;
    }
    if (g_cursor.rested == focused) return;
    wake(g_cursor.rested, false); /* no longer focused: the theme decides again next time */
    g_cursor.rested = focused;
    if (focused != nullptr) {
        lv_obj_set_style_anim_duration(focused, 0, CURSOR_FOCUSED);
        restart_blink(focused);
    }
}
