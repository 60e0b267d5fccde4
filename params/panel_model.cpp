#include "params/panel_model.h"

#include "common/prompt.h"
#include "params/panel_fields.h"
#include "params/param_values.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr size_t ENTRY_TEXT_SIZE = 16;     /* the longest entry takes 5 characters */
constexpr size_t RANGE_MESSAGE_SIZE = 50;  /* as the screen's shared buffer */
constexpr int32_t STALL_TIME_SHOWN = 100;  /* stored in units of 100 ms, shown in ms */

struct PanelModel {
    char texts[PANEL_ENTRY_COUNT][ENTRY_TEXT_SIZE] = {};
    bool checked[PANEL_CHECK_COUNT] = {};
    bool enabled[PANEL_CHECK_COUNT] = {true, true, true, true};
    bool level_shown[3] = {true, true, true};
    int writes[PANEL_ENTRY_COUNT] = {};
    int refusals = 0;
};
PanelModel g_model;

int index_of(PanelEntry entry) {
    const int i = static_cast<int>(entry);
    return i >= 0 && i < PANEL_ENTRY_COUNT ? i : -1;
}

bool is_stall_time(int row) {
    return row == PARAM_STALL_TIME1 || row == PARAM_STALL_TIME2 || row == PARAM_STALL_TIME3;
}

/* The value the entry falls back to when it refuses a text. */
int32_t restored_value(PanelEntry entry) {
    const int row = panel_entry_row(entry);
    if (panel_field_limits(entry).check == PanelEntryCheck::Pulse) return params_state().parameterValues[row];
    return is_stall_time(row) ? params_state().defaultValues[row] * STALL_TIME_SHOWN : params_state().defaultValues[row];
}

void model_set_text(PanelEntry entry, const char* text) {
    const int i = index_of(entry);
    if (i < 0 || text == nullptr) return;
    ++g_model.writes[i];
    const PanelFieldLimits& limits = panel_field_limits(entry);
    const size_t len = strlen(text);
    if (len == 0) {
        g_model.texts[i][0] = '\0';
        return;
    }
    const int32_t value = params_parse_int(text, nullptr);
    if (len <= limits.max_chars && value >= limits.min && value <= limits.max) {
        memcpy(g_model.texts[i], text, len + 1); /* max_chars < ENTRY_TEXT_SIZE */
        return;
    }
    ++g_model.refusals;
    snprintf(g_model.texts[i], ENTRY_TEXT_SIZE, "%d", static_cast<int>(restored_value(entry)));
    char message[RANGE_MESSAGE_SIZE];
    show_error(panel_range_message(message, sizeof message, limits.min, limits.max));
}

int model_get_text(PanelEntry entry, char* out, size_t cap) {
    const int i = index_of(entry);
    if (out == nullptr || cap == 0) return -1;
    out[0] = '\0';
    if (i < 0) return -1;
    snprintf(out, cap, "%s", g_model.texts[i]);
    return static_cast<int>(strlen(out));
}

int check_index(PanelCheck check) {
    const int i = static_cast<int>(check);
    return i >= 0 && i < PANEL_CHECK_COUNT ? i : -1;
}

void model_set_checked(PanelCheck check, bool checked) {
    const int i = check_index(check);
    if (i >= 0) g_model.checked[i] = checked;
}

bool model_get_checked(PanelCheck check) {
    const int i = check_index(check);
    return i >= 0 && g_model.checked[i];
}

void model_set_check_enabled(PanelCheck check, bool enabled) {
    const int i = check_index(check);
    if (i >= 0) g_model.enabled[i] = enabled;
}

void model_show_level(int level, bool shown) {
    if (level >= 1 && level <= 3) g_model.level_shown[level - 1] = shown;
}

void model_redraw() {}

} // namespace

void panel_model_reset() {
    g_model = PanelModel{};
    for (int i = 0; i < PANEL_ENTRY_COUNT; ++i)
        snprintf(g_model.texts[i], ENTRY_TEXT_SIZE, "%d",
                 static_cast<int>(params_state().defaultValues[panel_entry_row(static_cast<PanelEntry>(i))]));
}

void panel_model_fill_port(ScreenPort& port) {
    port.panel_set_text = model_set_text;
    port.panel_get_text = model_get_text;
    port.panel_set_checked = model_set_checked;
    port.panel_get_checked = model_get_checked;
    port.panel_set_check_enabled = model_set_check_enabled;
    port.panel_show_level = model_show_level;
    port.panel_redraw = model_redraw;
}

int panel_model_writes(PanelEntry entry) {
    const int i = index_of(entry);
    return i >= 0 ? g_model.writes[i] : 0;
}

int panel_model_refusals() {
    return g_model.refusals;
}

void panel_model_clear_writes() {
    memset(g_model.writes, 0, sizeof g_model.writes);
    g_model.refusals = 0;
}

bool panel_model_level_shown(int level) {
    return level >= 1 && level <= 3 && g_model.level_shown[level - 1];
}

bool panel_model_check_enabled(PanelCheck check) {
    const int i = check_index(check);
    return i >= 0 && g_model.enabled[i];
}
