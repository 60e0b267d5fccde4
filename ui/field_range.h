/**
 * Ranges of the numeric entry fields, found by widget: the version date fields of the servo
 * information panel and the sixteen parameter entries. Used by the entry checks and the date
 * steppers.
 */
#pragma once

#include "lvgl.h"

#include <cstdint>

/* Range of a field: year 2000-2100, month 0-12, day 0 to the length of the month in the year and
 * month fields (31 when those are out of range), the parameter entries by entry. Returns false
 * for any other widget (it has no range). */
bool field_range(const lv_obj_t* obj, int32_t* min, int32_t* max);

/* Value of a numeric text field by the panel's decimal parse (params_parse_int); 0 for null or
 * a text that is no number. */
int32_t field_value(const lv_obj_t* ta);

/* The range message in the language of the flag ("Please enter a number between %d and %d" /
 * "请输入 %d-%d 之间的数字"), formatted into the one shared 50-byte buffer it returns. */
const char* field_range_message(int32_t min, int32_t max);
