/* The recording screen of the core tests, fuzzers and benches: every call of the screen port lands
 * in plain state that the test reads and sets. Installed before main runs. */
#pragma once

#include "common/screen_port.h"

#include <memory>
#include <string>
#include <vector>

/* Entries hold whatever is written (no length limit, no change checks). */
struct FakePanel {
    std::string text[PANEL_ENTRY_COUNT];
    bool checked[PANEL_CHECK_COUNT] = {};
    bool enabled[PANEL_CHECK_COUNT] = {true, true, true, true};
    bool level_shown[3] = {true, true, true};
    int redraws = 0;
    int writes = 0; /* entry texts, check marks and level groups set */
};

struct FakeInfoFields {
    std::string text[INFO_FIELD_COUNT] = {"", "2026", "01", "01"};
    bool available[INFO_FIELD_COUNT] = {true, true, true, true};
    int writes = 0;
};

/* Options, selection and captions behave as the drop-down and the labels do. */
struct FakePortPanel {
    std::string options = " ";
    int selected = 0;
    enum Look { Unset, Opened, Closed } look = Unset;
    std::string caption = "#000000 打开端口#";
    bool lang_disabled = false;
};

/* One prompt shown; its box handle is its 1-based position. */
struct FakePrompt {
    enum Kind { Prompt, Alert, Error } kind;
    std::string text;
    bool closed;
};

struct FakeTimer {
    uint32_t period_ms = 0;
    protocol_timer_cb cb = nullptr;
    uint64_t last_run_ms = 0; /* clock_ms() at the last call; a new timer is due at once */
    bool alive = true;
    int fired = 0;
};

struct FakeTimers {
    std::vector<std::unique_ptr<FakeTimer>> timers; /* in start order, deleted ones included */
    bool fail_next_start = false;                   /* the next start returns null */
};

template <class T> T& fake_state() {
    static T state;
    return state;
}
inline FakePanel& fake_panel() { return fake_state<FakePanel>(); }
inline FakeInfoFields& fake_info_fields() { return fake_state<FakeInfoFields>(); }
inline FakePortPanel& fake_port_panel() { return fake_state<FakePortPanel>(); }
inline std::vector<FakePrompt>& fake_prompts() { return fake_state<std::vector<FakePrompt>>(); }
inline FakeTimers& fake_timers() { return fake_state<FakeTimers>(); }
inline void fake_panel_reset() { fake_panel() = FakePanel{}; }
inline void fake_info_fields_reset() { fake_info_fields() = FakeInfoFields{}; }
inline void fake_port_panel_reset() { fake_port_panel() = FakePortPanel{}; }
inline void fake_timers_reset() { fake_timers() = FakeTimers{}; }
/* Every recording above back to its start. */
void fake_screen_reset();

inline std::string& fake_entry(PanelEntry e) { return fake_panel().text[static_cast<int>(e)]; }
inline bool& fake_checked(PanelCheck c) { return fake_panel().checked[static_cast<int>(c)]; }
inline std::string& fake_info(InfoField f) { return fake_info_fields().text[static_cast<int>(f)]; }
std::vector<std::string> prompt_texts(); /* in the order shown */

int fake_timers_alive();
/* Calls a live timer's callback once, as LVGL does when it is due. */
void fake_timer_fire(protocol_timer_t timer);

/* Puts the recording screen back (a test that installed another one ends with it), with the
 * headless parameter panel in place of the recording one if asked. */
void fake_screen_install(bool headless_panel = false);
/* fake_screen.cpp also defines the pieces it is made of (fake_panel_fill_port, fake_show_prompt,
 * ...) for the fuzzers, which wrap some of them and declare what they use. */
