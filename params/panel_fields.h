/**
 * The parameter panel as the portable code sees it: sixteen numeric entries and four check
 * boxes, addressed by name. The screen glue (params/panel_lvgl.cpp) implements these calls over
 * the LVGL widgets; core tests use a recording fake.
 *
 * Everything that moves values between the parameter arrays, the text files or the servo's
 * register replies and the screen goes through here, so the portable code never touches a widget.
 */
#pragma once

#include <cstddef>
#include <cstdint>

/* The sixteen entries, in the order the panel lays them out. */
enum class PanelEntry : int {
    MinAngle,    /* row 7 `MinAngle`,   register family LA */
    MaxAngle,    /* row 5 `MaxAngle`,   MA */
    MidAngle,    /* row 6 `MidAngle`,   CA */
    MinPulse,    /* row 4 `PulseMin`,   LP / 4 */
    MaxPulse,    /* row 2 `PulseMax`,   MP / 4 */
    Deadband,    /* row 14 `Deadband1`, DZ */
    Gain,        /* row 0 `Gain`,       KP */
    Damping,     /* row 1 `Brake`,      KD */
    OutputPower, /* row 22 `PowerMax`,  MD / 80 */
    Stall1Time,  /* row 8 `StallTime1` in ms (value x 100), OT / 1000 */
    Stall1Power, /* row 10 `StallForce1`, OD / 80 */
    Stall2Time,  /* row 36 `StallTime2` in ms */
    Stall2Power, /* row 11 `StallForce2` */
    Stall3Time,  /* row 37 `StallTime3` in ms */
    Stall3Power, /* row 12 `StallForce3` */
    SoftStart,   /* row 25 `SlowStart`, LS */
};
constexpr int PANEL_ENTRY_COUNT = 16;

/* The four check boxes: the three stall-protection levels and the direction (row 31 `ArmDir`,
 * register family RS). */
enum class PanelCheck : int { Level1, Level2, Level3, Direction };
constexpr int PANEL_CHECK_COUNT = 4;

/* Row of the parameter table that an entry edits. */
int panel_entry_row(PanelEntry entry);

/* Writes the text of an entry. The screen runs the entry's own change check afterwards. */
void panel_set_text(PanelEntry entry, const char* text);

/* Copies the text of an entry into out (cut to cap - 1 bytes, always terminated); returns the
 * length copied, or -1 when out is null or cap is 0. */
int panel_get_text(PanelEntry entry, char* out, size_t cap);

/* Checks or unchecks a check box (no change handler runs). */
void panel_set_checked(PanelCheck check, bool checked);

/* True when the check box is checked. */
bool panel_get_checked(PanelCheck check);

/* Enables or disables a check box (a disabled box cannot be clicked). */
void panel_set_check_enabled(PanelCheck check, bool enabled);

/* Shows or hides the six widgets of a stall level (1..3): time and power entries, their captions
 * and their hints. Other levels are ignored. Hidden entries keep their text. */
void panel_show_level(int level, bool shown);

/* Asks the screen to redraw the panel. */
void panel_redraw();

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
