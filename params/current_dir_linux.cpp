/* The remembered current directory of the file actions (POSIX). */
#include "params/file_dialog.h"

#include "common/debug_log.h"

#include <cerrno>
#include <cstring>
#include <string>
#include <unistd.h>

namespace {
struct CwdState {
    std::string saved;
    bool valid = false;
};
CwdState g_cwd;
} // namespace

bool file_dialog_save_cwd() {
    std::string buf(256, '\0');
    while (getcwd(&buf[0], buf.size()) == nullptr) {
        if (errno != ERANGE || buf.size() > (1u << 20)) {
            dbg_log("[Warning] getcwd failed: %s\n", strerror(errno));
            g_cwd.valid = false;
            return false;
        }
        buf.resize(buf.size() * 2);
    }
    g_cwd.saved.assign(buf.c_str());
    g_cwd.valid = true;
    return true;
}

bool file_dialog_restore_cwd() {
    if (!g_cwd.valid) return false;
    if (chdir(g_cwd.saved.c_str()) != 0) {
        dbg_log("[Warning] chdir(\"%s\") failed: %s\n", g_cwd.saved.c_str(), strerror(errno));
        return false;
    }
    return true;
}
