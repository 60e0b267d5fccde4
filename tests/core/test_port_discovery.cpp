/* Port discovery over a built sysfs/dev tree, and the port list it feeds. */
#include "serial/Serial.h"
#include "serial/discovery.h"
#include "tests/core/serial_test_support.h"
#include "tests/fakes/common/log_capture.h"
#include "tests/fakes/core/fake_port_panel.h"

#include "common/clock.h"

#include <gtest/gtest.h>

using namespace serial_test;

namespace {

uint64_t g_now = 50000;
uint64_t fake_now() { return g_now; }

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
    std::vector<std::string> names() const { return std::vector<std::string>(portNames, portNames + portCount); }

    LogCapture log;
    PortTree tree;
};

} // namespace

TEST_F(PortDiscoveryTest, lists_only_usb_ports_with_a_node_in_natural_order) {
    tree.add("ttyUSB10", PortTree::Usb);
    tree.add("ttyUSB1", PortTree::Usb);
    tree.add("ttyS0", PortTree::Platform);
    tree.add("ttyACM0", PortTree::Usb);
    tree.add("tty0", PortTree::Virtual);
    tree.add("ttyUSB0", PortTree::Usb);
    tree.add("ttyUSB5", PortTree::Usb, "", false);           /* gone from the device directory */
    tree.add("rfcomm0", PortTree::Usb);                      /* not a tty name */
    tree.add("ttyXR0", PortTree::Platform, "", true, "platform/exar_vid_04e2"); /* vendor id in the path */

    EXPECT_EQ(enumerate_com_ports_in(tree.sys().c_str(), tree.dev().c_str()), 1);
    EXPECT_EQ(names(), (std::vector<std::string>{tree.node("ttyACM0"), tree.node("ttyUSB0"), tree.node("ttyUSB1"),
                                                 tree.node("ttyUSB10"), tree.node("ttyXR0")}));
}

TEST_F(PortDiscoveryTest, no_usb_port_or_no_class_directory_gives_none) {
    tree.add("ttyS0", PortTree::Platform);
    EXPECT_EQ(discover_ports(), 0);
    EXPECT_EQ(portCount, 0);
    EXPECT_EQ(autoPortIndex, -1);

    EXPECT_EQ(enumerate_com_ports_in("/nonexistent/class/tty", tree.dev().c_str()), 0);
    EXPECT_EQ(portCount, 0);
    EXPECT_TRUE(log.contains("[ERROR] SetupDiGetClassDevs failed, error: 2"));
}

TEST_F(PortDiscoveryTest, a_port_that_comes_or_goes_is_seen_at_the_next_look) {
    EXPECT_EQ(discover_ports(), 0);
    EXPECT_EQ(autoPortIndex, -1);
    tree.add("ttyUSB0", PortTree::Usb);
    EXPECT_EQ(discover_ports(), 1) << "no time has passed: the change notification must carry it";
    EXPECT_EQ(autoPortIndex, 0);
    tree.remove("ttyUSB0");
    EXPECT_EQ(discover_ports(), 0);
}

TEST_F(PortDiscoveryTest, without_change_notifications_a_new_port_is_found_within_100ms) {
    discovery_set_roots(tree.sys().c_str(), tree.dev().c_str(), false);
    EXPECT_EQ(discover_ports(), 0);
    tree.add("ttyUSB0", PortTree::Usb);
    uint64_t waited = 0;
    while (discover_ports() == 0 && waited < 200) {
        g_now += 5;
        waited += 5;
    }
    EXPECT_EQ(portCount, 1);
    EXPECT_LE(waited, 100u);
}

TEST_F(PortDiscoveryTest, more_ports_than_the_list_text_holds_are_cut_not_overflowed) {
    for (int i = 0; i < 80; ++i) tree.add("ttyUSB" + std::to_string(i), PortTree::Usb);
    EXPECT_EQ(discover_ports(), 1);
    EXPECT_EQ(portCount, 80);
    updateddListWithoutOpen();
    EXPECT_LT(fake_port_panel().options.size(), static_cast<size_t>(PORT_OPTIONS_SIZE));
    EXPECT_EQ(fake_port_panel().options.back(), '\n');
    EXPECT_EQ(fake_port_panel().options.rfind(tree.node("ttyUSB0") + "\n", 0), 0u);
}
