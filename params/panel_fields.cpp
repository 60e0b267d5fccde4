#include "params/panel_fields.h"

#include "common/lang.h"
#include "common/text_format.h"
#include "params/param_table.h"

#include <cstdio>

namespace {
constexpr int ENTRY_TEXT_SIZE = 32; /* the longest entry holds 5 characters */

constexpr int ENTRY_ROWS[PANEL_ENTRY_COUNT] = {
    PARAM_MIN_ANGLE,    PARAM_MAX_ANGLE,   PARAM_MID_ANGLE,    PARAM_PULSE_MIN,   PARAM_PULSE_MAX,    PARAM_DEADBAND1,
    PARAM_GAIN,         PARAM_BRAKE,       PARAM_POWER_MAX,    PARAM_STALL_TIME1, PARAM_STALL_FORCE1, PARAM_STALL_TIME2,
    PARAM_STALL_FORCE2, PARAM_STALL_TIME3, PARAM_STALL_FORCE3, PARAM_SLOW_START,
};

constexpr int32_t STALL_TIME_MAX_MS = 10000;

// clang-format off
constexpr PanelFieldLimits LIMITS[PANEL_ENTRY_COUNT] = {
    {4, 0, 4096, PanelEntryCheck::Pulse}, /* MinAngle */
    {4, 0, 4096, PanelEntryCheck::Pulse}, /* MaxAngle */
    {4, 0, 4096, PanelEntryCheck::Pulse}, /* MidAngle */
    {4, 0, 4096, PanelEntryCheck::Pulse}, /* MinPulse */
    {4, 0, 4096, PanelEntryCheck::Pulse}, /* MaxPulse */
    {2, 0, 13,   PanelEntryCheck::Range}, /* Deadband: packing holds 13 at most */
    {3, 0, 255,  PanelEntryCheck::Range}, /* Gain */
    {3, 0, 255,  PanelEntryCheck::Range}, /* Damping */
    {3, 0, 150,  PanelEntryCheck::Range}, /* OutputPower */
    {5, 0, STALL_TIME_MAX_MS, PanelEntryCheck::Range}, /* Stall1Time, ms */
    {2, 0, 15,   PanelEntryCheck::Range}, /* Stall1Power */
    {5, 0, STALL_TIME_MAX_MS, PanelEntryCheck::Range}, /* Stall2Time */
    {2, 0, 15,   PanelEntryCheck::Range}, /* Stall2Power */
    {5, 0, STALL_TIME_MAX_MS, PanelEntryCheck::Range}, /* Stall3Time */
    {2, 0, 15,   PanelEntryCheck::Range}, /* Stall3Power */
    {3, 0, 255,  PanelEntryCheck::Range}, /* SoftStart */
};
// clang-format on
constexpr PanelFieldLimits NO_LIMITS = {0, 0, 0, PanelEntryCheck::Range};
} // namespace

const PanelFieldLimits& panel_field_limits(PanelEntry entry) {
    const int i = static_cast<int>(entry);
    return i >= 0 && i < PANEL_ENTRY_COUNT ? LIMITS[i] : NO_LIMITS;
}

const char* panel_range_message(char* buf, size_t cap, int32_t min, int32_t max) {
    text_format(buf, cap, lang_by_flag("Please enter a number between %d and %d", "请输入 %d-%d 之间的数字"),
                static_cast<int>(min), static_cast<int>(max));
    return buf;
}

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
