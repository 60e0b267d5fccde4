#pragma once

#include "params/panel_fields.h"

#include <string>

/* The parameter panel as plain state: entry texts, check boxes, level groups, and a count of the
 * writes. Entries hold whatever is written (no length limit, no change checks). */
struct FakePanel {
    std::string text[PANEL_ENTRY_COUNT];
    bool checked[PANEL_CHECK_COUNT] = {};
    bool enabled[PANEL_CHECK_COUNT] = {true, true, true, true};
    bool level_shown[3] = {true, true, true};
    int redraws = 0;
    int writes = 0; /* entry texts, check marks and level groups set */
};

FakePanel& fake_panel();
void fake_panel_reset();

inline std::string& fake_entry(PanelEntry e) { return fake_panel().text[static_cast<int>(e)]; }
inline bool& fake_checked(PanelCheck c) { return fake_panel().checked[static_cast<int>(c)]; }
