#include "params/param_values.h"

#include "common/debug_log.h"
#include "params/panel_fields.h"

#include <cstring>

namespace {

constexpr int STALL_TIME_MAX = 100;   /* stored stall time, units of 100 ms */
constexpr int STALL_TIME_SCALE = 100; /* shown in milliseconds */
constexpr int BYTE_FIELD_MAX = 255;
constexpr int PULSE_FIELD_MAX = 4096;
constexpr int DEADBAND_PACK_MAX = 13;
constexpr int PREPARE_COPY_BYTES = 36;
constexpr int PREPARE_MERGE_LAST = 36;

ParamsState g_params;

/* Rows whose stall level groups follow them, by level 1..3. */
constexpr int STALL_TIME_ROWS[3] = {PARAM_STALL_TIME1, PARAM_STALL_TIME2, PARAM_STALL_TIME3};
constexpr PanelEntry STALL_TIME_ENTRIES[3] = {PanelEntry::Stall1Time, PanelEntry::Stall2Time, PanelEntry::Stall3Time};
constexpr PanelEntry STALL_POWER_ENTRIES[3] = {PanelEntry::Stall1Power, PanelEntry::Stall2Power,
                                               PanelEntry::Stall3Power};
constexpr int STALL_POWER_ROWS[3] = {PARAM_STALL_FORCE1, PARAM_STALL_FORCE2, PARAM_STALL_FORCE3};
constexpr PanelCheck LEVEL_CHECKS[3] = {PanelCheck::Level1, PanelCheck::Level2, PanelCheck::Level3};

/* Entries that show their row's value as it is, in the order they are written. */
constexpr PanelEntry PLAIN_ENTRIES[] = {
    PanelEntry::Gain,        PanelEntry::Damping,     PanelEntry::MaxPulse, PanelEntry::MinPulse,
    PanelEntry::MaxAngle,    PanelEntry::MidAngle,    PanelEntry::MinAngle, PanelEntry::Stall1Power,
    PanelEntry::Stall2Power, PanelEntry::Stall3Power, PanelEntry::Deadband, PanelEntry::OutputPower,
    PanelEntry::SoftStart,
};

/* Stall levels in force, counted from the first: a level counts while every level before it
 * counts and its own time is above 0. Later levels are off whatever their own time. */
int stall_levels_in_force(const int32_t times[3]) {
    int n = 0;
    while (n < 3 && times[n] > 0)
        ++n;
    return n;
}

/* Value's low bits, lowest first, into the set bits of the mask from bit 0 upward. */
uint8_t deposit_bits(int32_t value, int mask) {
    uint32_t v = static_cast<uint32_t>(value);
    uint8_t out = 0;
    for (int bit = 0; bit < 8; ++bit) {
        if ((mask & (1 << bit)) == 0) continue;
        if (v & 1u) out = static_cast<uint8_t>(out | (1 << bit));
        v >>= 1;
    }
    return out;
}

uint8_t low8(int64_t v) {
    return static_cast<uint8_t>(static_cast<uint64_t>(v) & 0xFFu);
}

/* Packs one touched byte of one row; the irregular bytes keep their historical rules because
 * servos in the field rely on exactly these bit patterns. */
void pack_byte(uint8_t* image, int row, int32_t v, int b, int m, bool last_byte) {
    if (m == 0xFF) {
        image[b] = last_byte ? low8(v) : low8(static_cast<int64_t>(v) >> 8); /* two-byte values are big-endian */
        return;
    }
    const int64_t v16 = static_cast<int64_t>(v) * 16;
    if (b == 15) { /* rows 9 and 10 both land in the high nibble; the low nibble is never rewritten */
        image[15] = static_cast<uint8_t>(low8(v16) | (image[15] & 0x0F));
        return;
    }
    if (b == 16) {
        if (row == PARAM_STALL_FORCE2)
            image[16] = static_cast<uint8_t>((image[16] & 0xF0) | (v & 0x0F));
        else if (row == PARAM_STALL_FORCE3)
            image[16] = static_cast<uint8_t>(low8(v16) | (image[16] & 0x0F));
        return;
    }
    if (b == 19 && m == 0x0F) { /* the servo expects the second deadband at the first plus 2 */
        int d = v & 0x0F;
        if (d > DEADBAND_PACK_MAX) d = DEADBAND_PACK_MAX;
        image[19] = static_cast<uint8_t>(((d + 2) * 16) | d);
        return;
    }
    if (b == 24 && m == 0xF0) {
        image[24] = static_cast<uint8_t>((image[24] % 16) | (v & 0xF0));
        return;
    }
    if (b == 28 && m == 0xF0) {
        image[28] = static_cast<uint8_t>((image[28] % 16) | low8(v16));
        return;
    }
    if (b == 27) { /* REG27: bits 0-3 sensitivity, bit 4 arm direction, bit 5 motor direction */
        if (m == 0x0F) g_params.reg27_sensitivity = v & 0x0F;
        if (m == 0x10) g_params.reg27_arm_dir = v & 1;
        if (m == 0x20) g_params.reg27_motor_dir = v & 1;
        image[27] = static_cast<uint8_t>(
            (image[27] & 0xC0) | ((g_params.reg27_motor_dir * 2 + g_params.reg27_arm_dir) * 16) | g_params.reg27_sensitivity);
        dbg_log("[Debug] int2Byte() [REG27] value: 0x%02X\n", image[27]);
        return;
    }
    image[b] = static_cast<uint8_t>(image[b] | deposit_bits(v, m)); /* nothing is cleared first */
}

int clamp_count(int count, int limit) {
    if (count < 0) return 0;
    return count > limit ? limit : count;
}

int32_t stall_ms(int32_t stored) {
    const int64_t ms = static_cast<int64_t>(stored) * STALL_TIME_SCALE;
    return static_cast<int32_t>(ms < INT32_MIN ? INT32_MIN : ms);
}

} // namespace

bool params_load_defaults() {
    if (g_params.defaults_loaded) return false;
    g_params.defaults_loaded = true;
    for (int i = 0; i < PARAM_COUNT; ++i) {
        g_params.defaultValues[i] = parameterTable[i].defaultValue;
        dbg_log("[Debug] defaultValues[%d] = %d\n", i, g_params.defaultValues[i]);
    }
    return true;
}

void params_startup_registers() {
    memset(g_params.parameterValues, 0, sizeof g_params.parameterValues);
    memset(g_params.g_param_image, 0, sizeof g_params.g_param_image);
    int2Byte(g_params.g_param_image, PARAM_COUNT);
    params_unpack(g_params.g_param_image, PARAM_COUNT);
}

int32_t params_unpack_value(const uint8_t* image, int row) {
    const ParameterDescriptor* d = params_table_row(row);
    if (image == nullptr || d == nullptr) return 0;
    int32_t result = 0;
    for (int k = 0; k < d->byteCount; ++k) {
        const int b = params_row_byte(*d, k);
        const int m = params_row_mask(*d, k);
        for (int bit = 7; bit >= 0; --bit) {
            if ((m & (1 << bit)) == 0) continue;
            result = result * 2 + ((image[b] >> bit) & 1);
        }
    }
    return result;
}

void params_unpack(const uint8_t* image, int count) {
    if (image != nullptr && image != g_params.g_param_image)
        memcpy(g_params.g_param_image, image, PARAM_BLOCK_BYTES);
    count = clamp_count(count, PARAM_COUNT);
    for (int i = 0; i < count; ++i)
        g_params.parameterValues[i] = params_unpack_value(g_params.g_param_image, i);
}

void int2Byte(uint8_t* image, int count) {
    if (image == nullptr) return;
    count = clamp_count(count, PARAM_COUNT);
    for (int i = 0; i < count; ++i) {
        const ParameterDescriptor& d = parameterTable[i];
        for (int k = d.byteCount - 1; k >= 0; --k) {
            const int b = params_row_byte(d, k);
            if (b > g_params.high_byte) g_params.high_byte = b;
            pack_byte(image, i, g_params.parameterValues[i], b, params_row_mask(d, k), d.byteCount == 1 || k == d.byteCount - 1);
        }
    }
}

int params_packed_high_byte() {
    return g_params.high_byte;
}

void params_show_block(const uint8_t* block) {
    if (block == nullptr) return;
    memset(g_params.parameterValues, 0, sizeof g_params.parameterValues);
    params_unpack(block, PARAM_COUNT);
    update_par(g_params.parameterValues, PARAM_COUNT);
}

void params_prepare_write(int byteCount) {
    size_t bytes = byteCount < 0 ? 0 : static_cast<size_t>(byteCount);
    if (bytes > sizeof g_params.parameterValues) bytes = sizeof g_params.parameterValues;
    memcpy(g_params.parameterValues, g_params.paramArray, bytes);
    memcpy(g_params.g_param_image, g_params.parmeterBuff, PREPARE_COPY_BYTES);
    int2Byte(g_params.g_param_image, PARAM_COUNT);
    for (int pos = 0; pos <= PREPARE_MERGE_LAST; ++pos)
        if (params_table_uses_byte(pos)) g_params.parmeterBuff[pos] = g_params.g_param_image[pos];
}

void update_par(int32_t* values, int count) {
    if (values == nullptr) return;
    count = clamp_count(count, PARAM_COUNT);
    dbg_log("\n[DEBUG]update_par: \n");
    for (int i = 0; i < count; ++i)
        dbg_log("par[%d] = %d\n", i, values[i]);
    if (count < PARAM_COUNT) return; /* the panel needs the whole set */

    const int byte_rows[] = {PARAM_GAIN, PARAM_BRAKE};
    for (int r : byte_rows)
        if (values[r] > BYTE_FIELD_MAX) values[r] = BYTE_FIELD_MAX;
    const int pulse_rows[] = {PARAM_PULSE_MAX, PARAM_PULSE_MIN, PARAM_MAX_ANGLE, PARAM_MID_ANGLE, PARAM_MIN_ANGLE};
    for (int r : pulse_rows)
        if (values[r] > PULSE_FIELD_MAX) values[r] = PULSE_FIELD_MAX;
    for (PanelEntry e : PLAIN_ENTRIES)
        panel_set_int(e, values[panel_entry_row(e)]);

    for (int level = 0; level < 3; ++level) {
        int32_t& t = values[STALL_TIME_ROWS[level]];
        if (t > STALL_TIME_MAX) t = STALL_TIME_MAX;
        panel_set_int(STALL_TIME_ENTRIES[level], stall_ms(t));
    }

    panel_set_checked(PanelCheck::Direction, values[PARAM_ARM_DIR] == 1);

    int32_t times[3];
    for (int level = 0; level < 3; ++level)
        times[level] = values[STALL_TIME_ROWS[level]];
    const int in_force = stall_levels_in_force(times);
    for (int level = 0; level < 3; ++level) {
        const bool on = level < in_force;
        panel_set_checked(LEVEL_CHECKS[level], on);
        panel_set_check_enabled(LEVEL_CHECKS[level], level <= in_force); /* as a click on the level before would */
        panel_show_level(level + 1, on);
    }
    if (in_force < 3) panel_set_text(STALL_POWER_ENTRIES[in_force], "0"); /* the first level off has no power */
}

int getParametersFromUI() {
    memset(g_params.paramArray, 0, sizeof g_params.paramArray); /* rows past the table stay 0 */
    for (PanelEntry e : PLAIN_ENTRIES)
        g_params.paramArray[panel_entry_row(e)] = panel_get_int(e);

    /* A checked level's time, in units of 100 ms; a level after one that is not in force is off and
     * every level from the first one off has no power. */
    int32_t times[3];
    for (int level = 0; level < 3; ++level)
        times[level] = panel_get_checked(LEVEL_CHECKS[level]) ? panel_get_int(STALL_TIME_ENTRIES[level]) / STALL_TIME_SCALE : 0;
    const int in_force = stall_levels_in_force(times);
    for (int level = 0; level < 3; ++level) {
        g_params.paramArray[STALL_TIME_ROWS[level]] = level <= in_force ? times[level] : 0;
        if (level >= in_force) g_params.paramArray[STALL_POWER_ROWS[level]] = 0;
    }

    g_params.paramArray[PARAM_ARM_DIR] = panel_get_checked(PanelCheck::Direction) ? 1 : 0;

    bool from_panel[PARAM_COUNT] = {};
    for (PanelEntry e : PLAIN_ENTRIES)
        from_panel[panel_entry_row(e)] = true;
    for (int r : STALL_TIME_ROWS)
        from_panel[r] = true;
    from_panel[PARAM_ARM_DIR] = true;
    for (int i = 0; i < PARAM_COUNT; ++i)
        if (!from_panel[i]) g_params.paramArray[i] = g_params.parameterValues[i];

    for (int i = 0; i < PARAM_COUNT; ++i)
        dbg_log("[Debug] paramArray[%d] =  %d\n", i, g_params.paramArray[i]);
    return PARAM_COUNT;
}

void params_reset() { g_params = ParamsState{}; }

const ParamsState& params_state() { return g_params; }

void params_set_source(int32_t source) { g_params.parameterSource = source; }

void params_set_block(const uint8_t* bytes, int n) {
    if (bytes == nullptr) return;
    if (n > PARAM_IMAGE_SIZE) n = PARAM_IMAGE_SIZE;
    if (n > 0) memcpy(g_params.parmeterBuff, bytes, static_cast<size_t>(n));
}

void params_take_block(const uint8_t* bytes, int n) {
    if (bytes == nullptr) return;
    params_set_block(bytes, n);
    params_show_block(bytes);
}

void params_set_working(const int32_t* values) {
    if (values != nullptr) memcpy(g_params.parameterValues, values, sizeof g_params.parameterValues);
}

void params_set_array(const int32_t* values, int count) {
    count = clamp_count(count, PARAM_ARRAY_SIZE);
    if (values != nullptr) memcpy(g_params.paramArray, values, sizeof(int32_t) * static_cast<size_t>(count));
}
