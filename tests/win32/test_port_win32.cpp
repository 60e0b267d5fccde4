/* The Windows port calls on stand-ins wine can give: a regular file opened through the device
 * namespace takes the overlapped write and read paths; comm calls on it fail, and every call on
 * the closed-port handle comes back with the error the receive path names "invalid handle". */
#include "serial/comHandle.h"
#include "serial/port.h"
#include "serial/rx_ring.h"
#include "tests/fakes/common/fake_platform.h"
#include "tests/support/files.h"

#include <windows.h>

#include <cstdlib>
#include <vector>

namespace {

class WinPort : public ::testing::Test {
  protected:
    /* A file opened as a port would be; its ANSI path suits port_open's name conversion. */
    port_handle_t open_file_as_port(const std::string& name) {
        std::string path = dir / name;
        for (char& c : path)
            if (c == '/') c = '\\';
        write_file(path, "");
        int error = 0;
        const port_handle_t h = port_open(path.c_str(), &error);
        EXPECT_TRUE(port_handle_valid(h)) << "error " << error;
        return h;
    }
    TempDir dir;
};

} // namespace

TEST_F(WinPort, overlapped_write_and_read_move_every_byte) {
    const port_handle_t h = open_file_as_port("line.bin");
    ASSERT_TRUE(port_handle_valid(h));
    std::vector<uint8_t> sent(3000);
    for (size_t i = 0; i < sent.size(); ++i)
        sent[i] = static_cast<uint8_t>(i * 7);
    const PortIoResult w = port_write(h, sent.data(), static_cast<uint32_t>(sent.size()), 1000);
    EXPECT_EQ(w.status, PortIoStatus::Done);
    EXPECT_EQ(w.count, sent.size());
    const PortIoResult none = port_write(h, sent.data(), 0, 1000); /* a write of nothing still completes */
    EXPECT_EQ(none.status, PortIoStatus::Done);
    EXPECT_EQ(none.count, 0u);
    std::vector<uint8_t> got(sent.size());
    const PortIoResult r = port_read(h, got.data(), static_cast<uint32_t>(got.size()));
    EXPECT_EQ(r.status, PortIoStatus::Done);
    EXPECT_EQ(r.count, got.size());
    EXPECT_EQ(got, sent);
    int error = 0;
    EXPECT_EQ(port_close(h, &error), 0);
}

TEST_F(WinPort, refused_comm_calls_and_closed_handles_report_their_errors) {
    const port_handle_t h = open_file_as_port("not_a_port.bin");
    ASSERT_TRUE(port_handle_valid(h));
    int error = 0;
    uint32_t count = 99;
    EXPECT_EQ(port_arm_rx_wait(h, &error), -1) << "a file has no comm events";
    EXPECT_NE(error, 0);
    error = 0;
    EXPECT_EQ(port_queued(h, &count, &error), -1);
    EXPECT_NE(error, 0);
    ASSERT_EQ(port_close(h, &error), 0);
    /* A receive message that arrives after the close finds the closed-port handle. */
    uint8_t byte = 0;
    for (port_handle_t gone : {PORT_HANDLE_INVALID, PORT_HANDLE_NONE}) {
        error = 0;
        EXPECT_EQ(port_queued(gone, &count, &error), -1);
        EXPECT_EQ(port_error_kind(error), PortErrorKind::InvalidHandle);
        const PortIoResult r = port_read(gone, &byte, 1);
        EXPECT_NE(r.status, PortIoStatus::Done);
        EXPECT_EQ(port_error_kind(r.error), PortErrorKind::InvalidHandle);
        const PortIoResult w = port_write(gone, &byte, 1, 1000);
        EXPECT_NE(w.status, PortIoStatus::Done);
        EXPECT_EQ(port_error_kind(w.error), PortErrorKind::InvalidHandle);
        EXPECT_EQ(port_close(gone, &error), -1);
        EXPECT_EQ(port_error_kind(error), PortErrorKind::InvalidHandle);
    }
    error = 0;
    EXPECT_EQ(port_open("COM250", &error), PORT_HANDLE_INVALID) << "no such port";
    EXPECT_NE(error, 0);
}

TEST_F(WinPort, bytes_written_to_a_loopback_line_come_back_through_the_receive_path) {
    const char* name = getenv("SERVO_LOOPBACK_PORT"); /* tools/test_windows.sh links one for wine */
    if (name == nullptr || name[0] == '\0') GTEST_SKIP() << "no loopback port";
    fake_platform_reset();
    rx_ring_reset();
    ASSERT_NE(SerialOpen(name), PORT_HANDLE_NONE);
    const std::vector<uint8_t> frame = {0x81, 0x00, 0x00, 0x81};
    EXPECT_EQ(SerialWrite(frame.data(), static_cast<int>(frame.size())), 4);
    static std::vector<uint8_t> echoed; /* as the parser would take them */
    echoed.clear();
    for (int waited = 0; echoed.size() < frame.size() && waited < 5000; waited += 10) {
        if (rx_ring_state().rxNotifyPending != 0) { /* the wake-up the window would get */
            EXPECT_GE(SerialHandle(), 0);
            rx_ring_drain([](uint8_t b) { echoed.push_back(b); });
        }
        Sleep(10);
    }
    EXPECT_EQ(echoed, frame);
    EXPECT_GE(fake_platform().serial_rx_posts.load(), 1);
    SerialClose();
    EXPECT_TRUE(fake_platform().message_boxes.empty());
}
