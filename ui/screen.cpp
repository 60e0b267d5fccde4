#include "ui/screen.h"

#include "assets/fonts/fonts.h"
#include "common/debug_log.h"
#include "common/lang.h"
#include "common/platform.h"
#include "ui/param_panel.h"
#include "params/param_values.h"
#include "protocol/info_date.h"
#include "ui/info_panel.h"
#include "serial/Serial.h"
#include "ui/port_panel.h"
#include "ui/language.h"
#include "protocol/param_actions.h"
#include "ui/text_cursor.h"


lv_obj_t* ui_page;
lv_obj_t* ui_top_panel;
lv_obj_t* ui_bottom_panel;
lv_obj_t* ui_info_panel;
lv_obj_t* ui_port_panel;
lv_obj_t* ui_config_image;
lv_obj_t* ui_info_title;
lv_obj_t* ui_type_label;
lv_obj_t* ui_type_input;
lv_obj_t* ui_vertime_label;
lv_obj_t* ui_year_input;
lv_obj_t* ui_month_input;
lv_obj_t* ui_day_input;
lv_obj_t* ui_year_label;
lv_obj_t* ui_month_label;
lv_obj_t* ui_day_label;
lv_obj_t* ui_read_info_button;
lv_obj_t* ui_read_info_label;
lv_obj_t* ui_write_info_button;
lv_obj_t* ui_write_info_label;
lv_obj_t* ui_port_label;
lv_obj_t* ui_port_dropdown;
lv_obj_t* ui_port_button;
lv_obj_t* ui_port_button_label;
lv_obj_t* ui_action_buttons[UI_ACTION_BUTTON_COUNT];
lv_obj_t* ui_lang_button;
lv_obj_t* ui_version_label;
lv_obj_t* ui_param_basic_panel;
lv_obj_t* ui_param_overload_panel;
lv_obj_t* ui_param_softstart_panel;
lv_obj_t* ui_level1_checkbox;
lv_obj_t* ui_level2_checkbox;
lv_obj_t* ui_level3_checkbox;
lv_obj_t* ui_direction_checkbox;
lv_group_t* ui_input_group;

lv_style_t style_no_pad;
lv_style_t style_panel;
lv_style_t style_subpanel;
lv_style_t style_check_mark;
lv_style_t style_drop_arrow;
lv_style_t style_date_field;
lv_style_t style_disabled;

const char* const ui_action_texts_en[UI_ACTION_BUTTON_COUNT] = {"Read Servo", "Write Servo", "Load from PC",
                                                                 "Save to PC"};
const char* const ui_action_texts_zh[UI_ACTION_BUTTON_COUNT] = {"读取参数", "写入参数", "从PC导入参数",
                                                                 "保存参数到PC"};

namespace {

/* Clicked handler shared by ui_action_buttons: finds the button by comparing the event target
 * with the four handles in order (0 read, 1 write, 2 import, 3 save) and runs its action. */
void action_button_event_cb(lv_event_t* e) {
    if (lv_event_get_code(e) != LV_EVENT_CLICKED) return;
    const lv_obj_t* target = static_cast<const lv_obj_t*>(lv_event_get_target(e));
    for (int i = 0; i < UI_ACTION_BUTTON_COUNT; ++i) {
        if (target == ui_action_buttons[i]) {
            param_action_clicked(i);
            return;
        }
    }
}

constexpr uint32_t COLOR_PANEL_BORDER = 0x709FDD;
constexpr uint32_t COLOR_SUBPANEL_BORDER = 0xC3C3C3;
constexpr uint32_t COLOR_SUBPANEL_BG = 0x485158;
constexpr uint32_t COLOR_BUTTON_BG = 0xF8F8F8;
constexpr uint32_t COLOR_WHITE = 0xFFFFFF;

constexpr const char* TYPE_ACCEPTED_CHARS =
    "0123456789QWERTYUIOPASDFGHJKLZXCVBNMqwertyuiopasdfghjklzxcvbnm,.<>?/-=_+[]{}';'\\:\"|";
constexpr uint32_t TYPE_MAX_LENGTH = 20;

bool g_styles_ready = false;

/* Every handle the build sets, so that a new build starts from nothing. */
lv_obj_t** const g_handles[] = {
    &ui_page, &ui_top_panel, &ui_bottom_panel, &ui_info_panel, &ui_port_panel, &ui_config_image, &ui_info_title,
    &ui_type_label, &ui_type_input, &ui_vertime_label, &ui_year_input, &ui_month_input, &ui_day_input,
    &ui_year_label, &ui_month_label, &ui_day_label, &ui_read_info_button, &ui_read_info_label,
    &ui_write_info_button, &ui_write_info_label, &ui_port_label, &ui_port_dropdown, &ui_port_button,
    &ui_port_button_label, &ui_action_buttons[0], &ui_action_buttons[1], &ui_action_buttons[2],
    &ui_action_buttons[3], &ui_lang_button, &ui_version_label, &ui_param_basic_panel, &ui_param_overload_panel,
    &ui_param_softstart_panel, &ui_level1_checkbox, &ui_level2_checkbox, &ui_level3_checkbox,
    &ui_direction_checkbox,
};

/* Text of the start language: the first of each pair is English. */
const char* start_text(const char* en, const char* zh) {
    return lang_state().ui_language_at_start == LANG_AT_START_CHINESE ? zh : en;
}

lv_obj_t* make_label(lv_obj_t* parent, const char* text, const lv_font_t* font) {
    lv_obj_t* label = lv_label_create(parent);
    lv_label_set_recolor(label, true);
    lv_label_set_text(label, text);
    if (font != nullptr) lv_obj_set_style_text_font(label, font, 0);
    return label;
}

lv_obj_t* make_panel(lv_obj_t* parent, const lv_style_t* style, int32_t x, int32_t y, int32_t w, int32_t h) {
    lv_obj_t* panel = lv_obj_create(parent);
    lv_obj_add_style(panel, style, 0);
    lv_obj_set_pos(panel, x, y);
    lv_obj_set_size(panel, w, h);
    lv_obj_remove_flag(panel, LV_OBJ_FLAG_SCROLLABLE);
    return panel;
}

/* One-line text field of the information panel. The caller sets the text once the field has its
 * size and paddings: a text area scrolls to its cursor when the text is set, and a narrow field
 * scrolled before its size is known stays so. */
lv_obj_t* make_info_field(lv_obj_t* parent, int32_t w, int32_t h) {
    lv_obj_t* ta = lv_textarea_create(parent);
    lv_textarea_set_one_line(ta, true);
    lv_obj_set_size(ta, w, h);
    lv_obj_set_style_text_font(ta, &font_text, 0);
    lv_group_add_obj(ui_input_group, ta);
    return ta;
}

lv_obj_t* make_date_field(lv_obj_t* parent, const char* text, int32_t w) {
    lv_obj_t* ta = make_info_field(parent, w, 40);
    lv_obj_set_style_radius(ta, 5, 0);
    lv_obj_add_style(ta, &style_date_field, 0);
    lv_textarea_set_text(ta, text);
    return ta;
}

lv_obj_t* make_info_button(lv_obj_t* parent, const char* text, lv_obj_t** label_out) {
    lv_obj_t* btn = lv_button_create(parent);
    lv_obj_set_size(btn, 150, 60);
    lv_obj_set_style_bg_color(btn, lv_color_hex(COLOR_BUTTON_BG), 0);
    lv_obj_t* label = make_label(btn, text, &font_button);
    lv_obj_set_style_text_color(label, lv_color_hex(0x000000), 0);
    lv_obj_center(label);
    *label_out = label;
    return btn;
}

lv_obj_t* make_checkbox(lv_obj_t* parent, const char* text) {
    lv_obj_t* cb = lv_checkbox_create(parent);
    lv_checkbox_set_text(cb, text);
    lv_obj_set_style_text_font(cb, &font_text, 0);
    lv_obj_set_style_text_color(cb, lv_color_hex(COLOR_WHITE), 0);
    lv_obj_add_style(cb, &style_check_mark, LV_PART_INDICATOR | LV_STATE_CHECKED);
    return cb;
}

/* The build starts animations of LVGL's own: a text area scrolls its cursor into view, always
 * animated, whenever its text, size or paddings change and once the layout gives it its size;
 * the focus scrolls the first field into view; and the theme fades each scrollbar in and out as
 * such a scroll begins and ends. The build therefore runs on LVGL's clock set back by
 * SETTLE_STEPS x SETTLE_STEP_MS, and the clock then catches up in steps, each running the
 * animations, so that every animation begun by a step has ended by the next. The first frame is
 * then the settled screen instead of 400 ms of scrolling and fading. */
constexpr uint32_t SETTLE_STEP_MS = 500; /* longer than any scroll (400 ms) or transition (150 ms) */
constexpr uint32_t SETTLE_STEPS = 4;

struct BuildClock {
    lv_tick_get_cb_t real = nullptr;
    uint32_t behind_ms = 0;
};
BuildClock g_build_clock;

uint32_t build_tick() { return g_build_clock.real() - g_build_clock.behind_ms; }

void build_clock_start() {
    g_build_clock.real = lv_tick_get_cb();
    if (g_build_clock.real == nullptr || g_build_clock.real == build_tick) return; /* LVGL counts its own ticks */
    g_build_clock.behind_ms = SETTLE_STEPS * SETTLE_STEP_MS;
    lv_tick_set_cb(build_tick);
}

void build_clock_catch_up() {
    if (lv_tick_get_cb() != build_tick) return;
    lv_obj_update_layout(lv_screen_active()); /* the final sizes start the last scrolls */
    while (g_build_clock.behind_ms > 0) {
        g_build_clock.behind_ms -= SETTLE_STEP_MS;
        lv_anim_refr_now();
        lv_obj_update_layout(lv_screen_active());
    }
    lv_tick_set_cb(g_build_clock.real);
}

/* The picture must be readable before the screen is built around it. */
bool config_picture_present() {
    lv_fs_file_t f;
    const lv_fs_res_t res = lv_fs_open(&f, UI_CONFIG_PICTURE_FILE, LV_FS_MODE_RD);
    if (res == LV_FS_RES_OK) {
        lv_fs_close(&f);
        return true;
    }
    dbg_log(":res = %d, img_path = %s\n", static_cast<int>(res), UI_CONFIG_PICTURE_FILE);
    platform_message_box("检查是否存在\"" UI_CONFIG_PICTURE_FILE "\"文件", "Error", MsgBoxIcon::Exclamation);
    platform_post_quit(0);
    return false;
}

void build_info_panel() {
    ui_info_panel = lv_obj_create(ui_top_panel);
    lv_obj_add_style(ui_info_panel, &style_panel, 0);
    lv_obj_set_style_border_side(ui_info_panel, LV_BORDER_SIDE_LEFT, 0); /* a divider from the picture */
    lv_obj_set_size(ui_info_panel, 690, 200);
    lv_obj_remove_flag(ui_info_panel, LV_OBJ_FLAG_SCROLLABLE);
    lv_obj_align_to(ui_info_panel, ui_config_image, LV_ALIGN_OUT_RIGHT_TOP, 10, -2);

    ui_info_title = make_label(ui_info_panel, start_text("#FFFFFF Servo Information", "#FFFFFF 舵机信息"), &font_text);
    lv_obj_set_pos(ui_info_title, 2, 2);

    ui_type_label = make_label(ui_info_panel, start_text("#FFFFFF Servo Type:", "#FFFFFF 舵机型号:"), &font_text);
    lv_obj_align_to(ui_type_label, ui_info_title, LV_ALIGN_OUT_BOTTOM_RIGHT, 20, 25);

    ui_type_input = make_info_field(ui_info_panel, 350, 40);
    lv_obj_set_style_pad_top(ui_type_input, 6, 0);
    lv_obj_set_style_pad_bottom(ui_type_input, 6, 0);
    lv_obj_set_style_pad_left(ui_type_input, 1, 0);
    lv_obj_set_style_pad_right(ui_type_input, 1, 0);
    lv_obj_set_style_radius(ui_type_input, 10, 0);
    lv_textarea_set_max_length(ui_type_input, TYPE_MAX_LENGTH);
    lv_textarea_set_accepted_chars(ui_type_input, TYPE_ACCEPTED_CHARS);
    lv_obj_align_to(ui_type_input, ui_type_label, LV_ALIGN_OUT_RIGHT_MID, 10, 3);

    ui_vertime_label =
        make_label(ui_info_panel, start_text("#FFFFFF Servo Version Time:", "#FFFFFF 舵机版本时间:"), &font_text);
    lv_obj_align_to(ui_vertime_label, ui_type_label, LV_ALIGN_OUT_BOTTOM_LEFT, 0, 55);

    ui_year_input = make_date_field(ui_info_panel, DATE_YEAR_DEFAULT, 60);
    lv_obj_align_to(ui_year_input, ui_vertime_label, LV_ALIGN_OUT_RIGHT_TOP, 5, -10);
    ui_year_label = make_label(ui_info_panel, start_text("#FFFFFF Year", "#FFFFFF 年"), &font_text);
    lv_obj_align_to(ui_year_label, ui_year_input, LV_ALIGN_OUT_RIGHT_MID, 35, 0);

    ui_month_input = make_date_field(ui_info_panel, DATE_MONTH_DAY_DEFAULT, 40);
    lv_obj_align_to(ui_month_input, ui_year_label, LV_ALIGN_OUT_RIGHT_TOP, 8, -8);
    ui_month_label = make_label(ui_info_panel, start_text("#FFFFFF Month", "#FFFFFF 月"), &font_text);
    lv_obj_align_to(ui_month_label, ui_month_input, LV_ALIGN_OUT_RIGHT_MID, 35, 0);

    ui_day_input = make_date_field(ui_info_panel, DATE_MONTH_DAY_DEFAULT, 40);
    lv_obj_align_to(ui_day_input, ui_month_label, LV_ALIGN_OUT_RIGHT_TOP, 8, -8);
    ui_day_label = make_label(ui_info_panel, start_text("#FFFFFF Day", "#FFFFFF 日"), &font_text);
    lv_obj_align_to(ui_day_label, ui_day_input, LV_ALIGN_OUT_RIGHT_MID, 35, 0);

    /* The two information buttons start with the same texts in either language. */
    ui_read_info_button = make_info_button(ui_info_panel, "读取信息", &ui_read_info_label);
    lv_obj_align_to(ui_read_info_button, ui_type_input, LV_ALIGN_OUT_RIGHT_TOP, 9, -15);
    ui_write_info_button = make_info_button(ui_info_panel, "写入信息", &ui_write_info_label);
    lv_obj_align_to(ui_write_info_button, ui_read_info_button, LV_ALIGN_OUT_BOTTOM_LEFT, 0, 13);
    info_panel_attach(); /* button handlers, date checks and steppers */
}

void build_action_column() {
    for (int i = 0; i < UI_ACTION_BUTTON_COUNT; ++i) {
        ui_action_buttons[i] = ui_make_button(ui_bottom_panel, start_text(ui_action_texts_en[i], ui_action_texts_zh[i]),
                                              745, 150, 60, 7 + i * 75);
        lv_obj_set_style_bg_color(ui_action_buttons[i], lv_color_hex(COLOR_BUTTON_BG), 0);
        lv_obj_add_event_cb(ui_action_buttons[i], action_button_event_cb, LV_EVENT_CLICKED, nullptr);
    }
    ui_lang_button = ui_make_button(ui_bottom_panel, "中/EN", 745, 150, 60, 307);
    lv_obj_set_style_bg_color(ui_lang_button, lv_color_hex(COLOR_BUTTON_BG), 0);
    lv_obj_add_event_cb(ui_lang_button, language_toggle_event_cb, LV_EVENT_CLICKED, nullptr);

    ui_version_label = make_label(ui_bottom_panel, "Version: v1.0.7", &font_text);
    lv_obj_set_style_text_color(ui_version_label, lv_color_hex(COLOR_WHITE), 0); /* readable on the black panel */
    lv_obj_align_to(ui_version_label, ui_lang_button, LV_ALIGN_OUT_BOTTOM_LEFT, 18, 25);
}

void build_port_panel() {
    ui_port_panel = make_panel(ui_bottom_panel, &style_subpanel, 3, 2, 690, 60);
    const bool zh = lang_state().ui_language_at_start == LANG_AT_START_CHINESE;
    ui_port_label = make_label(ui_port_panel, zh ? "串  口" : "Serial Port", &font_text);
    lv_obj_set_style_text_color(ui_port_label, lv_color_hex(COLOR_WHITE), 0);
    lv_obj_align(ui_port_label, LV_ALIGN_LEFT_MID, zh ? 7 : 0, 0);

    ui_port_dropdown = lv_dropdown_create(ui_port_panel);
    lv_obj_set_size(ui_port_dropdown, 250, 50);
    lv_obj_set_style_text_font(ui_port_dropdown, &font_aux, 0);
    lv_dropdown_set_options(ui_port_dropdown, " ");
    lv_obj_add_style(ui_port_dropdown, &style_drop_arrow, LV_PART_INDICATOR);
    lv_obj_add_style(ui_port_dropdown, &style_disabled, LV_STATE_DISABLED);
    lv_obj_align_to(ui_port_dropdown, ui_port_label, LV_ALIGN_OUT_RIGHT_MID, 31, 0);

    ui_port_button = lv_button_create(ui_port_panel);
    lv_obj_set_size(ui_port_button, 150, 50);
    lv_obj_set_style_bg_color(ui_port_button, lv_color_hex(COLOR_WHITE), 0);
    lv_obj_align_to(ui_port_button, ui_port_dropdown, LV_ALIGN_OUT_RIGHT_MID, 58, 0);
    ui_port_button_label = make_label(ui_port_button, port_button_caption(false), &font_text); /* the port starts closed */
    lv_obj_center(ui_port_button_label);
    lv_obj_add_event_cb(ui_port_button, openSerial_event_handler, LV_EVENT_CLICKED, nullptr);
}

void build_parameter_containers() {
    ui_param_basic_panel = make_panel(ui_bottom_panel, &style_subpanel, 3, 65, 690, 125);
    ui_param_overload_panel = make_panel(ui_bottom_panel, &style_subpanel, 3, 195, 690, 145);
    ui_param_softstart_panel = make_panel(ui_bottom_panel, &style_subpanel, 3, 345, 690, 70);

    /* The three stall levels head their columns of the overload container; the direction box
     * opens the soft-start container. */
    ui_level1_checkbox = make_checkbox(ui_param_overload_panel, panel_check_text(PanelCheck::Level1));
    ui_level2_checkbox = make_checkbox(ui_param_overload_panel, panel_check_text(PanelCheck::Level2));
    ui_level3_checkbox = make_checkbox(ui_param_overload_panel, panel_check_text(PanelCheck::Level3));
    lv_obj_t* levels[3] = {ui_level1_checkbox, ui_level2_checkbox, ui_level3_checkbox};
    for (int i = 0; i < 3; ++i) lv_obj_set_pos(levels[i], i * 230 + 35, 8);

    ui_direction_checkbox = make_checkbox(ui_param_softstart_panel, panel_check_text(PanelCheck::Direction));
    lv_obj_align(ui_direction_checkbox, LV_ALIGN_LEFT_MID, 35, 0);

    for (lv_obj_t* level : levels) lv_obj_add_event_cb(level, stall_level_changed, LV_EVENT_VALUE_CHANGED, nullptr);
    build_parameter_fields(ui_param_basic_panel);
    build_parameter_fields(ui_param_overload_panel);
    build_parameter_fields(ui_param_softstart_panel);
}

} // namespace

namespace {
bool build_screen();
} // namespace

void ui_styles_init() {
    if (g_styles_ready) return;
    g_styles_ready = true;

    lv_style_init(&style_no_pad);
    lv_style_set_pad_all(&style_no_pad, 0);

    lv_style_init(&style_panel);
    lv_style_set_radius(&style_panel, 0);
    lv_style_set_border_width(&style_panel, 3);
    lv_style_set_border_color(&style_panel, lv_color_hex(COLOR_PANEL_BORDER));
    lv_style_set_pad_all(&style_panel, 2);
    lv_style_set_bg_color(&style_panel, lv_color_hex(0x000000));
    lv_style_set_bg_opa(&style_panel, LV_OPA_COVER);

    lv_style_init(&style_subpanel);
    lv_style_set_radius(&style_subpanel, 0);
    lv_style_set_border_width(&style_subpanel, 3);
    lv_style_set_border_color(&style_subpanel, lv_color_hex(COLOR_SUBPANEL_BORDER));
    lv_style_set_border_side(&style_subpanel, static_cast<lv_border_side_t>(LV_BORDER_SIDE_BOTTOM | LV_BORDER_SIDE_RIGHT));
    lv_style_set_pad_all(&style_subpanel, 2);
    lv_style_set_bg_color(&style_subpanel, lv_color_hex(COLOR_SUBPANEL_BG));
    lv_style_set_bg_opa(&style_subpanel, LV_OPA_COVER);

    lv_style_init(&style_check_mark);
    lv_style_set_bg_image_src(&style_check_mark, LV_SYMBOL_OK);
    lv_style_set_text_font(&style_check_mark, &lv_font_montserrat_18);

    lv_style_init(&style_drop_arrow);
    lv_style_set_bg_image_src(&style_drop_arrow, LV_SYMBOL_DOWN);
    lv_style_set_text_font(&style_drop_arrow, &lv_font_montserrat_18);

    lv_style_init(&style_date_field);
    lv_style_set_pad_top(&style_date_field, 6);
    lv_style_set_pad_bottom(&style_date_field, 6);
    lv_style_set_pad_left(&style_date_field, 4);
    lv_style_set_pad_right(&style_date_field, 1);

    lv_style_init(&style_disabled);
    lv_style_set_bg_color(&style_disabled, lv_color_hex(0xE6E6E6));
    lv_style_set_text_color(&style_disabled, lv_color_hex(0x808080));

    lv_display_t* disp = lv_display_get_default();
    lv_theme_t* theme = lv_theme_default_init(disp, lv_palette_main(LV_PALETTE_BLUE), lv_palette_main(LV_PALETTE_RED),
                                              false, &font_theme);
    lv_display_set_theme(disp, theme);
}

lv_obj_t* ui_make_button(lv_obj_t* parent, const char* text, int32_t x, int32_t w, int32_t h, int32_t y) {
    lv_obj_t* btn = lv_button_create(parent);
    lv_obj_set_pos(btn, x, y);
    lv_obj_set_size(btn, w, h);
    lv_obj_t* label = make_label(btn, text, &font_button);
    lv_obj_set_style_text_color(label, lv_color_hex(0x000000), 0);
    lv_obj_center(label);
    return btn;
}

bool main_ui_build() {
    build_clock_start();
    const bool built = build_screen();
    build_clock_catch_up();
    return built;
}

namespace {

bool build_screen() {
    ui_screen_port_install();
    /* The platform's interface language is asked for and not used: the tool always starts in
     * Chinese. */
    dbg_log("[Debug] user interface language: \"%s\"\n", platform_user_language());
    lang_mark_build();
    for (lv_obj_t** handle : g_handles) *handle = nullptr;
    text_cursor_reset();
    ui_styles_init();
    params_load_defaults(); /* the parameter entries start with them */

    if (ui_input_group == nullptr) ui_input_group = lv_group_create();
    for (lv_indev_t* indev = lv_indev_get_next(nullptr); indev != nullptr; indev = lv_indev_get_next(indev))
        if (lv_indev_get_type(indev) == LV_INDEV_TYPE_KEYPAD) lv_indev_set_group(indev, ui_input_group);

    lv_obj_t* tabview = lv_tabview_create(lv_screen_active());
    lv_tabview_set_tab_bar_size(tabview, 0);
    ui_page = lv_tabview_add_tab(tabview, "");
    lv_obj_add_style(ui_page, &style_no_pad, 0);

    ui_top_panel = make_panel(ui_page, &style_panel, 5, 2, 958, 206);
    if (!config_picture_present()) return false;
    ui_config_image = lv_image_create(ui_top_panel);
    lv_image_set_src(ui_config_image, UI_CONFIG_PICTURE_FILE);
    lv_obj_set_pos(ui_config_image, 10, 0);
    lv_obj_set_size(ui_config_image, 250, 200);

    build_info_panel();

    ui_bottom_panel = make_panel(ui_page, &style_panel, 5, 215, 958, 430);
    build_action_column();
    build_port_panel();
    build_parameter_containers();
    params_startup_registers();
    return true;
}

} // namespace
