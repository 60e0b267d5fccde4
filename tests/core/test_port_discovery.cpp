/* Port discovery over a built sysfs/dev tree, and the port list it feeds. */
#include "tests/core/serial_test_support.h"

using namespace serial_test;

namespace {

class PortDiscoveryTest : public TreeFixture {
  protected:
    static std::vector<std::string> names() {
        const PortTable& t = serial_port_table();
        return std::vector<std::string>(t.portNames, t.portNames + t.portCount);
    }
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
    for (bool notified : {true, false}) {
        SCOPED_TRACE(notified ? "change notifications" : "no change notifications");
        discovery_set_roots(tree.sys().c_str(), tree.dev().c_str(), notified);
        EXPECT_EQ(discover_ports(), 0);
        EXPECT_EQ(serial_ports_state().autoPortIndex, -1);
        tree.add("ttyUSB0", USB);
        int waited = 0; /* without notifications a rescan every 50 ms must find it */
        for (; discover_ports() == 0 && waited < 200; waited += 5)
            g_test_now += 5;
        EXPECT_LE(waited, notified ? 0 : 100);
        EXPECT_EQ(serial_ports_state().autoPortIndex, 0);
        tree.remove("ttyUSB0");
        for (waited = 0; discover_ports() == 1 && waited < 200; waited += 5)
            g_test_now += 5;
        EXPECT_LE(waited, notified ? 0 : 100);
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
