/**
 * Port discovery behind enumerate_com_ports (serial/Serial.h), implemented per platform
 * (serial/discovery_linux.cpp). Internal to the serial link, its tests and its bench.
 *
 * On Linux a port is an entry of the tty class directory (/sys/class/tty) whose name starts with
 * "tty", whose resolved `device` link contains "USB" or "VID_" (compared in upper case) and whose
 * node exists in the device directory (/dev); its name is the node's path. The scan's result is
 * kept until a change notification on either directory arrives or 50 ms pass.
 */
#pragma once

#include <cstdint>

constexpr uint32_t DISCOVERY_RESCAN_MS = 50; /* longest a kept scan is trusted without notification */

/* One full scan of the given roots into portNames/portCount (at most MAX_PORTS, natural name
 * order). Returns 1 if portCount >= 1; 0 when none was found or the class directory cannot be
 * read (logged). */
int enumerate_com_ports_in(const char* sys_root, const char* dev_root);

/* Points discovery at other roots (null: /sys/class/tty and /dev) and drops the kept scan.
 * watch = false leaves out the change notifications, so only the periodic scan finds changes. */
void discovery_set_roots(const char* sys_root, const char* dev_root, bool watch);

/* Drops the kept scan: the next enumerate_com_ports scans again. */
void discovery_invalidate();
