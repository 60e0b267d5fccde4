/**
 * The parameter arrays and the four conversions between the register block and the panel:
 *
 *   parmeterBuff / working image --unpack--> parameterValues --update_par--> panel
 *   panel --getParametersFromUI--> paramArray --prepare-for-write (int2Byte)--> parmeterBuff
 *
 * All state here is process-wide, as the rest of the program shares it: the protocol layer fills
 * parmeterBuff from a read and sets the parameter source, the text files read and write it.
 */
#pragma once

#include "params/param_table.h"

#include <cstdint>

/* Where the parameters on screen came from; decides how write and save work. */
enum ParameterSourceKind : int32_t {
    PARAM_SOURCE_NONE = 0,     /* nothing read or imported yet */
    PARAM_SOURCE_BLOCK = 1,    /* block-family frame or a ConfigBuffer file */
    PARAM_SOURCE_REGISTER = 2, /* register-family replies or a JVN file */
};
/* The parameter state of the whole program. Other modules read it through params_state() and
 * change it only through the functions below. */
struct ParamsState {
    int32_t defaultValues[PARAM_COUNT] = {};      /* factory defaults, loaded once from the table */
    int32_t parameterValues[PARAM_COUNT] = {};    /* the working values: unpacked, shown by the panel */
    int32_t paramArray[PARAM_ARRAY_SIZE] = {};    /* gathered from the panel before a write or save */
    /* The register block as last read, imported or packed (bytes 0..34; room for the copies of
     * 36). The name's spelling is the one the whole program uses. */
    uint8_t parmeterBuff[PARAM_IMAGE_SIZE] = {};
    uint8_t g_param_image[PARAM_IMAGE_SIZE] = {}; /* scratch block that unpacking reads and packing writes */
    int32_t parameterSource = PARAM_SOURCE_NONE;  /* decides how write and save work */

    bool defaults_loaded = false;
    int high_byte = -1;        /* largest image byte met while packing */
    int reg27_sensitivity = 0; /* the three fields of byte 27, remembered across rows and calls */
    int reg27_arm_dir = 0;
    int reg27_motor_dir = 0;
};

/* The state, read-only. */
const ParamsState& params_state();

/* Records where the parameters on screen came from (a read or an import). */
void params_set_source(int32_t source);

/* Takes n bytes (at most 37) as parmeterBuff, the block a write or save packs over. */
void params_set_block(const uint8_t* bytes, int n);

/* Takes n bytes (at most 37) as parmeterBuff and shows the block they start with
 * (params_show_block): a block read from the servo (35 bytes) or a ConfigBuffer import (36). */
void params_take_block(const uint8_t* bytes, int n);

/* Replaces the 46 working values (a caller that shows values of its own, as a bench does). */
void params_set_working(const int32_t* values);

/* Replaces the first count values of paramArray (what a write packs, without a panel). */
void params_set_array(const int32_t* values, int count);

/* Fills defaultValues from the table and logs each entry, the first time only; returns true
 * when it loaded them now. */
bool params_load_defaults();

/* Start-up pass over all 46 registers: packs all-zero values into a cleared working image and
 * unpacks it into parameterValues (the panel keeps showing the defaults). */
void params_startup_registers();

/* Value of one row read from an image (big-endian over its masked bits); 0 for a bad row. */
int32_t params_unpack_value(const uint8_t* image, int row);

/* Takes the 35 bytes of image as the working image and writes entries 0..count-1 of
 * parameterValues from it. */
void params_unpack(const uint8_t* image, int count);

/* Packs the first count values of parameterValues into image (at least PARAM_IMAGE_SIZE bytes)
 * with the fixed rules of the shared bytes. */
void int2Byte(uint8_t* image, int count);

/* Highest image byte index met by int2Byte so far (block length bookkeeping); -1 before any. */
int params_packed_high_byte();

/* Takes the 35 register bytes of block as the working image, unpacks them into cleared
 * parameterValues and shows them with update_par (a block read from the servo or a file). */
void params_show_block(const uint8_t* block);

/* Copies byteCount bytes of paramArray into parameterValues (at most the 46 values), packs them
 * over a copy of parmeterBuff and merges every byte a row uses back into parmeterBuff. */
void params_prepare_write(int byteCount);

/* Shows count values (46) in the panel. Clamps rows 0, 1 (255), 2, 4..7 (4096) and the stall
 * times 8, 36, 37 (100) in the array itself; sets the level boxes and groups from the stall
 * times and the direction box from row 31. */
void update_par(int32_t* values, int count);

/* Fills paramArray from the panel (unshown rows from parameterValues, rows past the table 0),
 * logs it; returns 46. */
int getParametersFromUI();

/* Back to the state of a fresh process (all arrays zero, source 0, defaults not loaded); tests
 * call it between cases. */
void params_reset();
