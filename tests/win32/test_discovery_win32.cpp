/* Windows port discovery fed through its device source: which present devices become ports. How
 * soon a change is seen is the shared kept-scan rule, checked by the Linux discovery test. */
#include "serial/Serial.h"
#include "serial/discovery_win32.h"

#include <gtest/gtest.h>

#include <cwchar>
#include <string>
#include <vector>

namespace {

struct FedDevice {
    std::wstring path, instance_id, port_name;
    bool described = true; /* false: the service could not describe this member */
};

struct FedSource {
    std::vector<FedDevice> devices;
    uint32_t open_error = 0;
    int listings_open = 0;
};
FedSource g_fed;

uint32_t fed_open() {
    if (g_fed.open_error == 0) ++g_fed.listings_open;
    return g_fed.open_error;
}

void fill(wchar_t* dst, size_t cap, const std::wstring& src) {
    /* As the registry may: no terminator when the value fills the buffer. */
    const size_t n = src.size() < cap ? src.size() : cap;
    wmemcpy(dst, src.data(), n);
    if (n < cap) dst[n] = L'\0';
}

int fed_member(uint32_t index, ComDevice* out) {
    if (index >= g_fed.devices.size()) return -1;
    const FedDevice& d = g_fed.devices[index];
    if (!d.described) return 0;
    fill(out->path, COM_DEVICE_TEXT_CHARS, d.path);
    fill(out->instance_id, COM_DEVICE_TEXT_CHARS, d.instance_id);
    fill(out->port_name, COM_PORT_NAME_CHARS, d.port_name);
    return 1;
}

void fed_close() { --g_fed.listings_open; }

FedDevice usb_adapter(const std::wstring& port, const std::wstring& serial = L"A1") {
    return {L"\\\\?\\usb#vid_0403&pid_6001#" + serial + L"#{86e0d1e0-8089-11d0-9ce4-08003e301f73}",
            L"USB\\VID_0403&PID_6001\\" + serial, port};
}

class WinDiscovery : public ::testing::Test {
  protected:
    void SetUp() override {
        serial_ports_reset();
        g_fed = FedSource{};
        const ComDeviceSource fed = {fed_open, fed_member, fed_close};
        discovery_set_source(&fed);
    }
    void TearDown() override { discovery_set_source(nullptr); }
    static std::vector<std::string> names() {
        const PortTable& t = serial_port_table();
        return std::vector<std::string>(t.portNames, t.portNames + t.portCount);
    }
};

} // namespace

TEST_F(WinDiscovery, usb_devices_with_a_com_port_name_are_listed_in_natural_order) {
    g_fed.devices = {
        usb_adapter(L"COM10", L"A"),
        {L"\\\\?\\acpi#pnp0501#1#{86e0d1e0-8089-11d0-9ce4-08003e301f73}", L"ACPI\\PNP0501\\1", L"COM1"},
        /* the vendor id only in the driver's own bus name */
        {L"\\\\?\\ftdibus#vid_0403+pid_6015+x#0000#{86e0d1e0-8089-11d0-9ce4-08003e301f73}",
         L"FTDIBUS\\VID_0403+PID_6015+X\\0000", L"COM3"},
        /* USB only in the instance id */
        {L"\\\\?\\root#ports#0000#{86e0d1e0-8089-11d0-9ce4-08003e301f73}", L"USB\\VID_1A86&PID_7523\\5&1", L"COM4"},
        usb_adapter(L"LPT2", L"B"), /* not a COM port */
        usb_adapter(L"", L"C"),     /* no readable PortName */
        {L"", L"", L"", false},     /* not describable: skipped, the listing goes on */
        usb_adapter(L"COM2", L"D"),
        usb_adapter(std::wstring(L"COM") + std::wstring(40, L'9'), L"E"), /* a value that fills its buffer */
    };
    EXPECT_EQ(discover_ports(), 1);
    EXPECT_EQ(names(), (std::vector<std::string>{"COM2", "COM3", "COM4", "COM10", "COM" + std::string(28, '9')}));
    EXPECT_EQ(serial_ports_state().autoPortIndex, 0);
    EXPECT_EQ(g_fed.listings_open, 0) << "every listing is ended";
}

TEST_F(WinDiscovery, a_refused_listing_or_only_motherboard_ports_give_no_port) {
    g_fed.devices = {usb_adapter(L"COM3")};
    g_fed.open_error = 5; /* access denied */
    EXPECT_EQ(discover_ports(), 0);
    EXPECT_EQ(serial_port_table().portCount, 0);
    EXPECT_EQ(serial_ports_state().autoPortIndex, -1);
    discovery_invalidate();
    g_fed.open_error = 0;
    g_fed.devices = {{L"\\\\?\\acpi#pnp0501#1#{86e0d1e0-8089-11d0-9ce4-08003e301f73}", L"ACPI\\PNP0501\\1", L"COM1"}};
    EXPECT_EQ(discover_ports(), 0);
    EXPECT_EQ(serial_ports_state().autoPortIndex, -1);
}
