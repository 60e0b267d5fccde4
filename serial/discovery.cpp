/* Port discovery's shared part: the natural name order and the port table fill. */
#include "serial/discovery.h"

#include "serial/Serial.h"

#include "common/clock.h"

#include <algorithm>
#include <cctype>
#include <cstring>

bool discovery_name_less(const std::string& a, const std::string& b) {
    size_t i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        const bool da = isdigit(static_cast<unsigned char>(a[i])) != 0;
        const bool db = isdigit(static_cast<unsigned char>(b[j])) != 0;
        if (da && db) {
            size_t ie = i, je = j;
            while (ie < a.size() && isdigit(static_cast<unsigned char>(a[ie]))) ++ie;
            while (je < b.size() && isdigit(static_cast<unsigned char>(b[je]))) ++je;
            while (i + 1 < ie && a[i] == '0') ++i;
            while (j + 1 < je && b[j] == '0') ++j;
            if (ie - i != je - j) return ie - i < je - j;
            const int c = a.compare(i, ie - i, b, j, je - j);
            if (c != 0) return c < 0;
            i = ie;
            j = je;
            continue;
        }
        if (a[i] != b[j]) return static_cast<unsigned char>(a[i]) < static_cast<unsigned char>(b[j]);
        ++i;
        ++j;
    }
    return a.size() - i < b.size() - j;
}

int discovery_fill_port_table(std::vector<std::string>& names) {
    std::sort(names.begin(), names.end(), discovery_name_less);
    serial_port_table_mut().portCount = 0;
    for (const std::string& name : names) {
        if (serial_port_table_mut().portCount >= MAX_PORTS) break;
        if (name.size() >= static_cast<size_t>(PORT_NAME_SIZE)) continue;
        memcpy(serial_port_table_mut().portNames[serial_port_table_mut().portCount], name.c_str(), name.size() + 1);
        ++serial_port_table_mut().portCount;
    }
    return serial_port_table_mut().portCount >= 1 ? 1 : 0;
}

namespace {

/* The scan the hot-plug check keeps between rescans. */
struct KeptScan {
    bool scanned = false;
    int count = 0; /* portCount of the kept scan; the table still holds its names */
    uint32_t last_scan_ms = 0;
};
KeptScan g_kept;

} // namespace

int discovery_scan_or_keep(bool changed, void (*scan)()) {
    PortTable& table = serial_port_table_mut();
    const uint32_t now = clock_ms32();
    if (!g_kept.scanned || changed || clock_elapsed32(now, g_kept.last_scan_ms) >= DISCOVERY_RESCAN_MS) {
        scan();
        g_kept = KeptScan{true, table.portCount, now};
    } else {
        table.portCount = g_kept.count;
    }
    return table.portCount >= 1 ? 1 : 0;
}

void discovery_invalidate() { g_kept.scanned = false; }
