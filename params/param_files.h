/**
 * The two parameter text formats, read by the import action and written by the save action.
 *
 *  - ConfigBuffer (block family): 36 lines "ConfigBuffer[k] = v;", k 0..35, line 0 the write
 *    command byte 64, lines 1..35 the register bytes 0..34.
 *  - JVN (register family): 14 lines "KP:v" ... "LS:v" with wire values (keys, order and
 *    factors in params/register_family.h).
 *
 * Files are plain ASCII with LF line ends. Every user message goes through the prompts in the
 * language in force; messages carry file content only as arguments, never as formats.
 */
#pragma once

#include <cstddef>
#include <cstdint>

constexpr int CONFIGBUFFER_LINES = 36;           /* ConfigBuffer[0..35] */
constexpr int IMPORT_LINE_CHARS = 299;           /* longer lines are read in pieces */
constexpr int IMPORT_MAX_ERROR_PROMPTS = 20;     /* further bad lines of one import go to the log only */
constexpr size_t PARAM_FILE_MESSAGE_SIZE = 1024; /* a message of the import or save, cut to fit */

/* Results of the import and save actions. */
enum ParamFileResult : int {
    PARAM_FILE_OK = 0,
    PARAM_FILE_CANCELLED = 1,       /* the dialog was cancelled: nothing shown */
    PARAM_FILE_NO_SOURCE = -1,      /* save with nothing read or imported */
    PARAM_FILE_BAD_EXTENSION = -2,  /* not a .txt path */
    PARAM_FILE_OPEN_FAILED = -3,    /* file could not be opened or created */
    PARAM_FILE_UNKNOWN_FORMAT = -4, /* first significant line is of neither format */
    PARAM_FILE_NO_DATA = -5,        /* no good line in this run yet */
    PARAM_FILE_WRITE_FAILED = -6,   /* writing or closing the file failed */
};

/* True when the file name's last dot starts ".txt" in any letter case, and nothing follows. */
bool params_path_has_txt_extension(const char* path);

/* ---- import ---- */

/* The whole import action: remembers the directory, asks for a file, imports it. Returns a
 * ParamFileResult. */
int params_import_run();

/* Imports the file at path into the panel (extension check, line by line parse with messages,
 * final panel update). The directory is not touched. Returns a ParamFileResult. */
int params_import_path(const char* path);

/* Import buffer byte at a ConfigBuffer index (0..35), key value by file line (0..13), and the two line
 * counters; they persist from one import to the next within a run. */
uint8_t params_import_byte(int index);
int32_t params_import_key(int key);
int32_t params_import_line_count();
int32_t params_import_good_lines();

/* Back to a fresh run's import state; tests call it between cases. */
void params_import_reset();

/* ---- export ---- */

/* Writes the 36-line ConfigBuffer file at path from the block frame counted from its command
 * byte (36 bytes: 0x40 then register bytes 0..34) and tells the user. Returns a ParamFileResult. */
int params_export_configbuffer_path(const char* path, const uint8_t* frame_from_cmd);

/* Save dialog (no overwrite question) and params_export_configbuffer_path, with the current
 * directory restored afterwards. Returns a ParamFileResult. */
int params_export_configbuffer(const uint8_t* frame_from_cmd);

/* Checks the .txt extension, writes the 14-line JVN file from the record (file order) and
 * tells the user. Returns a ParamFileResult. */
int params_export_jvn_path(const char* path, const int32_t* record);

/* Save dialog (with overwrite question) and params_export_jvn_path; the directory is restored
 * only after a successful save. Returns a ParamFileResult. */
int params_export_jvn(const int32_t* record);
