/* UTF-8 paths on Windows: converted to UTF-16 for _wfopen, since fopen would read them in the
 * ANSI code page. */
#include "common/file_open.h"

#include "common/utf16_win32.h"

#include <sys/stat.h>

FILE* file_open_utf8(const char* path, const char* mode) {
    if (path == nullptr || mode == nullptr) return nullptr;
    const std::wstring wpath = utf16_from_utf8(path);
    const std::wstring wmode = utf16_from_utf8(mode);
    if (wpath.empty() || wmode.empty()) return nullptr;
    FILE* f = _wfopen(wpath.c_str(), wmode.c_str());
    if (f == nullptr) return nullptr;
    struct _stat64 st;
    if (_fstat64(_fileno(f), &st) != 0 || (st.st_mode & _S_IFDIR) != 0) {
        fclose(f);
        return nullptr;
    }
    return f;
}
