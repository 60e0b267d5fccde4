/**
 * Rules of the version date fields of the servo information panel, without the screen: how a
 * value is written, what the change check does with a typed text, how the steppers move a value
 * and when the day is clamped to its month. The screen glue (protocol/info_panel_lvgl.cpp) reads
 * the fields, asks these functions and writes back what they say.
 */
#pragma once

#include <cstddef>
#include <cstdint>

enum class DateField : int { Year, Month, Day };

constexpr const char* DATE_YEAR_DEFAULT = "2026";
constexpr const char* DATE_MONTH_DAY_DEFAULT = "01";
constexpr size_t DATE_LAST_TEXT_SIZE = 32; /* a check's copy of the field text, 31 characters at most */
constexpr size_t DATE_TEXT_SIZE = 16;

/* Writes a value as the field shows it: month and day "%02d" up to 99, otherwise "%d". Returns
 * the length written. */
size_t info_date_format(DateField field, int32_t value, char* out, size_t cap);

/* True when every character of text is a decimal digit (an empty text counts as digits). */
bool info_date_all_digits(const char* text);

/* What the change check of a date field asks the screen to do. */
struct DateCheck {
    bool write = false; /* write `text` into the field */
    char text[DATE_LAST_TEXT_SIZE] = {};
    bool prompt = false; /* show the range message for prompt_min..prompt_max */
    int32_t prompt_min = 0;
    int32_t prompt_max = 0;
    bool clamp_day = false; /* run the day clamp afterwards */
};

/* The change check of a date field with its current text, the last-text copy taken at the start
 * of the check, and the field's range:
 *  - a year shorter than 4 characters: nothing (the user is still typing);
 *  - a non-digit: the last text goes back (the default when it is empty), no range check;
 *  - a year of exactly 4 digits outside 2000-2100: "2026" and the 2000-2100 message;
 *  - below or above the range: the nearer bound and the range message; month and day in range
 *    are rewritten with two digits;
 *  - year and month then have the day clamped. */
DateCheck info_date_check(DateField field, const char* text, const char* last_text, int32_t min, int32_t max);

/* Stepper: value + 1 held at max, or value - 1 held at min. */
int32_t info_date_step(int32_t value, int32_t min, int32_t max, bool up);

/* Outcome of the day clamp. */
enum DateClamp : int {
    DATE_CLAMP_NONE = 0,     /* year or month out of range, or day below 1: the day stays */
    DATE_CLAMP_REFORMAT = 1, /* the day fits its month: rewritten with two digits */
    DATE_CLAMP_ADJUSTED = 2, /* the day was past the month's end: now its last day, tell the user */
};

/* Day clamp for the year, month and day values: only with the year in 2000-2100 and the month at
 * most 12; writes the day to show into out. Returns a DateClamp. */
int info_date_clamp_day(int32_t year, int32_t month, int32_t day, char* out, size_t cap);

/* Message of an adjusted day. It follows the language the screen was built in, not the toggle,
 * so after switching to English it stays Chinese. */
const char* info_date_adjusted_message();
