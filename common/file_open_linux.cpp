/* UTF-8 paths are the file system's own bytes on Linux. */
#include "common/file_open.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

FILE* file_open_read_utf8(const char* path) {
    if (path == nullptr) return nullptr;
    /* Non-blocking, so that a named pipe without a writer does not hold the open; the type is
     * checked on what was opened, not on the name. */
    const int fd = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return nullptr;
    struct stat st;
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        close(fd);
        return nullptr;
    }
    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    FILE* f = fdopen(fd, "rb");
    if (f == nullptr) close(fd);
    return f;
}

bool file_replace_begin(const char* path, FileReplace* r) {
    if (path == nullptr || r == nullptr) return false;
    *r = FileReplace{};
    const size_t len = strlen(path);
    if (len == 0 || len >= sizeof r->target) return false;
    struct stat st;
    mode_t mode = 0644;
    if (stat(path, &st) == 0) {
        if (!S_ISREG(st.st_mode)) return false;
        mode = st.st_mode & 0777; /* the saved file keeps the old one's permissions */
    }
    memcpy(r->target, path, len + 1);
    snprintf(r->temp_path, sizeof r->temp_path, "%s.XXXXXX", path);
    const int fd = mkstemp(r->temp_path);
    if (fd < 0) return false;
    fchmod(fd, mode);
    r->f = fdopen(fd, "wb");
    if (r->f == nullptr) {
        close(fd);
        unlink(r->temp_path);
        return false;
    }
    return true;
}

bool file_replace_commit(FileReplace* r, bool written) {
    if (r == nullptr || r->f == nullptr) return false;
    bool ok = written && fflush(r->f) == 0 && ferror(r->f) == 0 && fsync(fileno(r->f)) == 0;
    ok = fclose(r->f) == 0 && ok;
    r->f = nullptr;
    if (ok && rename(r->temp_path, r->target) == 0) return true;
    unlink(r->temp_path);
    return false;
}
