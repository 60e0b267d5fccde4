/**
 * Parameter panel over LVGL.
 *
 * Implements:
 *  - build_parameter_fields for the basic (9 fields), overload (6) and soft-start (1) containers,
 *    and the parameter widget map the change checks use;
 *  - the stall-level check boxes' handler and the two relabel calls of the language switch;
 *  - the two entry checks (plain range, angle/pulse);
 *  - the panel calls of the screen port, for the portable code.
 */
#include "ui/param_panel.h"

#include "assets/fonts/fonts.h"
#include "common/debug_log.h"
#include "common/lang.h"
#include "common/prompt.h"
#include "params/param_values.h"
#include "ui/field_range.h"
#include "ui/screen.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr uint32_t COLOR_CAPTION = 0xFFFFFF;
constexpr int MAP_CAPACITY = PANEL_ENTRY_COUNT;
constexpr const char* TAG_BASIC = "Rect4";
constexpr const char* TAG_OVERLOAD = "Rect5";
constexpr const char* TAG_SOFTSTART = "Rect6";

/* The texts of one entry; what it takes is in the shared table (panel_field_limits). */
struct FieldLayout {
    const char* caption_zh; /* at build (Chinese) */
    const char* caption_en; /* at build (English) */
    const char* relabel_zh; /* after a language switch */
    const char* relabel_en;
    const char* hint;
};

// clang-format off
const FieldLayout FIELDS[PANEL_ENTRY_COUNT] = {
    {"最小角度    ", "MinAngle     ", "最小角度    ", "MinAngle    ", "#9ea2e5 (0-4096)#"},
    {"最大角度    ", "MaxAngle     ", "最大角度    ", "MaxAngle    ", "#9ea2e5 (0-4096)#"},
    {"中间角度    ", "MidAngle     ", "中间角度    ", "MidAngle    ", "#9ea2e5 (0-4096)#"},
    {"最小脉宽    ", "MinPulse     ", "最小脉宽     ", "MinPulse    ", "#9ea2e5 (0-4096)#"},
    {"最大脉宽    ", "MaxPulse     ", "最大脉宽     ", "MaxPulse    ", "#9ea2e5 (0-4096)#"},
    {"死区范围    ", "Deadband     ", "死区范围     ", "Deadband    ", "#9ea2e5 (0-13)#"},
    {"增益        ", "Gain   ",       "增益   ",       "Gain   ",       "#9ea2e5 (0-255)#"},
    {"阻尼        ", "Damping",       "阻尼   ",       "Damping",       "#9ea2e5 (0-255)#"},
    {"输出功率    ", "MaxPower ",     "输出功率 ",     "MaxPower ",     "#9ea2e5 (0-150)#"},
    {"堵转1时间", "Overload Time 1",  "堵转1时间", "Time  1", "#9ea2e5 (Ms)#"},
    {"堵转1功率", "Overload Power 1", "堵转1功率", "Power 1", "#9ea2e5 (0-15)#"},
    {"堵转2时间", "Overload Time 2",  "堵转2时间", "Time  2", "#9ea2e5 (Ms)#"},
    {"堵转2功率", "Overload Power 2", "堵转2功率", "Power 2", "#9ea2e5 (0-15)#"},
    {"堵转3时间", "Overload Time 3",  "堵转3时间", "Time  3", "#9ea2e5 (Ms)#"},
    {"堵转3功率", "Overload Power 3", "堵转3功率", "Power 3", "#9ea2e5 (0-15)#"},
    {"   软启动", "SoftStart", "  软启动", "SoftStart", "#9ea2e5 (0-255)#"},
};
// clang-format on

/* The check boxes' texts, by PanelCheck. */
struct CheckText {
    const char* en;
    const char* zh;
};
const CheckText CHECK_TEXTS[PANEL_CHECK_COUNT] = {
    {"First level blockage", "一级堵转"},
    {"Second level blockage", "二级堵转"},
    {"Third level blockage", "三级堵转"},
    {"Inversion", "反转 "},
};

constexpr int BASIC_FIRST = 0, BASIC_COUNT = 9;
constexpr int OVERLOAD_FIRST = 9, OVERLOAD_COUNT = 6;
constexpr int SOFTSTART_ENTRY = 15;

struct PanelWidgets {
    lv_obj_t* entries[PANEL_ENTRY_COUNT] = {};
    lv_obj_t* captions[PANEL_ENTRY_COUNT] = {};
    lv_obj_t* hints[PANEL_ENTRY_COUNT] = {};
    ParamWidgetMapEntry map[MAP_CAPACITY] = {};
    int map_count = 0;
    bool checking = false; /* a check writing its field raises a new value-changed event */
};
PanelWidgets g_panel;

bool start_in_chinese() {
    return lang_state().ui_language_at_start == LANG_AT_START_CHINESE;
}

lv_obj_t* level_box(int level) {
    switch (level) {
    case 1:
        return ui_level1_checkbox;
    case 2:
        return ui_level2_checkbox;
    case 3:
        return ui_level3_checkbox;
    default:
        return nullptr;
    }
}

lv_obj_t* check_box(PanelCheck check) {
    return check == PanelCheck::Direction ? ui_direction_checkbox : level_box(static_cast<int>(check) + 1);
}

lv_obj_t* entry_obj(PanelEntry entry) {
    const int i = static_cast<int>(entry);
    return i >= 0 && i < PANEL_ENTRY_COUNT ? g_panel.entries[i] : nullptr;
}

void set_hidden(lv_obj_t* obj, bool hidden) {
    if (obj == nullptr) return;
    if (hidden)
        lv_obj_add_flag(obj, LV_OBJ_FLAG_HIDDEN);
    else
        lv_obj_remove_flag(obj, LV_OBJ_FLAG_HIDDEN);
}

void set_state(lv_obj_t* obj, lv_state_t state, bool on) {
    if (obj == nullptr) return;
    if (on)
        lv_obj_add_state(obj, state);
    else
        lv_obj_remove_state(obj, state);
}

/* Drops the map entries of a container that is being built again. */
void map_drop_tag(const char* tag) {
    int kept = 0;
    for (int i = 0; i < g_panel.map_count; ++i)
        if (strcmp(g_panel.map[i].tag, tag) != 0) g_panel.map[kept++] = g_panel.map[i];
    g_panel.map_count = kept;
}

void map_add(lv_obj_t* widget, int32_t row, const char* tag) {
    if (g_panel.map_count >= MAP_CAPACITY) {
        dbg_log("[Error] parameter widget map full\n");
        return;
    }
    g_panel.map[g_panel.map_count++] = {widget, row, tag};
}

lv_obj_t* make_caption(lv_obj_t* parent, const char* text) {
    lv_obj_t* label = lv_label_create(parent);
    lv_label_set_recolor(label, true);
    lv_label_set_text(label, text);
    lv_obj_set_style_text_font(label, &font_text, 0);
    lv_obj_set_style_text_color(label, lv_color_hex(COLOR_CAPTION), 0);
    return label;
}

/* One field: caption already placed by the caller, entry beside it, hint beside the entry. */
void make_field(lv_obj_t* parent, int i, const char* tag, int32_t entry_w, int32_t entry_h, int32_t gap) {
    const FieldLayout& field = FIELDS[i];
    const PanelEntry entry = static_cast<PanelEntry>(i);
    const PanelFieldLimits& limits = panel_field_limits(entry);
    const int row = panel_entry_row(entry);

    lv_obj_t* ta = lv_textarea_create(parent);
    lv_textarea_set_one_line(ta, true);
    char text[16];
    snprintf(text, sizeof text, "%d", static_cast<int>(params_state().defaultValues[row]));
    lv_textarea_set_text(ta, text);
    lv_textarea_set_max_length(ta, limits.max_chars);
    lv_obj_remove_flag(ta, LV_OBJ_FLAG_SCROLLABLE);
    lv_obj_set_style_pad_top(ta, 6, 0);
    lv_obj_set_style_pad_bottom(ta, 6, 0);
    lv_obj_set_style_pad_left(ta, 10, 0);
    lv_obj_set_style_pad_right(ta, 10, 0);
    lv_obj_set_style_radius(ta, 10, 0);
    lv_obj_set_style_text_font(ta, &font_text, 0);
    lv_obj_set_size(ta, entry_w, entry_h);
    lv_obj_align_to(ta, g_panel.captions[i], LV_ALIGN_OUT_RIGHT_MID, gap, 0);
    if (ui_input_group != nullptr) lv_group_add_obj(ui_input_group, ta);
    lv_obj_add_event_cb(
        ta, limits.check == PanelEntryCheck::Pulse ? param_field_pulse_check_event_cb : param_field_range_check_event_cb,
        LV_EVENT_VALUE_CHANGED, nullptr);

    lv_obj_t* hint = lv_label_create(parent);
    lv_label_set_recolor(hint, true);
    lv_label_set_text(hint, field.hint);
    lv_obj_align_to(hint, ta, LV_ALIGN_OUT_RIGHT_MID, 5, 0);

    g_panel.entries[i] = ta;
    g_panel.hints[i] = hint;
    map_add(ta, row, tag);
}

const char* build_caption(int i) {
    return start_in_chinese() ? FIELDS[i].caption_zh : FIELDS[i].caption_en;
}

void build_basic(lv_obj_t* parent) {
    map_drop_tag(TAG_BASIC);
    for (int k = 0; k < BASIC_COUNT; ++k) {
        const int i = BASIC_FIRST + k;
        g_panel.captions[i] = make_caption(parent, build_caption(i));
        lv_obj_set_pos(g_panel.captions[i], (k / 3) * 230 + 5, (k % 3) * 40 + 10);
        make_field(parent, i, TAG_BASIC, 75, 38, -20); /* the caption's trailing blanks leave room */
    }
}

void build_overload(lv_obj_t* parent) {
    map_drop_tag(TAG_OVERLOAD);
    for (int j = 0; j < OVERLOAD_COUNT; ++j) {
        const int i = OVERLOAD_FIRST + j;
        const int column = j / 2, row = j % 2;
        g_panel.captions[i] = make_caption(parent, build_caption(i));
        lv_obj_set_pos(g_panel.captions[i], column * 230 + 35, row * 40 + 45 + row + 10);
        make_field(parent, i, TAG_OVERLOAD, 65, 30, 8);
    }
}

void build_softstart(lv_obj_t* parent) {
    map_drop_tag(TAG_SOFTSTART);
    const int i = SOFTSTART_ENTRY;
    g_panel.captions[i] = make_caption(parent, build_caption(i));
    if (ui_direction_checkbox != nullptr && lv_obj_get_parent(ui_direction_checkbox) == parent)
        lv_obj_align_to(g_panel.captions[i], ui_direction_checkbox, LV_ALIGN_OUT_RIGHT_MID, 72, 0);
    else
        lv_obj_align(g_panel.captions[i], LV_ALIGN_LEFT_MID, 72, 0);
    make_field(parent, i, TAG_SOFTSTART, 100, 38, 9);
}

/* Shows or hides the six widgets of level 1..3. */
void show_level(int level, bool shown) {
    if (level < 1 || level > 3) return;
    const int time_entry = OVERLOAD_FIRST + (level - 1) * 2;
    for (int i = time_entry; i <= time_entry + 1; ++i) {
        set_hidden(g_panel.entries[i], !shown);
        set_hidden(g_panel.captions[i], !shown);
        set_hidden(g_panel.hints[i], !shown);
    }
}

void show_range_error(int32_t min, int32_t max) {
    show_error(field_range_message(min, max));
}

int32_t default_shown(int32_t row);
int32_t working_value(int32_t row);

/* Checks a text for an entry: a text too long for the entry, or a number outside its range, puts
 * back the entry's restore value (the default for plain entries, the working value for the angle
 * and pulse entries) and shows the range in an error box. Returns true when the text stands. */
bool check_text(lv_obj_t* ta, const char* text) {
    if (text == nullptr || text[0] == '\0') return true;
    const PanelFieldLimits* field = nullptr;
    for (int i = 0; i < PANEL_ENTRY_COUNT; ++i)
        if (g_panel.entries[i] == ta) field = &panel_field_limits(static_cast<PanelEntry>(i));
    int32_t min, max;
    if (field == nullptr || !field_range(ta, &min, &max)) return true;
    const int32_t value = params_parse_int(text, nullptr);
    if (strlen(text) <= field->max_chars && value >= min && value <= max) return true;
    const ParamWidgetMapEntry* found = param_widget_map_find(ta);
    if (found == nullptr || found->row < 0 || found->row >= PARAM_COUNT) return true;

    const int32_t restore = field->check == PanelEntryCheck::Pulse ? working_value(found->row) : default_shown(found->row);
    char restored[16];
    snprintf(restored, sizeof restored, "%d", static_cast<int>(restore));
    g_panel.checking = true; /* writing the field raises value-changed again */
    lv_textarea_set_text(ta, restored);
    g_panel.checking = false;
    show_range_error(min, max);
    return false;
}

/* The value-changed check of a typed entry. The angle and pulse entries are checked only once
 * they hold four characters, so that typing "2048" does not stop at "2". */
void check_field(lv_event_t* e, bool four_chars_only) {
    if (lv_event_get_code(e) != LV_EVENT_VALUE_CHANGED || g_panel.checking) return;
    lv_obj_t* ta = static_cast<lv_obj_t*>(lv_event_get_target(e));
    const char* text = lv_textarea_get_text(ta);
    if (text == nullptr || (four_chars_only && strlen(text) != 4)) return;
    check_text(ta, text);
}

int32_t default_shown(int32_t row) {
    const bool stall_time = row == PARAM_STALL_TIME1 || row == PARAM_STALL_TIME2 || row == PARAM_STALL_TIME3;
    return stall_time ? params_state().defaultValues[row] * 100 : params_state().defaultValues[row];
}

int32_t working_value(int32_t row) {
    return params_state().parameterValues[row];
}

} // namespace

void build_parameter_fields(lv_obj_t* parent) {
    if (parent == nullptr) return;
    if (parent == ui_param_basic_panel)
        build_basic(parent);
    else if (parent == ui_param_overload_panel)
        build_overload(parent);
    else if (parent == ui_param_softstart_panel)
        build_softstart(parent);
    else
        dbg_log("[Error] build_parameter_fields: not a parameter container\n");
}

void stall_level_changed(lv_event_t* e) {
    if (lv_event_get_code(e) != LV_EVENT_VALUE_CHANGED) return;
    lv_obj_t* box = static_cast<lv_obj_t*>(lv_event_get_target(e));
    const bool checked = lv_obj_has_state(box, LV_STATE_CHECKED);
    int level = 0;
    for (int l = 1; l <= 3; ++l)
        if (box == level_box(l)) level = l;
    if (level == 0) return;

    if (checked) {
        show_level(level, true);
        if (level < 3) set_state(level_box(level + 1), LV_STATE_DISABLED, false);
        return;
    }
    /* Off: this level and every level after it go off, and the boxes after it cannot be checked. */
    show_level(level, false);
    for (int l = level + 1; l <= 3; ++l) {
        set_state(level_box(l), LV_STATE_CHECKED, false);
        set_state(level_box(l), LV_STATE_DISABLED, true);
        show_level(l, false);
    }
}

void relabel_parameter_panel() {
    for (int i = 0; i < PANEL_ENTRY_COUNT; ++i) {
        lv_obj_t* caption = g_panel.captions[i];
        if (caption == nullptr) continue;
        lv_obj_set_style_text_font(caption, &font_text, 0);
        lv_label_set_text(caption, lang_by_flag(FIELDS[i].relabel_en, FIELDS[i].relabel_zh));
    }
}

void relabel_overload_boxes() {
    for (int i = 0; i < PANEL_CHECK_COUNT; ++i) {
        const PanelCheck check = static_cast<PanelCheck>(i);
        lv_obj_t* box = check_box(check);
        if (box != nullptr) lv_checkbox_set_text(box, panel_check_text(check));
    }
}

const char* panel_check_text(PanelCheck check) {
    const int i = static_cast<int>(check);
    if (i < 0 || i >= PANEL_CHECK_COUNT) return "";
    return lang_by_flag(CHECK_TEXTS[i].en, CHECK_TEXTS[i].zh);
}

void param_field_range_check_event_cb(lv_event_t* e) {
    check_field(e, false);
}

void param_field_pulse_check_event_cb(lv_event_t* e) {
    check_field(e, true);
}

const ParamWidgetMapEntry* param_widget_map_find(const lv_obj_t* obj) {
    if (obj == nullptr) return nullptr;
    for (int i = 0; i < g_panel.map_count; ++i)
        if (g_panel.map[i].widget == obj) return &g_panel.map[i];
    return nullptr;
}

bool param_field_range(const lv_obj_t* obj, int32_t* min, int32_t* max) {
    if (obj == nullptr) return false;
    for (int i = 0; i < PANEL_ENTRY_COUNT; ++i) {
        if (g_panel.entries[i] != obj) continue;
        const PanelFieldLimits& limits = panel_field_limits(static_cast<PanelEntry>(i));
        if (min != nullptr) *min = limits.min;
        if (max != nullptr) *max = limits.max;
        return true;
    }
    return false;
}

lv_obj_t* panel_entry_widget(PanelEntry entry) {
    return entry_obj(entry);
}

lv_obj_t* panel_caption_widget(PanelEntry entry) {
    const int i = static_cast<int>(entry);
    return i >= 0 && i < PANEL_ENTRY_COUNT ? g_panel.captions[i] : nullptr;
}

lv_obj_t* panel_hint_widget(PanelEntry entry) {
    const int i = static_cast<int>(entry);
    return i >= 0 && i < PANEL_ENTRY_COUNT ? g_panel.hints[i] : nullptr;
}

/* ---- the panel calls of the screen port ---- */

namespace {


/* A value written into an entry (a read, an import) is checked once, whole: the widget takes it
 * one character at a time, and a check on a part of it would restore the entry and then append
 * the rest of the characters to the restored value. */
void ui_panel_set_text(PanelEntry entry, const char* text) {
    lv_obj_t* ta = entry_obj(entry);
    if (ta == nullptr || text == nullptr || !lv_obj_is_valid(ta)) return;
    g_panel.checking = true;
    lv_textarea_set_text(ta, text);
    g_panel.checking = false;
    check_text(ta, text);
}

int ui_panel_get_text(PanelEntry entry, char* out, size_t cap) {
    if (out == nullptr || cap == 0) return -1;
    out[0] = '\0';
    lv_obj_t* ta = entry_obj(entry);
    if (ta == nullptr || !lv_obj_is_valid(ta)) return 0;
    const char* text = lv_textarea_get_text(ta);
    size_t n = text != nullptr ? strlen(text) : 0;
    if (n > cap - 1) n = cap - 1;
    if (n > 0) memcpy(out, text, n);
    out[n] = '\0';
    return static_cast<int>(n);
}

void ui_panel_set_checked(PanelCheck check, bool checked) {
    set_state(check_box(check), LV_STATE_CHECKED, checked);
}

bool ui_panel_get_checked(PanelCheck check) {
    lv_obj_t* box = check_box(check);
    return box != nullptr && lv_obj_has_state(box, LV_STATE_CHECKED);
}

void ui_panel_set_check_enabled(PanelCheck check, bool enabled) {
    set_state(check_box(check), LV_STATE_DISABLED, !enabled);
}

void ui_panel_show_level(int level, bool shown) {
    show_level(level, shown);
}

void ui_panel_redraw() {
    lv_obj_t* screen = lv_screen_active();
    if (screen != nullptr) lv_obj_invalidate(screen);
}

} // namespace

void param_panel_fill_port(ScreenPort& port) {
    port.panel_set_text = ui_panel_set_text;
    port.panel_get_text = ui_panel_get_text;
    port.panel_set_checked = ui_panel_set_checked;
    port.panel_get_checked = ui_panel_get_checked;
    port.panel_set_check_enabled = ui_panel_set_check_enabled;
    port.panel_show_level = ui_panel_show_level;
    port.panel_redraw = ui_panel_redraw;
}
