#include "params/panel_fields.h"

#include "params/param_table.h"

#include <cstdio>

namespace {
constexpr int ENTRY_TEXT_SIZE = 32; /* the longest entry holds 5 characters */

constexpr int ENTRY_ROWS[PANEL_ENTRY_COUNT] = {
    PARAM_MIN_ANGLE,    PARAM_MAX_ANGLE,   PARAM_MID_ANGLE,    PARAM_PULSE_MIN,   PARAM_PULSE_MAX,    PARAM_DEADBAND1,
    PARAM_GAIN,         PARAM_BRAKE,       PARAM_POWER_MAX,    PARAM_STALL_TIME1, PARAM_STALL_FORCE1, PARAM_STALL_TIME2,
    PARAM_STALL_FORCE2, PARAM_STALL_TIME3, PARAM_STALL_FORCE3, PARAM_SLOW_START,
};
} // namespace

int panel_entry_row(PanelEntry entry) {
    const int i = static_cast<int>(entry);
    return i >= 0 && i < PANEL_ENTRY_COUNT ? ENTRY_ROWS[i] : -1;
}

bool params_is_blank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

int32_t params_parse_int(const char* text, const char** end) {
    if (end != nullptr) *end = text;
    if (text == nullptr) return 0;
    const char* p = text;
    while (params_is_blank(*p))
        ++p;
    bool negative = false;
    if (*p == '+' || *p == '-') {
        negative = *p == '-';
        ++p;
    }
    if (*p < '0' || *p > '9') return 0;
    int64_t value = 0;
    while (*p >= '0' && *p <= '9') {
        if (value <= INT32_MAX) value = value * 10 + (*p - '0'); /* further digits cannot bring it back */
        ++p;
    }
    if (end != nullptr) *end = p;
    if (negative) value = -value;
    if (value > INT32_MAX) return INT32_MAX;
    if (value < INT32_MIN) return INT32_MIN;
    return static_cast<int32_t>(value);
}

void panel_set_int(PanelEntry entry, int32_t value) {
    char text[ENTRY_TEXT_SIZE];
    snprintf(text, sizeof text, "%d", static_cast<int>(value));
    panel_set_text(entry, text);
}

int32_t panel_get_int(PanelEntry entry) {
    char text[ENTRY_TEXT_SIZE];
    if (panel_get_text(entry, text, sizeof text) < 0) return 0;
    return params_parse_int(text, nullptr);
}
