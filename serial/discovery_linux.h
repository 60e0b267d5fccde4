/**
 * Linux port discovery's hooks for tests and the bench (serial/discovery_linux.cpp).
 *
 * A port is an entry of the tty class directory (/sys/class/tty) whose name starts with "tty",
 * whose resolved `device` link contains "USB" or "VID_" (compared in upper case) and whose node
 * exists in the device directory (/dev); its name is the node's path.
 */
#pragma once

#include "serial/discovery.h"

/* One full scan of the given roots into portNames/portCount (at most MAX_PORTS, natural name
 * order). Returns 1 if portCount >= 1; 0 when none was found or the class directory cannot be
 * read (logged). */
int enumerate_com_ports_in(const char* sys_root, const char* dev_root);

/* Points discovery at other roots (null: /sys/class/tty and /dev) and drops the kept scan.
 * watch = false leaves out the change notifications, so only the periodic scan finds changes. */
void discovery_set_roots(const char* sys_root, const char* dev_root, bool watch);
