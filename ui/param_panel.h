/**
 * The parameter panel on screen: sixteen numeric entries with captions and range hints in the
 * three parameter containers, the stall-level check boxes' behaviour, the relabelling on a
 * language switch and the change checks of the entries. Screen glue (LVGL).
 */
#pragma once

#include "common/screen_port.h"
#include "params/panel_fields.h"

#include "lvgl.h"

#include <cstdint>

/* Builds the fields of one of the three parameter containers (basic, overload, soft start);
 * any other parent is refused (logged). Entries start with the default values. */
void build_parameter_fields(lv_obj_t* parent);

/* Value-changed handler of the three stall-level check boxes. */
void stall_level_changed(lv_event_t* e);

/* Rewrites the sixteen captions in the current language. */
void relabel_parameter_panel();

/* Rewrites the texts of the three level boxes and the direction box in the current language. */
void relabel_overload_boxes();

/* Text of a check box in the language of the flag ("First level blockage" / "一级堵转", ...,
 * "Inversion" / "反转 "); the screen build and the relabel share it. */
const char* panel_check_text(PanelCheck check);

/* Value-changed check of the entries with a plain range: an out-of-range value is replaced by
 * the default (in ms for the stall times) and the range is shown in an error box. */
void param_field_range_check_event_cb(lv_event_t* e);

/* Value-changed check of the angle and pulse entries: runs on 4-character texts only and puts
 * back the working value. */
void param_field_pulse_check_event_cb(lv_event_t* e);

/* One entry of the parameter widget map: the entry, its row of the parameter table, and the tag
 * of its container ("Rect4" basic, "Rect5" overload, "Rect6" soft start). */
struct ParamWidgetMapEntry {
    lv_obj_t* widget;
    int32_t row;
    const char* tag;
};

/* Entry of the map that holds obj, or null. */
const ParamWidgetMapEntry* param_widget_map_find(const lv_obj_t* obj);

/* Range of a parameter entry; false when obj is not one. */
bool param_field_range(const lv_obj_t* obj, int32_t* min, int32_t* max);

/* Widgets of an entry (for the screen's own use and tests); null before the build. */
lv_obj_t* panel_entry_widget(PanelEntry entry);
lv_obj_t* panel_caption_widget(PanelEntry entry);
lv_obj_t* panel_hint_widget(PanelEntry entry);

/* Puts the panel calls (entries, check boxes, level groups, redraw) into the screen port. */
void param_panel_fill_port(ScreenPort& port);
