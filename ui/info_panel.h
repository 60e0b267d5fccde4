/**
 * The servo information panel's behaviour on screen (LVGL glue): the read and write buttons, the
 * date fields' change check, their up/down steppers and the clamp of the day to its month. The
 * rules themselves are in protocol/info_date.h; the transactions in protocol/info_transaction.h.
 */
#pragma once

#include "common/screen_port.h"

#include "lvgl.h"

/* Registers the handlers of the panel built by main_ui_build: the two buttons, the date fields'
 * change check and a stepper pair beside each date field. */
void info_panel_attach();

/* Clicked handlers of the read and write buttons. */
void info_read_button_event_cb(lv_event_t* e);
void info_write_button_event_cb(lv_event_t* e);

/* Adds the up and down stepper buttons (30 px wide) right of a date field. */
void attach_stepper(lv_obj_t* parent, lv_obj_t* field);

/* Clicked handlers of the steppers; the event's user data is the field. */
void date_step_up(lv_event_t* e);
void date_step_down(lv_event_t* e);

/* Value-changed handler of the three date fields. */
void date_field_changed(lv_event_t* e);

/* Caps the day at the last day of the month in the year and month fields, telling the user, or
 * rewrites it with two digits. */
void clamp_day_to_month();

/* Puts the information field calls (get and set the type and date texts) into the screen port. */
void info_panel_fill_port(ScreenPort& port);
