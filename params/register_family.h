/**
 * The register family's thirteen values in one table: where each shows on the panel, its wire
 * factor, which read step and bytes of a reply carry it (which is also where the read cache keeps
 * the servo's own bytes for it), its last-read slot (its index here) and its key and line in the
 * register family's text file. The receive parser, the register write, the import and the save
 * all work from it.
 */
#pragma once

#include "common/screen_port.h"

#include <cstdint>

/* The values, by last-read slot. */
enum RegisterValue : int {
    REG_KP, /* gain */
    REG_KD, /* damping */
    REG_OD, /* stall power 1, x 80 on the wire */
    REG_OT, /* stall time 1, x 1000 */
    REG_MD, /* output power, x 80 */
    REG_LA, /* minimum angle */
    REG_MA, /* maximum angle */
    REG_CA, /* middle angle */
    REG_DZ, /* deadband */
    REG_RS, /* direction switch, 0 or 1: the direction box, not an entry */
    REG_LS, /* soft start */
    REG_LP, /* minimum pulse, x 4 */
    REG_MP, /* maximum pulse, x 4 */
    REG_VALUE_COUNT
};
constexpr int REG_VALUE_NONE = -1; /* a data word that carries no value (sent as 0, ignored on read) */

/* Wire factors of the scaled values, in frames and in the text file alike. */
constexpr int32_t REG_PULSE_SCALE = 4;   /* LP, MP */
constexpr int32_t REG_POWER_SCALE = 80;  /* OD, MD */
constexpr int32_t REG_TIME_SCALE = 1000; /* OT */

/* The text file: 14 lines "KP:v" ... "LS:v" in file order; line 11 "LD" carries no value and is
 * always saved as 0. */
constexpr int REG_FILE_LINES = 14;
constexpr int REG_FILE_LINE_LD = 11;

struct RegisterFamilyValue {
    const char* key;  /* its key in the text file */
    PanelEntry entry; /* its panel entry (unused for RS) */
    int32_t scale;    /* wire value = shown value x scale */
    int8_t read_step; /* the read step (0..7) whose reply carries it; also its read-cache entry */
    int8_t read_byte; /* first of its bytes among the reply's four data bytes */
    bool single_byte; /* one byte (the last step's soft start and direction), else a 16-bit word */
    int8_t file_line; /* its line in the text file, 0..13 */
};

/* The table, by RegisterValue. */
extern const RegisterFamilyValue register_family_values[REG_VALUE_COUNT];

/* Key of a text file line, "LD" for the line without a value; null for another line. */
const char* register_file_key(int line);

/* The value saved on a text file line; REG_VALUE_NONE for "LD" or another line. */
int register_value_at_line(int line);

/* The shown value of a register-family value as the panel holds it (RS: 1 when the direction box
 * is checked); 0 for an unknown value. */
int32_t register_value_shown(int value);

/* Shows a value on the panel. RS checks the direction box for 1, unchecks it for 0 and leaves it
 * as it is for anything else. */
void register_value_show(int value, int32_t shown);

/* The shown value times the value's wire factor, cut to 32 bits as the servo's registers and the
 * text file take it. */
int32_t register_value_wire(int value, int32_t shown);
