#include "ui/language.h"

#include "assets/fonts/fonts.h"
#include "common/lang.h"
#include "ui/param_panel.h"
#include "common/screen_port.h"
#include "ui/screen.h"

namespace {
void set_label(lv_obj_t* label, const char* text, const lv_font_t* font) {
    if (label == nullptr) return;
    lv_obj_set_style_text_font(label, font, 0);
    lv_label_set_text(label, text);
}
} // namespace

void relabel_action_buttons() {
    for (int i = 0; i < UI_ACTION_BUTTON_COUNT; ++i) {
        if (ui_action_buttons[i] == nullptr) continue;
        set_label(lv_obj_get_child(ui_action_buttons[i], 0), lang_by_flag(ui_action_texts_en[i], ui_action_texts_zh[i]),
                  &font_button);
    }
}

/* The relabel texts differ from the build-time ones ("Serivo", the short units); they are the
 * ones the tool shows after any switch. */
void relabel_info_panel() {
    set_label(ui_info_title, lang_by_flag("#FFFFFF Serivo Information", "#FFFFFF 舵机信息"), &font_text);
    set_label(ui_type_label, lang_by_flag("#FFFFFF Serivo Type:", "#FFFFFF 舵机型号:"), &font_text);
    set_label(ui_vertime_label, lang_by_flag("#FFFFFF Serivo Ver Time:", "#FFFFFF 舵机版本时间:"), &font_text);
    set_label(ui_year_label, lang_by_flag("#FFFFFF Y", "#FFFFFF 年"), &font_text);
    set_label(ui_month_label, lang_by_flag("#FFFFFF M", "#FFFFFF 月"), &font_text);
    set_label(ui_day_label, lang_by_flag("#FFFFFF D", "#FFFFFF 日"), &font_text);
    set_label(ui_read_info_label, lang_by_flag("#000000 Read Infor", "#000000 读取信息"), &font_button);
    set_label(ui_write_info_label, lang_by_flag("#000000 Write Infor", "#000000 写入信息"), &font_button);
}

void language_toggle_event_cb(lv_event_t*) {
    lang_set_chinese(lang_is_chinese() ? 0 : 1);
    relabel_action_buttons();
    relabel_port_panel();
    relabel_parameter_panel();
    relabel_overload_boxes();
    relabel_info_panel();
}
