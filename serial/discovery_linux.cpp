/**
 * Port discovery on Linux.
 *
 * Implements enumerate_com_ports and serial/discovery_linux.h:
 *  - the scan: entries of /sys/class/tty named tty*, kept when the resolved `device` link
 *    contains "USB" or "VID_" (upper case) and the node exists in /dev; natural name order;
 *  - the cheap check between scans: one inotify descriptor watching both directories for
 *    entries coming and going. A kept scan is reused until an event arrives or 50 ms pass, so a
 *    system that sends no events (sysfs never does; some /dev setups don't either) still sees
 *    an adapter within 50 ms. Once the loop's wait sleeps on the descriptor it is read only when
 *    that wait found it readable, not in every tick (an idle window ticks 62 times a second);
 *  - cheap scans: resolving an entry's device link is what costs (some 15 us each, with 60-odd
 *    virtual terminals listed), so each name's verdict is kept while the name stays listed. A
 *    name belongs to one driver, so it cannot change bus without leaving the list first.
 */
#include "serial/Serial.h"
#include "serial/discovery.h"
#include "serial/discovery_linux.h"

#include "common/clock.h"
#include "common/debug_log.h"

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <string>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>
#include <unordered_map>
#include <vector>

namespace {

constexpr const char* SYSTEM_TTY_CLASS_ROOT = "/sys/class/tty";
constexpr const char* SYSTEM_DEV_ROOT = "/dev";
constexpr uint32_t WATCH_MASK = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF;

typedef std::unordered_map<std::string, bool> UsbVerdicts; /* entry name -> its device is on USB */

struct DiscoveryState {
    std::string sys_root = SYSTEM_TTY_CLASS_ROOT;
    std::string dev_root = SYSTEM_DEV_ROOT;
    bool watch = true;
    bool watch_ready = false; /* set-up tried for the current roots */
    int notify_fd = -1;
    bool waited_on = false; /* the loop's wait polls notify_fd and reports it readable */
    bool readable = false;  /* reported readable since the last read */
    UsbVerdicts usb_by_name; /* of the names listed by the last scan */
};

DiscoveryState g_disc;

void watch_close() {
    if (g_disc.notify_fd >= 0) close(g_disc.notify_fd);
    g_disc.notify_fd = -1;
    g_disc.watch_ready = false;
    g_disc.waited_on = false;
    g_disc.readable = false;
}

void watch_open() {
    g_disc.watch_ready = true;
    if (!g_disc.watch) return;
    const int fd = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (fd < 0) {
        dbg_log("[warning] port watch unavailable (%s): scanning every %u ms\n", strerror(errno), DISCOVERY_RESCAN_MS);
        return;
    }
    const bool sys_ok = inotify_add_watch(fd, g_disc.sys_root.c_str(), WATCH_MASK) >= 0;
    const bool dev_ok = inotify_add_watch(fd, g_disc.dev_root.c_str(), WATCH_MASK) >= 0;
    if (!sys_ok && !dev_ok) {
        close(fd);
        return;
    }
    g_disc.notify_fd = fd;
}

/* True when an entry came or went since the last look; reads every pending event. */
bool watch_changed() {
    if (g_disc.notify_fd < 0) return false;
    if (g_disc.waited_on && !g_disc.readable) return false; /* the wait saw nothing arrive */
    g_disc.readable = false;
    alignas(inotify_event) char buf[4096];
    bool changed = false;
    while (read(g_disc.notify_fd, buf, sizeof buf) > 0) changed = true;
    return changed;
}

/* The entry's device sits on a USB bus: its resolved `device` link names it. */
bool is_usb_device(const std::string& sys_root, const char* name) {
    const std::string link = sys_root + "/" + name + "/device";
    char resolved[PATH_MAX];
    if (realpath(link.c_str(), resolved) == nullptr) return false; /* virtual terminals have none */
    for (char* p = resolved; *p != '\0'; ++p) *p = static_cast<char>(toupper(static_cast<unsigned char>(*p)));
    return strstr(resolved, "USB") != nullptr || strstr(resolved, "VID_") != nullptr;
}

/* One scan into portNames/portCount; verdicts are taken from `known` and replaced by this scan's. */
int scan_ports(const char* sys_root, const char* dev_root, UsbVerdicts& known) {
    serial_port_table_mut().portCount = 0;
    if (sys_root == nullptr || dev_root == nullptr) return 0;
    DIR* dir = opendir(sys_root);
    if (dir == nullptr) {
        dbg_log("[ERROR] SetupDiGetClassDevs failed, error: %u\n", static_cast<unsigned>(errno));
        return 0;
    }
    std::vector<std::string> found;
    UsbVerdicts listed;
    const std::string sys(sys_root);
    while (const dirent* e = readdir(dir)) {
        if (strncmp(e->d_name, "tty", 3) != 0) continue; /* the naming rule of serial ports */
        const auto kept = known.find(e->d_name);
        const bool usb = kept != known.end() ? kept->second : is_usb_device(sys, e->d_name);
        listed.emplace(e->d_name, usb);
        if (!usb) continue;
        const std::string node = std::string(dev_root) + "/" + e->d_name;
        struct stat st;
        if (stat(node.c_str(), &st) != 0) continue; /* not (or no longer) in the device directory */
        found.push_back(node);
    }
    closedir(dir);
    known.swap(listed);

    return discovery_fill_port_table(found);
}

} // namespace

int enumerate_com_ports_in(const char* sys_root, const char* dev_root) {
    UsbVerdicts none;
    return scan_ports(sys_root, dev_root, none);
}

int enumerate_com_ports() {
    if (!g_disc.watch_ready) watch_open();
    return discovery_scan_or_keep(watch_changed(), [] {
        scan_ports(g_disc.sys_root.c_str(), g_disc.dev_root.c_str(), g_disc.usb_by_name);
    });
}

int discovery_wait_handle() {
    if (!g_disc.watch_ready) watch_open();
    if (g_disc.notify_fd >= 0) g_disc.waited_on = true;
    return g_disc.notify_fd;
}

void discovery_wait_handle_ready() { g_disc.readable = true; }

void discovery_set_roots(const char* sys_root, const char* dev_root, bool watch) {
    watch_close();
    g_disc.sys_root = sys_root != nullptr ? sys_root : SYSTEM_TTY_CLASS_ROOT;
    g_disc.dev_root = dev_root != nullptr ? dev_root : SYSTEM_DEV_ROOT;
    g_disc.watch = watch;
    discovery_invalidate();
    g_disc.usb_by_name.clear();
}

