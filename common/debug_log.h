/**
 * Diagnostic lines for developers (never shown to the user).
 *
 * Each call formats one message into a stack buffer and hands it to the platform's debugger
 * output channel: standard error on Linux, OutputDebugStringW on Windows, one line per call. The
 * text is UTF-8.
 */
#pragma once

#include "common/printf_format.h"

#include <cstdarg>

/* Formats and writes one diagnostic line; a missing final newline is added. */
void dbg_log(const char* fmt, ...) PRINTF_FORMAT(1, 2);

/* As dbg_log, with a va_list. */
void dbg_logv(const char* fmt, va_list args);

/* Replaces the output channel (tests capture lines this way); null restores the platform one. */
typedef void (*dbg_log_sink_fn)(const char* line);
void dbg_log_set_sink(dbg_log_sink_fn sink);

/* The platform's own output channel (defined per platform). */
void dbg_log_platform_write(const char* line);
