/* Windows debugger output channel: each line goes to OutputDebugStringW as UTF-16, and as UTF-8 to
 * standard error when the process has one (tests and wine read it there). */
#include "common/debug_log.h"

#include <windows.h>

#include <cstring>

namespace {
constexpr int WIDE_LINE_SIZE = 2048 + 1; /* a formatted line (2048 bytes at most) never needs more units */
}

void dbg_log_platform_write(const char* line) {
    wchar_t wide[WIDE_LINE_SIZE];
    /* Without MB_ERR_INVALID_CHARS a stray byte becomes U+FFFD instead of losing the line. */
    if (MultiByteToWideChar(CP_UTF8, 0, line, -1, wide, WIDE_LINE_SIZE) > 0)
        OutputDebugStringW(wide);
    else
        OutputDebugStringA(line);

    const HANDLE err = GetStdHandle(STD_ERROR_HANDLE);
    if (err == nullptr || err == INVALID_HANDLE_VALUE) return; /* a GUI process without a console */
    DWORD len = static_cast<DWORD>(strlen(line));
    while (len > 0) {
        DWORD written = 0;
        if (!WriteFile(err, line, len, &written, nullptr) || written == 0) return;
        line += written;
        len -= written;
    }
}
