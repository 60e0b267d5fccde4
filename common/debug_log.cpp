#include "common/debug_log.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace {
dbg_log_sink_fn g_sink = nullptr;
constexpr size_t LINE_BUFFER_SIZE = 2048; /* longer lines are cut */
} // namespace

void dbg_log_set_sink(dbg_log_sink_fn sink) { g_sink = sink; }

void dbg_log(const char* fmt, ...) {
    if (fmt == nullptr) return;
    char line[LINE_BUFFER_SIZE];
    va_list args;
    va_start(args, fmt);
    const int n = vsnprintf(line, sizeof line - 1, fmt, args);
    va_end(args);
    if (n < 0) return;
    size_t len = strlen(line);
    if (len == 0 || line[len - 1] != '\n') {
        line[len] = '\n';
        line[len + 1] = '\0';
    }
    if (g_sink != nullptr)
        g_sink(line);
    else
        dbg_log_platform_write(line);
}
