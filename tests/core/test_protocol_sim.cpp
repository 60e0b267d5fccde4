/* End to end over a pseudo-terminal with the servo simulator (tools/servo_sim), for both families,
 * without the window: the real port, notifier thread, receive ring and parser, with a loop that
 * stands in for the UI thread (receive hand-over on each wake-up, timers). The assertions look at
 * what the simulator received (its log), not only at what the tool shows. */
#include "params/param_files.h"
#include "protocol/param_actions.h"
#include "protocol/param_transaction.h"
#include "serial/comHandle.h"
#include "serial/rx_ring.h"
#include "tests/core/protocol_test_support.h"
#include "tests/core/serial_test_support.h"
#include "tests/fakes/common/fake_file_dialog.h"
#include "tests/fakes/common/fake_platform.h"
#include "tests/support/files.h"

#include <csignal>
#include <spawn.h>
#include <sstream>
#include <sys/wait.h>

extern char** environ;

using namespace servo_bytes;

namespace {

/* The tool's clock in these runs: it moves only while the line is quiet (see pump_until). */
uint64_t g_tool_ms = 1000;
uint64_t tool_clock() {
    return g_tool_ms;
}

/* A frame as the simulator logs its receipt: "RX 81 00 00 81", with its remark if any. */
std::string rx_line(const Bytes& bytes, const std::string& remark = "") {
    std::string line = "RX";
    char hex[4];
    for (uint8_t b : bytes) {
        snprintf(hex, sizeof hex, " %02X", b);
        line += hex;
    }
    return remark.empty() ? line : line + " (" + remark + ")";
}

class ProtocolSimTest : public ProtocolFixture {
  protected:
    void SetUp() override {
        ProtocolFixture::SetUp();
        fake_platform_reset();
        fake_file_dialog_reset();
        rx_ring_reset();
        clock_set_source(tool_clock);
    }
    void TearDown() override {
        clock_set_source(nullptr);
        if (port_handle_valid(serial_link_state().g_comm.hCom)) SerialClose();
        if (sim_ > 0) {
            kill(sim_, SIGTERM);
            waitpid(sim_, nullptr, 0);
        }
        ProtocolFixture::TearDown();
    }

    /* Starts the simulator of a family (more options may follow) and opens the port it links. */
    void connect(std::vector<std::string> args) {
        args.insert(args.begin(), {SERVO_SIM_PATH, "--log", dir_ / "sim.log", "--link", dir_ / "servo", "--family"});
        std::vector<char*> argv;
        for (std::string& a : args)
            argv.push_back(a.data());
        argv.push_back(nullptr);
        ASSERT_EQ(posix_spawn(&sim_, SERVO_SIM_PATH, nullptr, nullptr, argv.data(), environ), 0) << SERVO_SIM_PATH;
        ASSERT_TRUE(serial_test::wait_until([&] { return std::filesystem::exists(dir_ / "servo"); }));
        ASSERT_NE(SerialOpen((dir_ / "servo").c_str()), PORT_HANDLE_NONE);
        serial_ports_set_open(1);
    }

    /* Runs the UI thread's work (receive hand-over after a wake-up, due timers) until cond holds
     * (true) or timeout_ms pass (false). The tool's clock jumps to the next timer only once the
     * echo of the last request is in and the line has been quiet for 30 ms, so each answer is in
     * before the next request goes, however late a loaded machine runs the simulator. */
    static bool pump_until(const std::function<bool()>& cond, int timeout_ms = 10000) {
        using std::chrono::milliseconds;
        auto quiet_since = std::chrono::steady_clock::now();
        size_t since_tick = FRAME_REGISTER_REQUEST_LEN;
        return serial_test::wait_until(
            [&] {
                const auto now = std::chrono::steady_clock::now();
                if (rx_ring_state().rxNotifyPending != 0) {
                    SerialHandle();
                    since_tick += rx_ring_drain(process_servo_info_data);
                    quiet_since = now;
                } else if (now - quiet_since >= milliseconds(30) &&
                           (since_tick >= FRAME_REGISTER_REQUEST_LEN || now - quiet_since >= milliseconds(2000))) {
                    uint64_t next = UINT64_MAX;
                    for (const auto& t : fake_timers().timers)
                        if (t->alive) next = std::min(next, t->last_run_ms + t->period_ms);
                    if (next != UINT64_MAX) g_tool_ms = std::max(g_tool_ms, next);
                    quiet_since = now;
                }
                if (fake_timers_run_due() > 0) since_tick = 0;
                return cond();
            },
            timeout_ms);
    }
    /* The user was told the outcome and no request sequence is left running. */
    static bool answered() { return !fake_prompts().empty() && fake_timers_alive() == 0; }

    /* The frames the simulator logged as received once there are n of them (or after 10 s). */
    std::vector<std::string> received(size_t n) {
        std::vector<std::string> rx;
        pump_until([&] {
            std::istringstream log(read_file(dir_ / "sim.log"));
            rx.clear();
            for (std::string l; std::getline(log, l);)
                if (l.rfind("RX ", 0) == 0) rx.push_back(l);
            return rx.size() >= n;
        });
        return rx;
    }

    pid_t sim_ = -1;
    TempDir dir_;
};

} // namespace

TEST_F(ProtocolSimTest, block_servo_sending_garbage_and_once_a_bad_checksum_is_read_at_the_second_try) {
    connect({"block", "--fault", "garbage", "--fault", "checksum:1"});
    ASSERT_EQ(param_transaction_read(), PARAM_CMD_STARTED);
    ASSERT_TRUE(pump_until([] { return fake_timers_alive() == 0; }));
    pump_until([] { return false; }, 100);
    EXPECT_TRUE(fake_prompts().empty());
    EXPECT_EQ(fake_entry(PanelEntry::Gain), "");
    ASSERT_EQ(param_transaction_read(), PARAM_CMD_STARTED);
    ASSERT_TRUE(pump_until(answered));
    EXPECT_EQ(fake_entry(PanelEntry::Gain), "65");
    EXPECT_EQ(prompt_texts(), std::vector<std::string>{"读取参数成功!"});
}

TEST_F(ProtocolSimTest, block_servo_parameters_read_into_the_panel_and_write_back_as_one_frame) {
    connect({"block"});
    ASSERT_EQ(param_transaction_read(), PARAM_CMD_STARTED);
    ASSERT_TRUE(pump_until(answered));
    EXPECT_EQ(fake_entry(PanelEntry::Stall1Time), "300");

    fake_prompts().clear();
    fake_entry(PanelEntry::Gain) = "70";
    fake_entry(PanelEntry::Stall1Time) = "10000"; /* 100 stored: the largest accepted */
    ASSERT_EQ(param_transaction_write(), PARAM_CMD_STARTED);
    ASSERT_TRUE(pump_until(answered));
    EXPECT_EQ(prompt_texts(), std::vector<std::string>{"写入参数成功!"});
    Bytes block = DEFAULT_BLOCK; /* as read, but for the two entries and the deadband rule: */
    block[0] = 70;
    block[14] = 100;
    block[19] = 0x73; /* (3 + 2) << 4 | 3, with row 15's 6 << 4 ORed on */
    const std::vector<std::string> rx = received(11);
    ASSERT_EQ(rx.size(), 11u);
    EXPECT_EQ(rx[9], rx_line(PARAM_REQUEST)) << "the write reads first";
    EXPECT_EQ(rx[10], rx_line(block_frame(block)));

    fake_entry(PanelEntry::Gain) = "";
    fake_prompts().clear();
    ASSERT_EQ(param_transaction_read(), PARAM_CMD_STARTED);
    ASSERT_TRUE(pump_until(answered));
    EXPECT_EQ(fake_entry(PanelEntry::Gain), "70") << "the servo kept the written block";
}

TEST_F(ProtocolSimTest, register_servo_parameters_read_save_as_jvn_and_write_back_twelve_frames_50_ms_apart) {
    connect({"register"});
    ASSERT_EQ(param_transaction_read(), PARAM_CMD_STARTED);
    ASSERT_TRUE(pump_until(answered));
    EXPECT_EQ(prompt_texts(), std::vector<std::string>{"读取参数成功!"});

    /* Saved after a register read: the JVN file, LD always 0. */
    fake_file_dialog().next_path = dir_ / "servo.txt";
    EXPECT_EQ(param_action_save(), PARAM_FILE_OK);
    EXPECT_EQ(
        read_file(dir_ / "servo.txt"),
        "KP:65\nKD:50\nLP:4000\nMP:8000\nOD:80\nOT:3000\nMD:8000\nDZ:3\nLA:596\nMA:3500\nCA:2048\nLD:0\nRS:1\nLS:1\n");

    fake_prompts().clear();
    ASSERT_EQ(param_transaction_write(), PARAM_CMD_STARTED);
    ASSERT_TRUE(pump_until([] { return fake_timers_alive() == 0; }));
    EXPECT_EQ(prompt_texts(), std::vector<std::string>{"写入参数成功!"});
    const std::vector<std::string> rx = received(9 + 12);
    ASSERT_EQ(rx.size(), 21u);
    const Bytes expected[12] = {
        reg_request(0x01, 65, 0),   reg_request(0x05, 50, 0),      reg_request(0x12, 80, 3000),
        reg_request(0x18, 8000, 0), reg_request(0x40, 0, 596),     reg_request(0x41, 0, 3500),
        reg_request(0x42, 0, 2048), reg_request(0x43, 0, 3),       reg_request(0x44, 0, 1),
        reg_request(0x45, 0, 1),    reg_request(0x48, 4000, 8000), reg_request(0x46, 0, 0),
    };
    for (int i = 0; i < 12; ++i)
        EXPECT_EQ(rx[9 + i], rx_line(expected[i], i == 11 ? "end of write sequence" : "")) << "frame " << i + 1;

    const FakeTimer& timer = *fake_timers().timers.back();
    ASSERT_EQ(timer.fired_ms.size(), 13u);
    for (size_t i = 1; i < timer.fired_ms.size(); ++i)
        EXPECT_GE(timer.fired_ms[i] - timer.fired_ms[i - 1], 50u);
}
