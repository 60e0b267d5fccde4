/* The three prompt boxes on screen: non-blocking LVGL message boxes over the main screen. */
#pragma once

#include "common/screen_port.h"

/* Puts show_prompt, show_prompt_alert, show_error and prompt_close into the screen port. */
void prompt_fill_port(ScreenPort& port);
