/* UTF-8 paths on Windows: converted to UTF-16 for the wide calls, since the narrow ones would read
 * them in the ANSI code page. */
#include "common/file_open.h"

#include "common/utf16_win32.h"

#include <cstring>
#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>
#include <windows.h>

FILE* file_open_read_utf8(const char* path) {
    if (path == nullptr) return nullptr;
    const std::wstring wpath = utf16_from_utf8(path);
    if (wpath.empty()) return nullptr;
    FILE* f = _wfopen(wpath.c_str(), L"rb");
    if (f == nullptr) return nullptr;
    struct _stat64 st;
    if (_fstat64(_fileno(f), &st) != 0 || (st.st_mode & _S_IFREG) == 0) { /* a folder, NUL, CON, a pipe */
        fclose(f);
        return nullptr;
    }
    return f;
}

bool file_replace_begin(const char* path, FileReplace* r) {
    if (path == nullptr || r == nullptr) return false;
    *r = FileReplace{};
    const size_t len = strlen(path);
    if (len == 0 || len >= sizeof r->target) return false;
    const std::wstring wpath = utf16_from_utf8(path);
    if (wpath.empty()) return false;
    const DWORD attributes = GetFileAttributesW(wpath.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) return false;
    memcpy(r->target, path, len + 1);
    for (unsigned n = GetCurrentProcessId() & 0xFFFF, tries = 0; tries < 100; ++tries, ++n) {
        snprintf(r->temp_path, sizeof r->temp_path, "%s.%u.tmp", path, n);
        const int fd = _wopen(utf16_from_utf8(r->temp_path).c_str(), _O_CREAT | _O_EXCL | _O_WRONLY | _O_BINARY,
                              _S_IREAD | _S_IWRITE);
        if (fd < 0) continue;
        r->f = _fdopen(fd, "wb");
        if (r->f != nullptr) return true;
        _close(fd);
        _wremove(utf16_from_utf8(r->temp_path).c_str());
        return false;
    }
    return false;
}

bool file_replace_commit(FileReplace* r, bool written) {
    if (r == nullptr || r->f == nullptr) return false;
    bool ok = written && fflush(r->f) == 0 && ferror(r->f) == 0 && _commit(_fileno(r->f)) == 0;
    ok = fclose(r->f) == 0 && ok;
    r->f = nullptr;
    const std::wstring temp = utf16_from_utf8(r->temp_path);
    if (ok && MoveFileExW(temp.c_str(), utf16_from_utf8(r->target).c_str(),
                          MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
        return true;
    _wremove(temp.c_str());
    return false;
}
