/**
 * servo_cli's operations on the servo and on parameter files, each run the way the window runs
 * it (the same core calls, frames, checks and messages), with a time-out on every answer:
 * open and close the port, read and write the servo information, read and write the parameters,
 * import and save parameter files, convert between the two formats, and the comparison that
 * verifies a write.
 *
 * This file pair is the one place where servo_cli reaches into the core's shared state (the
 * transaction mode, the parameter source, the read cache); everything else goes through module
 * calls.
 */
#pragma once

#include "params/param_table.h"
#include "protocol/frames.h"

#include <cstdint>
#include <string>
#include <vector>

/* Exit codes of servo_cli, also the results of the operations below. */
enum CliExit : int {
    CLI_OK = 0,
    CLI_MISMATCH = 1,  /* verify found differing fields; production FAIL */
    CLI_USAGE = 2,     /* bad command line, or a value the window's checks refuse */
    CLI_NO_PORT = 3,   /* no adapter, or the port cannot be opened */
    CLI_NO_ANSWER = 4, /* no valid answer within the time-out */
    CLI_BAD_FILE = 5,  /* a parameter file that cannot be read, written or converted */
};

enum class Family { None, Block, Register };

/* "block", "register" or "none". */
const char* family_name(Family family);

/* What a servo holds, or is meant to hold after a write: the 35-byte block of the block family,
 * or the 13 wire values of the register family (RegisterValue order; LS and RS as the bytes the
 * servo reports). */
struct ServoImage {
    Family family = Family::None;
    uint8_t block[PARAM_BLOCK_BYTES] = {};
    uint16_t words[REG_VALUE_COUNT] = {};
};

/* One field that differs between what was meant and what was read back. */
struct FieldDiff {
    std::string field;
    int64_t expected;
    int64_t read;
};

/* An operation's result: a CliExit, plus servo_cli's own explanation where the window would
 * have shown nothing (empty when its messages say it all). */
struct Outcome {
    int code = CLI_OK;
    std::string text;
};

/* Back to a fresh program for the next servo: protocol state, parameter arrays and panel as at
 * start, no timers. The import's line counters carry on, as in the window. */
void servo_fresh_start();

/* The USB serial adapters present, as the window's port list shows them. */
std::vector<std::string> servo_discover_ports();

/* One turn of the window's hot-plug monitor (discovery, 100 ms debounce, opening the adapter
 * plugged in, closing the one pulled out). */
void servo_hot_plug_check();

/* Path of the adapter the hot-plug monitor opened ("" when none is open). */
std::string servo_port_name();

/* Opens a serial device by path (any tty, pseudo-terminals included) as the port button would. */
Outcome servo_open(const char* path);

/* Closes the port (about 200 ms, as SerialClose takes). */
void servo_close();

/* True while the port is open (the hot-plug monitor may have opened or closed it). */
bool servo_port_open();

/* Reads the servo information into the session's information fields. */
Outcome servo_info_read(uint32_t timeout_ms);

/* Writes the type and date (texts as the user would type them into the four fields). */
Outcome servo_info_write(const char* type, const char* year, const char* month, const char* day,
                         uint32_t timeout_ms);

/* Reads the parameters as the window's read button does (both families asked) and, on success,
 * what the servo reported. */
Outcome servo_params_read(uint32_t timeout_ms, ServoImage* read);

/* Writes the parameters on the panel the way their family takes them (the parameter source of
 * the last read or import) and gives what the servo is meant to hold afterwards. */
Outcome servo_params_write(uint32_t timeout_ms, ServoImage* expected);

/* What a write of the panel's parameters would leave in the servo, without sending anything. */
void servo_params_expected(ServoImage* expected);

/* Fields that differ; a family that differs is the one field "family". */
std::vector<FieldDiff> servo_compare(const ServoImage& expected, const ServoImage& read);

/* Imports a parameter file into the panel as the window's import does. Any message besides
 * "Successfully imported!" (a bad line, a value the panel refuses) makes it a bad file. */
Outcome params_file_import(const char* path);

/* The family of the parameters on the panel (parameter source). */
Family params_family();

/* Saves the panel's parameters as the window's save does right after a read, to path. The file
 * appears whole or not at all. */
Outcome params_file_save(const char* path);

/* Converts a parameter file to the other format. not_carried lists what the target cannot hold. */
Outcome params_file_convert(const char* in, const char* out, Family* from, std::vector<std::string>* not_carried);

/* The panel values by name (the sixteen entries, then "Inversion" 0 or 1), as shown. */
struct PanelValue {
    const char* name;
    int32_t value;
};
std::vector<PanelValue> panel_values();
