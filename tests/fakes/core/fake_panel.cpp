/* Recording parameter panel for the core tests. */
#include "common/screen_port.h"
#include "tests/fakes/core/fake_panel.h"

#include <cstdio>
#include <cstring>

FakePanel& fake_panel() {
    static FakePanel state;
    return state;
}

void fake_panel_reset() { fake_panel() = FakePanel{}; }

void fake_panel_set_text(PanelEntry entry, const char* text) {
    fake_entry(entry) = text != nullptr ? text : "";
    ++fake_panel().writes;
}

int fake_panel_get_text(PanelEntry entry, char* out, size_t cap) {
    snprintf(out, cap, "%s", fake_entry(entry).c_str());
    return static_cast<int>(strlen(out));
}

void fake_panel_set_checked(PanelCheck check, bool checked) {
    fake_checked(check) = checked;
    ++fake_panel().writes;
}

bool fake_panel_get_checked(PanelCheck check) { return fake_checked(check); }

void fake_panel_set_check_enabled(PanelCheck check, bool enabled) {
    fake_panel().enabled[static_cast<int>(check)] = enabled;
}

void fake_panel_show_level(int level, bool shown) {
    fake_panel().level_shown[level - 1] = shown;
    ++fake_panel().writes;
}

void fake_panel_redraw() { ++fake_panel().redraws; }

void fake_panel_fill_port(ScreenPort& port) {
    port.panel_set_text = fake_panel_set_text;
    port.panel_get_text = fake_panel_get_text;
    port.panel_set_checked = fake_panel_set_checked;
    port.panel_get_checked = fake_panel_get_checked;
    port.panel_set_check_enabled = fake_panel_set_check_enabled;
    port.panel_show_level = fake_panel_show_level;
    port.panel_redraw = fake_panel_redraw;
}
