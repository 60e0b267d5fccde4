/**
 * The parameter panel as the portable code sees it: sixteen numeric entries and four check
 * boxes, addressed by name through the screen port (common/screen_port.h), plus the portable
 * helpers over those calls: the entry rows, integer reads and writes, and the decimal parse.
 *
 * Everything that moves values between the parameter arrays, the text files or the servo's
 * register replies and the screen goes through here, so the portable code never touches a widget.
 */
#pragma once

#include "common/screen_port.h" /* PanelEntry, PanelCheck and the panel calls */

#include <cstddef>
#include <cstdint>

/* Row of the parameter table that an entry edits. */
int panel_entry_row(PanelEntry entry);

/* How an entry checks a value written into it: against its range, putting back the default
 * (Range), or, for the angles and pulses, putting back the working value (Pulse). */
enum class PanelEntryCheck { Range, Pulse };

/* What an entry takes: at most max_chars characters, a number within min..max. */
struct PanelFieldLimits {
    uint32_t max_chars;
    int32_t min;
    int32_t max;
    PanelEntryCheck check;
};

/* Limits of an entry, shared by the screen's panel and the headless one (params/panel_model.h);
 * an entry outside the sixteen gets limits that take nothing. */
const PanelFieldLimits& panel_field_limits(PanelEntry entry);

/* The range message of a refused value in the language of the flag ("Please enter a number
 * between %d and %d" / "请输入 %d-%d 之间的数字"), cut to fit buf. Returns buf. */
const char* panel_range_message(char* buf, size_t cap, int32_t min, int32_t max);

/* ---- helpers over the calls above (portable) ---- */

/* Writes a value as "%d" into an entry. */
void panel_set_int(PanelEntry entry, int32_t value);

/* Reads an entry as a decimal number: leading blanks, an optional sign and digits; anything
 * else gives 0 (and the digits read so far); values beyond int32 are held at its limits. */
int32_t panel_get_int(PanelEntry entry);

/* True for the white space the decimal parse skips: blank, tab, and the four line and page breaks. */
bool params_is_blank(char c);

/* Decimal parse used for every numeric text of the panel and the text files (rules as above).
 * Sets *end (when given) just past the last digit, or to text when no number was read. */
int32_t params_parse_int(const char* text, const char** end);
