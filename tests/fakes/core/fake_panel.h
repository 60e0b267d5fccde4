#pragma once

#include "params/panel_fields.h"

#include <string>
#include <vector>

/* The parameter panel as plain state: entry texts, check boxes, level groups, and every write
 * in order. Entries hold whatever is written (no length limit, no change checks). */
struct FakePanel {
    std::string text[PANEL_ENTRY_COUNT];
    bool checked[PANEL_CHECK_COUNT] = {};
    bool enabled[PANEL_CHECK_COUNT] = {true, true, true, true};
    bool level_shown[3] = {true, true, true};
    int redraws = 0;
    std::vector<std::string> writes; /* "entry=text", "check=0/1", "level=0/1" */
};

FakePanel& fake_panel();
void fake_panel_reset();

/* Shortcuts for tests. */
inline std::string& fake_entry(PanelEntry e) {
    return fake_panel().text[static_cast<int>(e)];
}
inline bool& fake_checked(PanelCheck c) {
    return fake_panel().checked[static_cast<int>(c)];
}
