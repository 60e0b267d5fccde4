/**
 * Windows port discovery's device source (serial/discovery_win32.cpp), replaceable so that tests
 * can feed it devices.
 *
 * A port is a present device exposing the serial-port interface class whose interface path or
 * instance id names a USB device ("USB" or "VID_", compared in upper case) and whose "PortName"
 * registry value starts with "COM"; its name is that value ("COM3").
 */
#pragma once

#include "serial/discovery.h"

#include <cstddef>
#include <cstdint>

constexpr size_t COM_DEVICE_TEXT_CHARS = 512; /* an interface path or an instance id, cut to fit */
constexpr size_t COM_PORT_NAME_CHARS = 32;    /* the "PortName" value: 64 bytes */

/* One present serial-port interface as the device-setup service describes it. */
struct ComDevice {
    wchar_t path[COM_DEVICE_TEXT_CHARS];        /* interface path ("\\?\usb#vid_0403&pid_6001#...") */
    wchar_t instance_id[COM_DEVICE_TEXT_CHARS]; /* device instance id ("USB\VID_0403&PID_6001\...") */
    wchar_t port_name[COM_PORT_NAME_CHARS];     /* the "PortName" value; "" when it could not be read */
};

/* A listing of the present serial-port interfaces, member by member. */
struct ComDeviceSource {
    /* Starts a listing. 0, or the system's error number. */
    uint32_t (*open)();
    /* Describes member `index` (counted from 0): 1 filled, 0 the member could not be described
     * (skipped), -1 no more members. */
    int (*member)(uint32_t index, ComDevice* out);
    /* Ends the listing. */
    void (*close)();
};

/* Replaces the device source (copied); null restores the device-setup service. Drops the kept
 * scan. */
void discovery_set_source(const ComDeviceSource* source);
