/**
 * The main screen: one LVGL screen built once at start by main_ui_build, holding the picture,
 * the servo information panel, the serial port panel, the parameter panel, the action column,
 * the language button and the version line. Handles of widgets that other modules update are
 * process-wide and owned by LVGL's object tree (never freed).
 */
#pragma once

#include "ui/screen_size.h"

#include "lvgl.h"

/* Picture shown at the top left, opened by this bare name from the working directory. */
#define UI_CONFIG_PICTURE_FILE "QRX_V107_config.bin"

constexpr int UI_ACTION_BUTTON_COUNT = 4;

/* Tab page parenting all panels, the two containers, and the panels. */
extern lv_obj_t* ui_page;
extern lv_obj_t* ui_top_panel;
extern lv_obj_t* ui_bottom_panel;
extern lv_obj_t* ui_info_panel;
extern lv_obj_t* ui_port_panel;

/* Top container. */
extern lv_obj_t* ui_config_image;

/* Servo information panel. */
extern lv_obj_t* ui_info_title;
extern lv_obj_t* ui_type_label;
extern lv_obj_t* ui_type_input;
extern lv_obj_t* ui_vertime_label;
extern lv_obj_t* ui_year_input;
extern lv_obj_t* ui_month_input;
extern lv_obj_t* ui_day_input;
extern lv_obj_t* ui_year_label;
extern lv_obj_t* ui_month_label;
extern lv_obj_t* ui_day_label;
extern lv_obj_t* ui_read_info_button;
extern lv_obj_t* ui_read_info_label;
extern lv_obj_t* ui_write_info_button;
extern lv_obj_t* ui_write_info_label;

/* Serial port panel. */
extern lv_obj_t* ui_port_label;
extern lv_obj_t* ui_port_dropdown;
extern lv_obj_t* ui_port_button;
extern lv_obj_t* ui_port_button_label;

/* Action column: 0 read parameters, 1 write parameters, 2 import from PC, 3 save to PC. */
extern lv_obj_t* ui_action_buttons[UI_ACTION_BUTTON_COUNT];
extern lv_obj_t* ui_lang_button;
extern lv_obj_t* ui_version_label;

/* Parameter panel containers (fields built by the parameter panel) and its four check boxes. */
extern lv_obj_t* ui_param_basic_panel;
extern lv_obj_t* ui_param_overload_panel;
extern lv_obj_t* ui_param_softstart_panel;
extern lv_obj_t* ui_level1_checkbox;
extern lv_obj_t* ui_level2_checkbox;
extern lv_obj_t* ui_level3_checkbox;
extern lv_obj_t* ui_direction_checkbox;

/* Keyboard input group of the text fields (the keypad device is bound to it). */
extern lv_group_t* ui_input_group;

/* Shared styles, initialised once by ui_styles_init. */
extern lv_style_t style_no_pad;
extern lv_style_t style_panel;
extern lv_style_t style_subpanel;
extern lv_style_t style_check_mark;
extern lv_style_t style_drop_arrow;
extern lv_style_t style_date_field;
extern lv_style_t style_disabled; /* grey look of the port list while the port is open */

/* Action column texts, English and Chinese, by button index. */
extern const char* const ui_action_texts_en[UI_ACTION_BUTTON_COUNT];
extern const char* const ui_action_texts_zh[UI_ACTION_BUTTON_COUNT];

/* Connects the core to this screen: fills the screen port from the panels and installs it. The
 * screen build does it first. */
void ui_screen_port_install();

/* Builds the whole screen on the active display. Returns false when the picture file is missing:
 * the user has been told, quit has been posted and the rest of the screen was not built. */
bool main_ui_build();

/* Initialises the shared styles and the default theme (first step of the build). */
void ui_styles_init();

/* Makes a light button with a centred black recoloured label; returns the button. */
lv_obj_t* ui_make_button(lv_obj_t* parent, const char* text, int32_t x, int32_t w, int32_t h, int32_t y);
