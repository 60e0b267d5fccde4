/* Interim Latin-only stand-ins until the generated CJK fonts land. */
#include "assets/fonts/fonts.h"

extern "C" {
const lv_font_t font_theme = lv_font_montserrat_14;
const lv_font_t font_button = lv_font_montserrat_18;
const lv_font_t font_aux = lv_font_montserrat_18;
const lv_font_t font_text = lv_font_montserrat_18;
}
