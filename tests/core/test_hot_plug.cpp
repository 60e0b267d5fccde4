/* Port discovery over a built sysfs/dev tree and the port list it feeds; the hot-plug check and the
 * port button, driven tick by tick with a test clock, over such a tree whose nodes lead to
 * pseudo-terminals. */
#include "tests/core/serial_test_support.h"

#include <poll.h>
#include <sys/file.h>

using namespace serial_test;

namespace {

using PortDiscoveryTest = TreeFixture;

class HotPlugTest : public TreeFixture {
  protected:
    static void tick() {
        g_test_now += 5;
        hot_plug_check();
    }
    static void run(int ms) {
        for (int t = 0; t < ms; t += 5)
            tick();
    }
    /* Ticks until cond holds (at most limit_ms); returns the milliseconds it took, or -1. */
    static int ticks_until(const std::function<bool()>& cond, int limit_ms = 500) {
        for (int t = 0; t <= limit_ms; t += 5, tick())
            if (cond()) return t;
        return -1;
    }
    static bool is_open() { return serial_ports_state().isSerialOpen == 1; }
    void plug(const std::string& name, const PtyPair& pty) { tree.add(name, USB, pty.path()); }
    void pull(const std::string& name, PtyPair& pty) {
        tree.remove(name);
        pty.hang_up();
    }
    /* The open port is the one whose far end receives what we write. */
    static bool port_leads_to(PtyPair& pty) {
        const std::vector<uint8_t> probe = {0x8E, 0x00, 0x00, 0x8E};
        return SerialWrite(probe.data(), 4) == 4 && pty.receive(4) == probe;
    }
    /* The port panel has the open (or closed) look and this button caption. */
    static void expect_panel(bool open, const char* caption) {
        EXPECT_EQ(fake_port_panel().look, open ? FakePortPanel::Opened : FakePortPanel::Closed);
        EXPECT_EQ(fake_port_panel().caption, caption);
    }
};

} // namespace

TEST_F(HotPlugTest, plugged_adapter_opens_100ms_after_it_is_first_seen_even_after_a_bounce) {
    PtyPair a;
    plug("ttyUSB0", a);
    run(60);
    tree.remove("ttyUSB0"); /* gone during its debounce: the next plug-in starts afresh */
    run(20);
    plug("ttyUSB0", a);
    EXPECT_EQ(ticks_until(is_open), 105); /* first seen at the next tick */
    expect_panel(true, "#000000 关闭端口#");
    EXPECT_EQ(fake_port_panel().options, tree.node("ttyUSB0") + "\n");
    EXPECT_TRUE(port_leads_to(a));
    EXPECT_TRUE(fake_prompts().empty());
}

TEST_F(HotPlugTest, pulling_the_only_adapter_closes_the_port_and_tells_the_user_until_replugged) {
    PtyPair a, b;
    plug("ttyUSB0", a);
    ASSERT_GE(ticks_until(is_open), 0);
    run(10);
    lang_set_chinese(0);
    pull("ttyUSB0", a);
    EXPECT_GE(ticks_until([] { return !is_open(); }, 50), 0);
    run(100);
    expect_panel(false, "#000000 Open Port#");
    EXPECT_TRUE(fake_port_panel().lang_disabled);
    EXPECT_EQ(prompt_texts(), std::vector<std::string>{"Device removed!"});
    plug("ttyUSB0", b);
    EXPECT_GE(ticks_until(is_open), 100);
    EXPECT_TRUE(fake_prompts()[0].closed) << "the removal notice goes once an adapter is back";
    EXPECT_FALSE(fake_port_panel().lang_disabled);
    EXPECT_TRUE(port_leads_to(b));
}

TEST_F(HotPlugTest, pulling_one_of_two_adapters_reopens_the_other_or_says_in_chinese_that_it_cannot) {
    for (bool held : {false, true}) {
        SCOPED_TRACE(held ? "the other port held by another program" : "the other port free");
        SetUp();
        PtyPair a, b;
        plug("ttyUSB0", a);
        plug("ttyUSB1", b);
        ASSERT_GE(ticks_until(is_open), 0);
        run(10); /* the count change that follows the open */
        ASSERT_TRUE(port_leads_to(a));
        const int other = held ? open(b.path().c_str(), O_RDWR | O_NOCTTY) : -1;
        ASSERT_TRUE(!held || flock(other, LOCK_EX | LOCK_NB) == 0);
        lang_set_chinese(0);
        pull("ttyUSB0", a);
        run(30);
        EXPECT_EQ(fake_port_panel().options, tree.node("ttyUSB1") + "\n");
        expect_panel(!held, held ? "#000000 Open Port#" : "#000000 Close Port#");
        EXPECT_EQ(prompt_texts(), held ? std::vector<std::string>{"打开串口失败!"} : std::vector<std::string>{});
        EXPECT_TRUE(held || port_leads_to(b));
        if (held) close(other);
        tree.remove("ttyUSB1");
        TearDown();
    }
}

TEST_F(HotPlugTest, a_failed_automatic_open_shows_the_box_again_at_the_next_plug_in) {
    PtyPair a;
    const int other = open(a.path().c_str(), O_RDWR | O_NOCTTY);
    ASSERT_EQ(flock(other, LOCK_EX | LOCK_NB), 0);
    plug("ttyUSB0", a);
    run(150);
    EXPECT_FALSE(is_open());
    EXPECT_EQ(fake_platform().message_boxes.size(), 1u);
    tree.remove("ttyUSB0");
    run(20);
    plug("ttyUSB0", a);
    run(150);
    EXPECT_EQ(fake_platform().message_boxes.size(), 2u);
    close(other);
}

TEST_F(PortDiscoveryTest, lists_only_usb_ports_with_a_node_in_natural_order) {
    for (const char* name : {"ttyUSB10", "ttyUSB1", "ttyACM0", "ttyUSB0", "rfcomm0" /* not a tty name */})
        tree.add(name, USB);
    tree.add("ttyS0", "pnp0/00:00");
    tree.add("tty0", "");                         /* virtual: no device at all */
    tree.add("ttyUSB5", USB, "", false);          /* gone from the device directory */
    tree.add("ttyXR0", "platform/exar_vid_04e2"); /* vendor id in the path */
    EXPECT_EQ(enumerate_com_ports_in(tree.sys().c_str(), tree.dev().c_str()), 1);
    const PortTable& t = serial_port_table();
    EXPECT_EQ(std::vector<std::string>(t.portNames, t.portNames + t.portCount),
              (std::vector<std::string>{tree.node("ttyACM0"), tree.node("ttyUSB0"), tree.node("ttyUSB1"),
                                        tree.node("ttyUSB10"), tree.node("ttyXR0")}));
}

/* Read by the hot-plug check, change notifications show a port at once (the hot-plug cases); here
 * they come through the loop's wait, and without them a rescan every 50 ms finds it. */
TEST_F(PortDiscoveryTest, a_port_that_comes_or_goes_is_seen_through_the_loops_wait_or_within_100_ms_without_it) {
    for (bool waited_on : {true, false}) {
        SCOPED_TRACE(waited_on);
        discovery_set_roots(tree.sys().c_str(), tree.dev().c_str(), waited_on);
        const int handle = waited_on ? discovery_wait_handle() : -1;
        if (waited_on) {
            ASSERT_GE(handle, 0);
        }
        auto loop_wait = [&] { /* sleeps until the handle turns readable, then says so */
            pollfd p = {handle, POLLIN, 0};
            if (handle >= 0 && poll(&p, 1, 10000) == 1) discovery_wait_handle_ready();
        };
        EXPECT_EQ(discover_ports(), 0);
        tree.add("ttyUSB0", USB);
        loop_wait();
        int waited = 0;
        for (; discover_ports() == 0 && waited < 200; waited += 5)
            g_test_now += 5;
        EXPECT_LE(waited, waited_on ? 0 : 100);
        tree.remove("ttyUSB0");
        loop_wait();
        for (waited = 0; discover_ports() == 1 && waited < 200; waited += 5)
            g_test_now += 5;
        EXPECT_LE(waited, waited_on ? 0 : 100);
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
