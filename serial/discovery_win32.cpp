/**
 * Port discovery on Windows.
 *
 * Implements enumerate_com_ports and serial/discovery_win32.h:
 *  - the device source: SetupDiGetClassDevsW on the serial-port interface class
 *    (GUID_DEVINTERFACE_COMPORT, present devices, device interfaces), then per member its
 *    interface path, instance id and the "PortName" value of its device key;
 *  - the scan: members naming a USB device with a "COM" port name, in natural order;
 *  - the kept scan: reused for 50 ms. NOTE: change notifications need a window or a callback
 *    registration; the 50 ms rescan finds an adapter well within the plug-in debounce anyway.
 */
#include "serial/Serial.h"
#include "serial/discovery.h"
#include "serial/discovery_win32.h"

#include "common/clock.h"
#include "common/debug_log.h"
#include "common/utf16_win32.h"

#include <windows.h>

#include <setupapi.h>

#include <cwchar>
#include <string>
#include <vector>

namespace {

constexpr uint32_t MEMBER_LIMIT = 4 * MAX_PORTS; /* a listing that never ends stops here */

/* GUID_DEVINTERFACE_COMPORT {86E0D1E0-8089-11D0-9CE4-08003E301F73}, defined here so that no
 * GUID library is needed. */
const GUID COMPORT_INTERFACE_CLASS = {0x86E0D1E0, 0x8089, 0x11D0, {0x9C, 0xE4, 0x08, 0x00, 0x3E, 0x30, 0x1F, 0x73}};

/* ---- the device-setup service as the device source ---- */

HDEVINFO g_devices = INVALID_HANDLE_VALUE;

uint32_t setup_open() {
    g_devices = SetupDiGetClassDevsW(&COMPORT_INTERFACE_CLASS, nullptr, nullptr,
                                     DIGCF_PRESENT | DIGCF_DEVICEINTERFACE);
    return g_devices == INVALID_HANDLE_VALUE ? static_cast<uint32_t>(GetLastError()) : 0;
}

void copy_text(wchar_t* dst, size_t cap, const wchar_t* src) {
    wcsncpy(dst, src, cap - 1);
    dst[cap - 1] = L'\0';
}

int setup_member(uint32_t index, ComDevice* out) {
    SP_DEVICE_INTERFACE_DATA iface = {};
    iface.cbSize = sizeof iface;
    if (!SetupDiEnumDeviceInterfaces(g_devices, nullptr, &COMPORT_INTERFACE_CLASS, index, &iface)) return -1;

    DWORD size = 0;
    if (SetupDiGetDeviceInterfaceDetailW(g_devices, &iface, nullptr, 0, &size, nullptr) ||
        GetLastError() != ERROR_INSUFFICIENT_BUFFER || size < sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_W))
        return 0;
    std::vector<unsigned char> buf(size);
    auto* detail = reinterpret_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_W*>(buf.data());
    detail->cbSize = sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_W);
    SP_DEVINFO_DATA device = {};
    device.cbSize = sizeof device;
    if (!SetupDiGetDeviceInterfaceDetailW(g_devices, &iface, detail, size, nullptr, &device)) return 0;

    *out = ComDevice{};
    copy_text(out->path, COM_DEVICE_TEXT_CHARS, detail->DevicePath);
    if (!SetupDiGetDeviceInstanceIdW(g_devices, &device, out->instance_id, COM_DEVICE_TEXT_CHARS, nullptr))
        out->instance_id[0] = L'\0';

    const HKEY key = SetupDiOpenDevRegKey(g_devices, &device, DICS_FLAG_GLOBAL, 0, DIREG_DEV, KEY_READ);
    if (key != INVALID_HANDLE_VALUE) {
        DWORD type = 0;
        DWORD bytes = sizeof out->port_name - sizeof(wchar_t); /* room for a terminator it may lack */
        if (RegQueryValueExW(key, L"PortName", nullptr, &type, reinterpret_cast<BYTE*>(out->port_name), &bytes) !=
                ERROR_SUCCESS ||
            type != REG_SZ)
            out->port_name[0] = L'\0';
        RegCloseKey(key);
    }
    return 1;
}

void setup_close() {
    if (g_devices != INVALID_HANDLE_VALUE) SetupDiDestroyDeviceInfoList(g_devices);
    g_devices = INVALID_HANDLE_VALUE;
}

const ComDeviceSource SETUP_SOURCE = {setup_open, setup_member, setup_close};

/* ---- the scan ---- */

struct DiscoveryState {
    ComDeviceSource source = SETUP_SOURCE;
};
DiscoveryState g_disc;

/* The text, upper-cased, contains "USB" or "VID_". */
bool names_usb_device(const wchar_t* text) {
    std::wstring upper(text);
    for (wchar_t& c : upper)
        if (c >= L'a' && c <= L'z') c = static_cast<wchar_t>(c - L'a' + L'A');
    return upper.find(L"USB") != std::wstring::npos || upper.find(L"VID_") != std::wstring::npos;
}

int scan_ports() {
    serial_port_table_mut().portCount = 0;
    const uint32_t error = g_disc.source.open();
    if (error != 0) {
        dbg_log("[ERROR] SetupDiGetClassDevs failed, error: %u\n", error);
        return 0;
    }
    std::vector<std::string> found;
    ComDevice dev;
    for (uint32_t i = 0; i < MEMBER_LIMIT; ++i) {
        const int r = g_disc.source.member(i, &dev);
        if (r < 0) break;
        if (r == 0) continue;
        dev.path[COM_DEVICE_TEXT_CHARS - 1] = L'\0';
        dev.instance_id[COM_DEVICE_TEXT_CHARS - 1] = L'\0';
        dev.port_name[COM_PORT_NAME_CHARS - 1] = L'\0';
        if (!names_usb_device(dev.path) && !names_usb_device(dev.instance_id)) continue; /* a motherboard port */
        if (wcsncmp(dev.port_name, L"COM", 3) != 0) continue;
        char name[COM_PORT_NAME_CHARS * 3];
        if (utf8_from_utf16(dev.port_name, name, sizeof name)) found.push_back(name);
    }
    g_disc.source.close();
    return discovery_fill_port_table(found);
}

} // namespace

int enumerate_com_ports() { return discovery_scan_or_keep(false, [] { scan_ports(); }); }

/* No change notification here: the kept scan's 50 ms rescan finds new ports. */
int discovery_wait_handle() { return -1; }

void discovery_wait_handle_ready() {}


void discovery_set_source(const ComDeviceSource* source) {
    g_disc.source = source != nullptr ? *source : SETUP_SOURCE;
    discovery_invalidate();
}
