/**
 * What the serial link shows on the screen: the port drop-down, the port button and its caption,
 * the port caption, and the language button's disabled state. serial/port_panel_lvgl.cpp draws
 * them with LVGL (ui_port_dropdown, ui_port_button, ui_port_button_label, ui_port_label,
 * ui_lang_button); core tests record them. UI thread only.
 */
#pragma once

/* Replaces the drop-down's options ('\n'-separated); the selection goes back to option 0. */
void port_list_set_options(const char* options);

/* Index of the selected option. */
int port_list_selected();

/* Selects option index, limited to the last option (an open list follows). */
void port_list_select(int index);

/* Number of options of the drop-down. */
int port_list_option_count();

/* Copies the selected option's text (up to its newline, cut to size - 1 bytes) into buf. */
void port_list_selected_text(char* buf, int size);

/* Port open look: button #E7C129, drop-down disabled with the grey disabled style. */
void port_ui_opened();

/* Port closed look: button #FFFFFF, drop-down enabled, grey style removed. */
void port_ui_closed();

/* Sets the port button's caption (recoloured label text). */
void port_button_set_caption(const char* text);

/* Rewrites the port caption and the button caption for the current language and port state. */
void relabel_port_panel();

/* Disables (true) or enables the language button. */
void lang_button_set_disabled(bool disabled);
