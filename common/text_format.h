/* UTF-8 message texts: formatting into fixed buffers without splitting a character. */
#pragma once

#include "common/printf_format.h"

#include <cstddef>
#include <cstdint>

/* snprintf into buf (cap bytes); a character cut at the end is dropped whole. Returns the
 * length written. */
size_t text_format(char* buf, size_t cap, const char* fmt, ...) PRINTF_FORMAT(3, 4);

/* Copies text into buf (cap bytes) with every byte that is not part of valid UTF-8 replaced by
 * U+FFFD, cut on a character boundary. Returns the length written. */
size_t text_sanitize_utf8(char* buf, size_t cap, const char* text);

/* Writes head, then each of the n bytes as "%02X " (the byte dumps of the debug log), into buf
 * (cap bytes); a byte that no longer fits whole is left out with all after it. Returns the
 * length written. */
size_t text_hex_dump(char* buf, size_t cap, const char* head, const uint8_t* bytes, size_t n);
