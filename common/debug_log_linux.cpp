/* Linux debugger output channel: standard error, one write per line so lines never interleave. */
#include "common/debug_log.h"

#include <cstring>
#include <unistd.h>

void dbg_log_platform_write(const char* line) {
    size_t len = strlen(line);
    while (len > 0) {
        ssize_t n = write(STDERR_FILENO, line, len);
        if (n <= 0) return;
        line += n;
        len -= static_cast<size_t>(n);
    }
}
