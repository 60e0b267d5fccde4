/**
 * Language switching: the "中/EN" button flips ui_language_chinese and relabels every panel in
 * place.
 */
#pragma once

#include "lvgl.h"

/* Clicked handler of the language button. */
void language_toggle_event_cb(lv_event_t* e);

/* Rewrites the information panel's texts in the current language. */
void relabel_info_panel();

/* Rewrites the four action buttons' texts in the current language. */
void relabel_action_buttons();
