/* UTF-8 paths are the file system's own bytes on Linux. */
#include "common/file_open.h"

#include <sys/stat.h>

FILE* file_open_utf8(const char* path, const char* mode) {
    if (path == nullptr || mode == nullptr) return nullptr;
    FILE* f = fopen(path, mode);
    if (f == nullptr) return nullptr;
    struct stat st;
    if (fstat(fileno(f), &st) != 0 || S_ISDIR(st.st_mode)) {
        fclose(f);
        return nullptr;
    }
    return f;
}
