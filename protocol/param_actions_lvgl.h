/* The clicked handler of the four parameter action buttons (screen glue). */
#pragma once

#include "lvgl.h"

/* Clicked handler shared by ui_action_buttons: finds the button by comparing the event target
 * with the four handles in order (0 read, 1 write, 2 import, 3 save) and runs its action. */
void action_button_event_cb(lv_event_t* e);
