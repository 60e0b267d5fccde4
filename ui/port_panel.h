/* The port button's LVGL handler (screen glue; the core's part is port_button_click). */
#pragma once

#include "common/screen_port.h"

#include "lvgl.h"

/* Click handler of ui_port_button: opens the selected port or closes the open one. */
void openSerial_event_handler(lv_event_t* e);

/* Puts the port panel calls (list, button look and caption, relabel, language button) into the
 * screen port. */
void port_panel_fill_port(ScreenPort& port);
