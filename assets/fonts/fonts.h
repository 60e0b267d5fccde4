/* The four CJK bitmap fonts of the screen. */
#pragma once

#include "lvgl.h"

#ifdef __cplusplus
extern "C" {
#endif

extern const lv_font_t font_theme;  /* line height 17: default theme font */
extern const lv_font_t font_button; /* line height 19: button labels, prompt titles */
extern const lv_font_t font_aux;    /* line height 20: port drop-down */
extern const lv_font_t font_text;   /* line height 21: captions, text areas, prompt texts */

#ifdef __cplusplus
}
#endif
