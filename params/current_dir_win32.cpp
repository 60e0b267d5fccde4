/* The remembered current directory of the file actions (Windows: the wide calls, so a folder
 * name outside the ANSI code page comes back intact). */
#include "params/file_dialog.h"

#include "common/debug_log.h"

#include <windows.h>

#include <string>

namespace {
struct CwdState {
    std::wstring saved;
    bool valid = false;
};
CwdState g_cwd;
} // namespace

bool file_dialog_save_cwd() {
    g_cwd.valid = false;
    const DWORD need = GetCurrentDirectoryW(0, nullptr); /* terminator included */
    if (need == 0) {
        dbg_log("[Warning] GetCurrentDirectoryW failed, error=%lu\n", GetLastError());
        return false;
    }
    std::wstring buf(need, L'\0');
    const DWORD got = GetCurrentDirectoryW(need, &buf[0]);
    if (got == 0 || got >= need) { /* failed, or changed by another thread in between */
        dbg_log("[Warning] GetCurrentDirectoryW failed, error=%lu\n", GetLastError());
        return false;
    }
    buf.resize(got);
    g_cwd.saved = buf;
    g_cwd.valid = true;
    return true;
}

bool file_dialog_restore_cwd() {
    if (!g_cwd.valid) return false;
    if (!SetCurrentDirectoryW(g_cwd.saved.c_str())) {
        dbg_log("[Warning] SetCurrentDirectoryW failed, error=%lu\n", GetLastError());
        return false;
    }
    return true;
}
