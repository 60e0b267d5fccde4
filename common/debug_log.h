/**
 * Diagnostic lines for developers (never shown to the user).
 *
 * Each call formats one message into a stack buffer and hands it to the platform's debugger
 * output channel: standard error on Linux, one line per call. The text is UTF-8.
 */
#pragma once

#include "common/compiler.h"

/* Formats and writes one diagnostic line; a missing final newline is added. */
void dbg_log(const char* fmt, ...) SERVO_PRINTF_FORMAT(1, 2);

/* Replaces the output channel (tests capture lines this way); null restores the platform one. */
typedef void (*dbg_log_sink_fn)(const char* line);
void dbg_log_set_sink(dbg_log_sink_fn sink);

/* The platform's own output channel (defined per platform). */
void dbg_log_platform_write(const char* line);
