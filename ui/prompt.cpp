/* The three prompt boxes: non-blocking LVGL message boxes over the main screen. */
#include "ui/prompt.h"

#include "assets/fonts/fonts.h"
#include "common/debug_log.h"
#include "common/lang.h"
#include "common/text_format.h"

#include "lvgl.h"

namespace {

constexpr size_t PROMPT_TEXT_SIZE = 1024;
constexpr int32_t PROMPT_WIDTH = 350;
constexpr int32_t PROMPT_HEIGHT = 150;
constexpr uint32_t PROMPT_ALERT_COLOR = 0xCA1515;

prompt_box_t make_box(char (&buf)[PROMPT_TEXT_SIZE], const char* text, const char* title_en, const char* title_zh,
                      bool red) {
    text_format(buf, sizeof buf, "%s", text != nullptr ? text : ""); /* cut on a character boundary */
    const char* title_text = lang_by_flag(title_en, title_zh);
    dbg_log("[Prompt] %s: %s\n", title_text, buf); /* what the user was told, for the record */
    if (lv_display_get_default() == nullptr) return nullptr;

    lv_obj_t* box = lv_msgbox_create(lv_screen_active());
    lv_obj_t* title = lv_msgbox_add_title(box, title_text);
    lv_obj_set_style_text_font(title, &font_button, 0);

    lv_obj_t* label = lv_label_create(lv_msgbox_get_content(box));
    lv_label_set_text(label, buf);
    lv_obj_set_width(label, lv_pct(100));
    lv_obj_align(label, LV_ALIGN_CENTER, 0, 0);
    lv_obj_set_style_text_font(label, &font_text, 0);
    if (red) lv_obj_set_style_text_color(label, lv_color_hex(PROMPT_ALERT_COLOR), 0);

    lv_obj_t* close = lv_msgbox_add_close_button(box);
    lv_obj_set_style_text_font(close, &lv_font_montserrat_22, 0);

    lv_obj_align(box, LV_ALIGN_CENTER, 0, 0);
    lv_obj_set_size(box, PROMPT_WIDTH, PROMPT_HEIGHT);
    return box;
}

char g_prompt_text[PROMPT_TEXT_SIZE];
char g_alert_text[PROMPT_TEXT_SIZE];
char g_error_text[PROMPT_TEXT_SIZE];


prompt_box_t ui_show_prompt(const char* text) { return make_box(g_prompt_text, text, "Prompt", "提示", false); }

prompt_box_t ui_show_prompt_alert(const char* text) { return make_box(g_alert_text, text, "Prompt", "提示", true); }

prompt_box_t ui_show_error(const char* text) { return make_box(g_error_text, text, "Error", "错误", true); }

void ui_prompt_close(prompt_box_t box) {
    if (box != nullptr && lv_obj_is_valid(static_cast<lv_obj_t*>(box))) lv_msgbox_close(static_cast<lv_obj_t*>(box));
}

} // namespace

void prompt_fill_port(ScreenPort& port) {
    port.show_prompt = ui_show_prompt;
    port.show_prompt_alert = ui_show_prompt_alert;
    port.show_error = ui_show_error;
    port.prompt_close = ui_prompt_close;
}
