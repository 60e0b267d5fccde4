/* Recording parameter panel for the core tests. */
#include "common/screen_port.h"
#include "tests/fakes/core/fake_panel.h"

#include <algorithm>
#include <cstring>

FakePanel& fake_panel() {
    static FakePanel state;
    return state;
}

void fake_panel_reset() { fake_panel() = FakePanel{}; }

void fake_panel_set_text(PanelEntry entry, const char* text) {
    const int i = static_cast<int>(entry);
    if (i < 0 || i >= PANEL_ENTRY_COUNT || text == nullptr) return;
    fake_panel().text[i] = text;
    ++fake_panel().writes;
}

int fake_panel_get_text(PanelEntry entry, char* out, size_t cap) {
    if (out == nullptr || cap == 0) return -1;
    const int i = static_cast<int>(entry);
    const std::string t = i >= 0 && i < PANEL_ENTRY_COUNT ? fake_panel().text[i] : std::string();
    const size_t n = std::min(t.size(), cap - 1);
    memcpy(out, t.data(), n);
    out[n] = '\0';
    return static_cast<int>(n);
}

void fake_panel_set_checked(PanelCheck check, bool checked) {
    const int i = static_cast<int>(check);
    if (i < 0 || i >= PANEL_CHECK_COUNT) return;
    fake_panel().checked[i] = checked;
    ++fake_panel().writes;
}

bool fake_panel_get_checked(PanelCheck check) {
    const int i = static_cast<int>(check);
    return i >= 0 && i < PANEL_CHECK_COUNT && fake_panel().checked[i];
}

void fake_panel_set_check_enabled(PanelCheck check, bool enabled) {
    const int i = static_cast<int>(check);
    if (i >= 0 && i < PANEL_CHECK_COUNT) fake_panel().enabled[i] = enabled;
}

void fake_panel_show_level(int level, bool shown) {
    if (level < 1 || level > 3) return;
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
