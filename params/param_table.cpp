#include "params/param_table.h"

namespace {
/* Packs one or two image bytes (or masks) into the int32 form of the table. */
constexpr int32_t two(int first, int second) {
    return first | (second << 8);
}
} // namespace

// clang-format off
const ParameterDescriptor parameterTable[PARAM_COUNT] = {
    /* idx  name                 default  min  max  bytes  image byte(s)  mask(s) */
    {0,  "Gain",                 65,   0, 255,  1, 0,           0xFF},
    {1,  "Brake",                50,   0, 255,  1, 1,           0xFF},
    {2,  "PulseMax",             2000, 0, 4096, 2, two(2, 3),   two(0xFF, 0xFF)},
    {3,  "PulseMiddle",          1500, 0, 4096, 2, two(4, 5),   two(0xFF, 0xFF)},
    {4,  "PulseMin",             1000, 0, 4096, 2, two(6, 7),   two(0xFF, 0xFF)},
    {5,  "MaxAngle",             3500, 0, 4096, 2, two(8, 9),   two(0xFF, 0xFF)},
    {6,  "MidAngle",             2048, 0, 4096, 2, two(10, 11), two(0xFF, 0xFF)},
    {7,  "MinAngle",             596,  0, 4096, 2, two(12, 13), two(0xFF, 0xFF)},
    {8,  "StallTime1",           3,    0, 255,  1, 14,          0xFF},
    {9,  "NULL",                 13,   0, 15,   1, 15,          0x0F},
    {10, "StallForce1",          1,    0, 15,   1, 15,          0xF0},
    {11, "StallForce2",          0,    0, 15,   1, 16,          0x0F},
    {12, "StallForce3",          0,    0, 15,   1, 16,          0xF0},
    {13, "SpeedMax",             200,  0, 255,  2, two(17, 18), two(0xFF, 0xFF)},
    {14, "Deadband1",            3,    0, 15,   1, 19,          0x0F},
    {15, "Deadband2",            6,    0, 15,   1, 19,          0xF0},
    {16, "Time",                 5,    0, 255,  1, 20,          0x0F},
    {17, "NULL",                 0,    0, 1,    1, 20,          0x10},
    {18, "PPM/SSR",              0,    0, 1,    1, 20,          0x20},
    {19, "NULL",                 0,    0, 1,    1, 20,          0xC0},
    {20, "POTs/Mag",             1,    0, 1,    1, 21,          0x80},
    {21, "AnalogDelay",          100,  0, 239,  1, 21,          0x7F},
    {22, "PowerMax",             100,  0, 255,  1, 22,          0xFF},
    {23, "LoopTime",             10,   0, 255,  1, 23,          0xFF},
    {24, "NULL",                 0,    0, 1,    1, 24,          0x0F},
    {25, "SlowStart",            1,    0, 255,  2, two(24, 28), two(0xF0, 0xF0)},
    {26, "NULL",                 0,    0, 1,    1, 25,          0x0F},
    {27, "SampleFilter",         5,    0, 15,   1, 25,          0xF0},
    {28, "PowerMin",             5,    0, 15,   1, 26,          0x0F},
    {29, "HallLinear",           2,    1, 6,    1, 26,          0xF0},
    {30, "Sensitivity",          1,    0, 15,   1, 27,          0x0F},
    {31, "ArmDir",               1,    0, 1,    1, 27,          0x10},
    {32, "MotorDir",             1,    0, 1,    1, 27,          0x20},
    {33, "NULL",                 0,    0, 1,    1, 27,          0xC0},
    {34, "StallAngle",           3,    0, 15,   1, 28,          0x0F},
    {35, "AnalogAux",            12,   0, 255,  1, 29,          0xFF},
    {36, "StallTime2",           0,    0, 255,  1, 30,          0xFF},
    {37, "StallTime3",           0,    0, 255,  1, 31,          0xFF},
    {38, "NULL",                 1,    0, 1,    1, 32,          0x01},
    {39, "LTR/Release",          1,    0, 1,    1, 32,          0x02},
    {40, "Standard/Rotation",    1,    0, 1,    1, 32,          0x04},
    {41, "Self_recovery",        1,    0, 1,    1, 32,          0x08},
    {42, "NULL",                 1,    0, 1,    1, 32,          0xF0},
    {43, "Clamping",             72,   0, 255,  1, 33,          0xFF},
    {44, "Integral",             3,    0, 15,   1, 34,          0x0F},
    {45, "NULL",                 1,    0, 1,    1, 34,          0xF0},
};
// clang-format on

const ParameterDescriptor* params_table_row(int index) {
    if (index < 0 || index >= PARAM_COUNT) return nullptr;
    return &parameterTable[index];
}

bool params_table_uses_byte(int position) {
    for (const ParameterDescriptor& row : parameterTable)
        for (int k = 0; k < row.byteCount; ++k)
            if (params_row_byte(row, k) == position) return true;
    return false;
}
