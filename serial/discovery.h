/**
 * Port discovery behind enumerate_com_ports (serial/Serial.h): the part shared by the platform
 * scans (serial/discovery_linux.cpp, serial/discovery_win32.cpp). Internal to the serial link,
 * its tests and its bench; each platform adds its own test hooks (serial/discovery_linux.h,
 * serial/discovery_win32.h).
 *
 * A scan's result is kept until the platform reports a change or 50 ms pass, so the 5 ms
 * hot-plug check stays cheap.
 */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

constexpr uint32_t DISCOVERY_RESCAN_MS = 50; /* longest a kept scan is trusted without notification */

#include "serial/Serial.h"

/* The port table as discovery fills it (the serial link's own files only). */
PortTable& serial_port_table_mut();

/* The kept-scan rule of enumerate_com_ports on every platform: runs scan (which fills the port
 * table) when nothing is kept, when the platform reported a change, or when the kept scan is
 * DISCOVERY_RESCAN_MS old; otherwise the table keeps the kept scan's names. Returns 1 if at least
 * one port is listed. */
int discovery_scan_or_keep(bool changed, void (*scan)());

/* The descriptor that turns readable when the platform reports ports coming or going (Linux: the
 * change-notification descriptor), for the loop's wait to sleep on beside its own; -1 when there
 * is none (Windows, or no notification). From the first call on, the hot-plug check reads the
 * descriptor only after discovery_wait_handle_ready: a caller that takes the handle must wait on
 * it in every round. */
int discovery_wait_handle();

/* The loop's wait found the handle readable: the next enumerate_com_ports reads what changed. */
void discovery_wait_handle_ready();

/* Drops the kept scan: the next enumerate_com_ports scans again. */
void discovery_invalidate();

/* Natural order of port names: digit runs compare by value, so COM2 comes before COM10 and
 * ttyUSB2 before ttyUSB10. */
bool discovery_name_less(const std::string& a, const std::string& b);

/* Fills portNames/portCount with the found names in natural order: at most MAX_PORTS, names
 * that do not fit an entry left out. Returns 1 if portCount >= 1. */
int discovery_fill_port_table(std::vector<std::string>& names);
