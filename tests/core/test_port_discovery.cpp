/* Port discovery over a built sysfs/dev tree, and the port list it feeds. */
#include "common/clock.h"
#include "serial/Serial.h"
#include "serial/discovery_linux.h"
#include "tests/core/serial_test_support.h"
#include "tests/fakes/core/fake_port_panel.h"

#include <poll.h>

using namespace serial_test;

namespace {

uint64_t g_now = 50000;
uint64_t fake_now() {
    return g_now;
}

class PortDiscoveryTest : public ::testing::Test {
  protected:
    void SetUp() override {
        serial_ports_reset();
        fake_port_panel_reset();
        clock_set_source(fake_now);
        discovery_set_roots(tree.sys().c_str(), tree.dev().c_str(), true);
    }
    void TearDown() override {
        discovery_set_roots(nullptr, nullptr, true);
        clock_set_source(nullptr);
    }
    std::vector<std::string> names() const { return std::vector<std::string>(serial_port_table().portNames, serial_port_table().portNames + serial_port_table().portCount); }
    PortTree tree;
};

} // namespace

TEST_F(PortDiscoveryTest, lists_only_usb_ports_with_a_node_in_natural_order) {
    for (const char* name : {"ttyUSB10", "ttyUSB1", "ttyACM0", "ttyUSB0", "rfcomm0" /* not a tty name */})
        tree.add(name, USB);
    tree.add("ttyS0", PLATFORM);
    tree.add("tty0", VIRTUAL);
    tree.add("ttyUSB5", USB, "", false);          /* gone from the device directory */
    tree.add("ttyXR0", "platform/exar_vid_04e2"); /* vendor id in the path */
    EXPECT_EQ(enumerate_com_ports_in(tree.sys().c_str(), tree.dev().c_str()), 1);
    EXPECT_EQ(names(), (std::vector<std::string>{tree.node("ttyACM0"), tree.node("ttyUSB0"), tree.node("ttyUSB1"),
                                                 tree.node("ttyUSB10"), tree.node("ttyXR0")}));
}

TEST_F(PortDiscoveryTest, a_port_that_comes_or_goes_is_seen_at_the_next_look) {
    enum Mode { Read, Waited, Unnotified };
    for (Mode mode : {Read, Waited, Unnotified}) {
        SCOPED_TRACE(mode == Read ? "notifications read by the check" : mode == Waited ? "notifications through the loop's wait" : "no notifications");
        discovery_set_roots(tree.sys().c_str(), tree.dev().c_str(), mode != Unnotified);
        const int handle = mode == Waited ? discovery_wait_handle() : -1;
        if (mode == Waited) {
            ASSERT_GE(handle, 0);
        }
        /* the loop's wait: sleeps until the handle turns readable, then reports it */
        auto wait_for_notice = [&] {
            if (handle < 0) return;
            pollfd p = {handle, POLLIN, 0};
            ASSERT_EQ(poll(&p, 1, 10000), 1);
            discovery_wait_handle_ready();
        };
        EXPECT_EQ(discover_ports(), 0);
        EXPECT_EQ(serial_ports_state().autoPortIndex, -1);
        tree.add("ttyUSB0", USB);
        wait_for_notice();
        int waited = 0; /* without notifications a rescan every 50 ms must find it */
        for (; discover_ports() == 0 && waited < 200; waited += 5)
            g_now += 5;
        EXPECT_LE(waited, mode != Unnotified ? 0 : 100);
        EXPECT_EQ(serial_ports_state().autoPortIndex, 0);
        tree.remove("ttyUSB0");
        wait_for_notice();
        for (waited = 0; discover_ports() == 1 && waited < 200; waited += 5)
            g_now += 5;
        EXPECT_LE(waited, mode != Unnotified ? 0 : 100);
    }
}

TEST_F(PortDiscoveryTest, more_ports_than_the_list_text_holds_are_cut_not_overflowed) {
    for (int i = 0; i < 80; ++i)
        tree.add("ttyUSB" + std::to_string(i), USB);
    EXPECT_EQ(discover_ports(), 1);
    EXPECT_EQ(serial_port_table().portCount, 80);
    updateddListWithoutOpen();
    EXPECT_LT(fake_port_panel().options.size(), static_cast<size_t>(PORT_OPTIONS_SIZE));
    EXPECT_EQ(fake_port_panel().options.back(), '\n');
    EXPECT_EQ(fake_port_panel().options.rfind(tree.node("ttyUSB0") + "\n", 0), 0u);
}
