#include "params/register_family.h"

#include "params/panel_fields.h"

// clang-format off
const RegisterFamilyValue register_family_values[REG_VALUE_COUNT] = {
    /* key   entry                    scale            step byte single line */
    {"KP", PanelEntry::Gain,        1,               1,   0,   false,  0},
    {"KD", PanelEntry::Damping,     1,               1,   2,   false,  1},
    {"OD", PanelEntry::Stall1Power, REG_POWER_SCALE, 0,   0,   false,  4},
    {"OT", PanelEntry::Stall1Time,  REG_TIME_SCALE,  0,   2,   false,  5},
    {"MD", PanelEntry::OutputPower, REG_POWER_SCALE, 2,   0,   false,  6},
    {"LA", PanelEntry::MinAngle,    1,               4,   0,   false,  8},
    {"MA", PanelEntry::MaxAngle,    1,               4,   2,   false,  9},
    {"CA", PanelEntry::MidAngle,    1,               5,   0,   false, 10},
    {"DZ", PanelEntry::Deadband,    1,               6,   0,   false,  7},
    {"RS", PanelEntry::SoftStart,   1,               7,   1,   true,  12}, /* the direction box */
    {"LS", PanelEntry::SoftStart,   1,               7,   0,   true,  13},
    {"LP", PanelEntry::MinPulse,    REG_PULSE_SCALE, 3,   0,   false,  2},
    {"MP", PanelEntry::MaxPulse,    REG_PULSE_SCALE, 3,   2,   false,  3},
};
// clang-format on

const char* register_file_key(int line) {
    if (line == REG_FILE_LINE_LD) return "LD";
    const int value = register_value_at_line(line);
    return value == REG_VALUE_NONE ? nullptr : register_family_values[value].key;
}

int register_value_at_line(int line) {
    for (int v = 0; v < REG_VALUE_COUNT; ++v)
        if (register_family_values[v].file_line == line) return v;
    return REG_VALUE_NONE;
}

int32_t register_value_shown(int value) {
    if (value < 0 || value >= REG_VALUE_COUNT) return 0;
    if (value == REG_RS) return panel_get_checked(PanelCheck::Direction) ? 1 : 0;
    return panel_get_int(register_family_values[value].entry);
}

void register_value_show(int value, int32_t shown) {
    if (value < 0 || value >= REG_VALUE_COUNT) return;
    if (value != REG_RS)
        panel_set_int(register_family_values[value].entry, shown);
    else if (shown == 0 || shown == 1)
        panel_set_checked(PanelCheck::Direction, shown == 1);
}

int32_t register_value_wire(int value, int32_t shown) {
    const int32_t scale = value >= 0 && value < REG_VALUE_COUNT ? register_family_values[value].scale : 1;
    const int64_t wire = static_cast<int64_t>(shown) * scale;
    return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(wire)));
}
