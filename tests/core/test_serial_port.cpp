/* The port object over pseudo-terminals: opening (line settings, a port held by another
 * program), write outcomes, closing, and an adapter that vanishes while the port is open; the
 * receive path: the notifier's wake-ups, SerialHandle moving bytes into the 20,480-byte ring (wrap,
 * full ring, cut reads) and the drain that hands them on in arrival order. */
#include "tests/core/serial_test_support.h"

#include <sys/file.h>

using namespace serial_test;

namespace {

std::vector<uint8_t> g_consumed;
void consume(uint8_t b) {
    g_consumed.push_back(b);
}

std::vector<uint8_t> pattern(size_t n, uint8_t first) {
    std::vector<uint8_t> v(n);
    for (size_t i = 0; i < n; ++i)
        v[i] = static_cast<uint8_t>(first + i);
    return v;
}

class RxRingTest : public PortFixture {
  protected:
    void SetUp() override {
        PortFixture::SetUp();
        g_consumed.clear();
    }
    static int posts() { return fake_platform().serial_rx_posts.load(); }
    /* The servo sends bytes; returns once the port holds `total` bytes and a wake-up came. */
    void arrive(const std::vector<uint8_t>& bytes, int total) {
        pty.send(bytes);
        ASSERT_TRUE(wait_until([total] { return queued_at_port() == total && posts() >= 1; }));
    }
};

class SerialPortTest : public CoreFixture {
  protected:
    void SetUp() override {
        CoreFixture::SetUp();
        fds_before = count_open_fds();
        threads_before = count_threads();
    }
    void TearDown() override { SerialClose(); }
    void open_port() { ASSERT_NE(SerialOpen(pty.path().c_str()), PORT_HANDLE_NONE); }
    int write_request() { return SerialWrite(kRequest.data(), 4); }
    const std::vector<uint8_t> kRequest = {0x81, 0x00, 0x00, 0x81};
    PtyPair pty;
    int fds_before = 0;
    int threads_before = 0;
};

} // namespace

TEST_F(SerialPortTest, open_sets_115200_8n2_raw_and_starts_the_notifier) {
    open_port();
    termios t;
    ASSERT_EQ(tcgetattr(static_cast<int>(serial_link_state().g_io_handle.load()), &t), 0);
    EXPECT_EQ(cfgetispeed(&t), speed_t(B115200));
    EXPECT_EQ(cfgetospeed(&t), speed_t(B115200));
    EXPECT_EQ(t.c_cflag & (CSIZE | CSTOPB | PARENB | CLOCAL | CREAD), tcflag_t(CS8 | CSTOPB | CLOCAL | CREAD));
    EXPECT_EQ(t.c_lflag & (ICANON | ECHO | ISIG), 0u) << "raw: bytes pass untouched";
    EXPECT_EQ(t.c_oflag & OPOST, 0u);
    EXPECT_EQ(count_threads(), threads_before + 1);
    EXPECT_TRUE(fake_platform().message_boxes.empty());
}

TEST_F(SerialPortTest, port_held_by_another_program_shows_the_box_once_and_leaves_nothing_behind) {
    const int other = open(pty.path().c_str(), O_RDWR | O_NOCTTY);
    ASSERT_EQ(flock(other, LOCK_EX | LOCK_NB), 0);
    EXPECT_EQ(SerialOpen(pty.path().c_str()), PORT_HANDLE_NONE);
    ASSERT_EQ(fake_platform().message_boxes.size(), 1u);
    EXPECT_EQ(fake_platform().message_boxes[0].text, "Can't Open This Comport");
    EXPECT_EQ(fake_platform().message_boxes[0].caption, "Seiral Open Error");
    EXPECT_EQ(fake_platform().message_boxes[0].icon, MsgBoxIcon::Exclamation);
    EXPECT_EQ(SerialOpen(pty.path().c_str()), PORT_HANDLE_NONE);
    EXPECT_EQ(fake_platform().message_boxes.size(), 1u) << "once until the next plug-in";
    EXPECT_EQ(count_threads(), threads_before);
    close(other);
    EXPECT_EQ(count_open_fds(), fds_before);
}

TEST_F(SerialPortTest, write_that_the_line_cannot_take_times_out_after_a_second) {
    open_port();
    const std::vector<uint8_t> big(64 * 1024, 0x55); /* more than the line buffers while nobody reads */
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(SerialWrite(big.data(), static_cast<int>(big.size())), -5);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(900));
    pty.receive(big.size(), 200); /* the line drains: the next write goes through */
    EXPECT_EQ(write_request(), 4);
    EXPECT_EQ(pty.receive(4), kRequest);
    EXPECT_EQ(SerialWrite(kRequest.data(), 0), 0);
}

TEST_F(SerialPortTest, close_stops_the_thread_frees_the_port_and_a_second_close_is_harmless) {
    open_port();
    pty.send({1, 2, 3});
    ASSERT_TRUE(wait_until([] { return queued_at_port() == 3; }));
    ASSERT_EQ(SerialHandle(), 0);
    SerialClose();
    EXPECT_EQ(count_open_fds(), fds_before);
    EXPECT_EQ(count_threads(), threads_before);
    EXPECT_EQ(write_request(), -1);
    EXPECT_EQ(SerialHandle(), -4) << "a wake-up still queued reads nothing";
    EXPECT_EQ(rx_ring_drain([](uint8_t) {}), 0u) << "the receive ring is emptied";
    SerialClose(); /* a second close is harmless */
    EXPECT_EQ(count_open_fds(), fds_before);
}

TEST_F(SerialPortTest, adapter_vanishing_while_open_neither_spins_nor_leaks) {
    open_port();
    pty.hang_up();
    const long cpu_before = cpu_ms();
    std::this_thread::sleep_for(std::chrono::milliseconds(400));
    EXPECT_LT(cpu_ms() - cpu_before, 100) << "the notifier must not loop on a hung-up port";
    EXPECT_EQ(fake_platform().serial_rx_posts.load(), 0);
    EXPECT_EQ(SerialHandle(), -4);
    EXPECT_EQ(write_request(), -3);
    SerialClose();
    EXPECT_EQ(count_open_fds(), fds_before - 1); /* the test's own end of the line is gone too */
    EXPECT_EQ(count_threads(), threads_before);
}

TEST_F(RxRingTest, bytes_reach_the_consumer_in_order_across_the_wrap) {
    const std::vector<uint8_t> passed(RX_RING_SIZE - 10, 0xEE); /* brings both indices 10 short of the end */
    rx_ring_append(passed.data(), static_cast<uint32_t>(passed.size()));
    rx_ring_drain(nullptr);
    const std::vector<uint8_t> bytes = pattern(30, 0x40);
    arrive(bytes, 30);
    EXPECT_EQ(SerialHandle(), 0);
    EXPECT_EQ(rx_ring_drain(consume), 30u);
    EXPECT_EQ(g_consumed, bytes);
    EXPECT_EQ(rx_ring_drain(consume), 0u);
}

TEST_F(RxRingTest, a_nearly_full_ring_keeps_what_fits_and_a_full_one_drops_the_whole_read) {
    const std::vector<uint8_t> held(RX_RING_SIZE - 6, 0xEE); /* room for 5 */
    rx_ring_append(held.data(), static_cast<uint32_t>(held.size()));
    arrive(pattern(10, 0x10), 10);
    EXPECT_EQ(SerialHandle(), 0); /* 20,479 bytes held: full */
    fake_platform().serial_rx_posts = 0;
    arrive(pattern(10, 0x40), 10);
    EXPECT_EQ(SerialHandle(), -5);
    EXPECT_EQ(queued_at_port(), 0) << "the dropped bytes were read, not left behind";
    EXPECT_EQ(rx_ring_drain(consume), RX_RING_SIZE - 1u);
    EXPECT_EQ(std::vector<uint8_t>(g_consumed.end() - 5, g_consumed.end()), pattern(5, 0x10));
}

TEST_F(RxRingTest, two_bursts_before_the_ui_thread_answers_make_one_wake_up_and_one_read) {
    const std::vector<uint8_t> first = pattern(7, 0x01), second = pattern(9, 0x80);
    arrive(first, 7);
    pty.send(second);
    ASSERT_TRUE(wait_until([] { return queued_at_port() == 16; }));
    const long cpu_before = cpu_ms();
    std::this_thread::sleep_for(std::chrono::milliseconds(400)); /* many waits of the notifier */
    EXPECT_LT(cpu_ms() - cpu_before, 100) << "an unanswered wake-up must not keep the notifier busy";
    EXPECT_EQ(posts(), 1);
    EXPECT_EQ(SerialHandle(), 0);
    rx_ring_drain(consume);
    std::vector<uint8_t> both = first;
    both.insert(both.end(), second.begin(), second.end());
    EXPECT_EQ(g_consumed, both);
    std::this_thread::sleep_for(std::chrono::milliseconds(60));
    EXPECT_EQ(posts(), 1) << "nothing new arrived";
    pty.send({0x55});
    EXPECT_TRUE(wait_until([] { return posts() == 2; })) << "the answered wake-up re-arms the notifier";
}

TEST_F(RxRingTest, a_wake_up_that_could_not_be_posted_is_tried_again) {
    fake_platform().serial_rx_refusals = 3; /* the UI thread's event queue is full for a while */
    pty.send({0x8E, 0x00});
    ASSERT_TRUE(wait_until([] { return posts() == 1; })) << "reception stalled after a refused wake-up";
    EXPECT_EQ(fake_platform().serial_rx_refusals.load(), 0);
    EXPECT_EQ(SerialHandle(), 0);
    EXPECT_EQ(rx_ring_drain(consume), 2u);
}
