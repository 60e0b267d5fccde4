/* The port button's LVGL handler (screen glue; the core's part is port_button_click). */
#pragma once

#include "lvgl.h"

/* Click handler of ui_port_button: opens the selected port or closes the open one. */
void openSerial_event_handler(lv_event_t* e);
