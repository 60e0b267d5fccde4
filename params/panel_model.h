/**
 * The parameter panel without a screen: sixteen entry texts and four check boxes held as plain
 * state, checked with the limits the screen's panel uses (params/panel_fields.h). The
 * command-line tool installs it as the panel part of its screen port; tests and benches can too.
 *
 * A text written into an entry is checked once, whole, as the value it stands for: a text longer
 * than the entry takes or a number outside its range leaves the entry at its restored value (the
 * default, in ms for the stall times, for range-checked entries; the working value for the angle
 * and pulse entries) and shows the range message as an error. An empty text is kept, as the
 * screen keeps it. Single-threaded, like the rest of the core.
 */
#pragma once

#include "common/screen_port.h"

/* Back to a fresh screen: every entry at its row's default (defaultValues must be loaded; the
 * stall times raw, as the screen builds them), boxes unchecked and enabled, level groups shown,
 * write counts cleared. */
void panel_model_reset();

/* Puts the panel calls of the screen port (entries, check boxes, level groups, redraw). */
void panel_model_fill_port(ScreenPort& port);

/* Writes into an entry since the last panel_model_clear_writes, refused ones included. */
int panel_model_writes(PanelEntry entry);

/* Writes refused by the entry's check since the last panel_model_clear_writes. */
int panel_model_refusals();

void panel_model_clear_writes();

/* Whether a stall level's group (1..3) is shown, and whether a box can be checked by hand. */
bool panel_model_level_shown(int level);
bool panel_model_check_enabled(PanelCheck check);
