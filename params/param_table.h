/**
 * The servo's configuration as 46 logical parameters placed in a 35-byte register block.
 *
 * Each row of parameterTable says where one parameter lives: one byte, a bit field inside one
 * byte, or two bytes. Several parameters share a byte through their masks. Rows named "NULL" are
 * real register slots that the panel does not show; their bits travel unchanged.
 */
#pragma once

#include <cstdint>

constexpr int PARAM_COUNT = 46;       /* rows of the table */
constexpr int PARAM_BLOCK_BYTES = 35; /* register bytes 0..34 of the servo */
constexpr int PARAM_IMAGE_SIZE = 37;  /* room of the block buffers (36 bytes are copied around) */
constexpr int PARAM_ARRAY_SIZE = 100; /* area of paramArray */

/* One row of the table. byteIndex and bitMask hold one byte per touched image byte: the low
 * byte of the int32 is the first image byte (and its mask), the second byte the second. */
struct ParameterDescriptor {
    int32_t index;        /* equal to the row number */
    char name[100];       /* short English name; "NULL" for unnamed slots */
    int32_t defaultValue; /* loaded into defaultValues at start */
    int32_t minValue;
    int32_t maxValue;
    int32_t byteCount; /* 1 or 2 */
    int32_t byteIndex;
    int32_t bitMask; /* 0xFF in a byte means the whole byte */
};

/* The table, in index order. Never modified at run time. */
extern const ParameterDescriptor parameterTable[PARAM_COUNT];

/* Row of a parameter index, or null when the index is outside 0..45. */
const ParameterDescriptor* params_table_row(int index);

/* Image byte k (0 or 1) of a row. */
inline int params_row_byte(const ParameterDescriptor& row, int k) {
    return (row.byteIndex >> (8 * k)) & 0xFF;
}

/* Mask of image byte k (0 or 1) of a row. */
inline int params_row_mask(const ParameterDescriptor& row, int k) {
    return (row.bitMask >> (8 * k)) & 0xFF;
}

/* True when some row lists the image byte position. */
bool params_table_uses_byte(int position);

/* Row indices of the parameters the panel edits. */
enum ParamRow : int {
    PARAM_GAIN = 0,
    PARAM_BRAKE = 1,
    PARAM_PULSE_MAX = 2,
    PARAM_PULSE_MIN = 4,
    PARAM_MAX_ANGLE = 5,
    PARAM_MID_ANGLE = 6,
    PARAM_MIN_ANGLE = 7,
    PARAM_STALL_TIME1 = 8,
    PARAM_STALL_FORCE1 = 10,
    PARAM_STALL_FORCE2 = 11,
    PARAM_STALL_FORCE3 = 12,
    PARAM_DEADBAND1 = 14,
    PARAM_POWER_MAX = 22,
    PARAM_SLOW_START = 25,
    PARAM_ARM_DIR = 31,
    PARAM_STALL_TIME2 = 36,
    PARAM_STALL_TIME3 = 37,
};
