/* End to end over a pseudo-terminal with the servo simulator (tools/servo_sim), for both families,
 * without the window: the real port, notifier thread, receive ring and parser, with a loop that
 * stands in for the UI thread (receive hand-over on each wake-up, timers, time-out check). The
 * assertions look at what the simulator received (its log), not only at what the tool shows. */
#include "params/param_files.h"
#include "protocol/info_transaction.h"
#include "protocol/param_actions.h"
#include "protocol/param_transaction.h"
#include "serial/comHandle.h"
#include "serial/rx_ring.h"
#include "tests/core/protocol_test_support.h"
#include "tests/fakes/common/fake_file_dialog.h"
#include "tests/fakes/common/fake_platform.h"
#include "tests/support/files.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <functional>
#include <spawn.h>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char** environ;

using namespace servo_bytes;

namespace {

/* One frame the simulator logged as received: its bytes and its remark, if any. */
struct SimRx {
    Bytes bytes;
    std::string note;
};

/* The simulator as a child process on a fresh pseudo-terminal. */
class ServoSim {
  public:
    bool start(std::vector<std::string> args, const std::string& log_path) {
        log_path_ = log_path;
        args.insert(args.begin(), {SERVO_SIM_PATH, "--log", log_path});
        std::vector<char*> argv;
        for (std::string& a : args)
            argv.push_back(a.data());
        argv.push_back(nullptr);
        int out[2];
        if (pipe(out) != 0) return false;
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
        posix_spawn_file_actions_addclose(&actions, out[0]);
        const int rc = posix_spawn(&pid_, SERVO_SIM_PATH, &actions, nullptr, argv.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        close(out[1]);
        /* The first line on stdout is the path to open; end of file if the simulator failed. */
        FILE* in = fdopen(out[0], "r");
        char line[256] = "";
        const bool got = rc == 0 && in != nullptr && fgets(line, sizeof line, in) != nullptr;
        if (in != nullptr) fclose(in);
        else close(out[0]);
        if (rc != 0) pid_ = -1;
        path_ = std::string(line).substr(0, strcspn(line, "\n"));
        return got;
    }

    void stop() {
        if (pid_ <= 0) return;
        kill(pid_, SIGTERM);
        waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }
    ~ServoSim() { stop(); }

    const std::string& path() const { return path_; }

    /* The frames received so far, in order. */
    std::vector<SimRx> received() const {
        std::vector<SimRx> out;
        std::istringstream log(read_file(log_path_));
        for (std::string l; std::getline(log, l);) {
            if (l.rfind("RX ", 0) != 0) continue;
            SimRx rx;
            const size_t paren = l.find(" (");
            std::istringstream hex(l.substr(3, paren == std::string::npos ? std::string::npos : paren - 3));
            for (std::string b; hex >> b;)
                rx.bytes.push_back(static_cast<uint8_t>(std::stoul(b, nullptr, 16)));
            if (paren != std::string::npos) rx.note = l.substr(paren + 2, l.size() - paren - 3);
            out.push_back(rx);
        }
        return out;
    }

    bool logged(const std::string& text) const { return read_file(log_path_).find(text) != std::string::npos; }

  private:
    pid_t pid_ = -1;
    std::string path_, log_path_;
};

class ProtocolSimTest : public ProtocolFixture {
  protected:
    void SetUp() override {
        ProtocolFixture::SetUp();
        fake_platform_reset();
        fake_file_dialog_reset();
        rx_ring_reset();
    }
    void TearDown() override {
        if (port_handle_valid(g_comm.hCom)) SerialClose();
        sim_.stop();
        ProtocolFixture::TearDown();
    }

    void connect(const std::vector<std::string>& options) {
        ASSERT_TRUE(sim_.start(options, dir_ / ("sim" + std::to_string(++sims_) + ".log"))) << SERVO_SIM_PATH;
        ASSERT_NE(SerialOpen(0, sim_.path().c_str()), PORT_HANDLE_NONE);
        isSerialOpen = 1;
    }

    /* Runs the UI thread's work (receive hand-over after a wake-up, due timers, the time-out
     * check) until cond holds (true) or timeout_ms pass (false). */
    static bool pump_until(const std::function<bool()>& cond, int timeout_ms = 3000) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
        while (!cond()) {
            if (std::chrono::steady_clock::now() >= end) return false;
            if (rxNotifyPending != 0) {
                SerialHandle();
                rx_ring_drain(process_servo_info_data);
            }
            fake_timers_run_due();
            info_transaction_check_timeout();
            std::this_thread::sleep_for(std::chrono::microseconds(500));
        }
        return true;
    }
    static bool idle() { return g_protocol.mode == MODE_IDLE; }
    static bool idle_and_no_timers() { return idle() && fake_timers_alive() == 0; }

    /* Waits for the simulator to have logged n received frames; returns them. */
    std::vector<SimRx> wait_received(size_t n) {
        pump_until([&] { return sim_.received().size() >= n; });
        return sim_.received();
    }

    ServoSim sim_;
    TempDir dir_;
    int sims_ = 0;
};

const std::vector<std::string> BLOCK = {"--family", "block"};
const std::vector<std::string> REGISTER = {"--family", "register"};

} // namespace

/* ---- block family ---- */

TEST_F(ProtocolSimTest, block_servo_information_write_is_stored_and_reads_back_cut_at_the_space) {
    connect(BLOCK);
    fake_info(InfoField::Type) = "QRX TEST-7";
    fake_info(InfoField::Year) = "2031";
    fake_info(InfoField::Month) = "07";
    fake_info(InfoField::Day) = "04";
    ASSERT_EQ(info_transaction_write(), INFO_SENT);
    ASSERT_TRUE(pump_until(idle));
    EXPECT_EQ(prompt_texts(), std::vector<std::string>{"写入信息成功!"});
    EXPECT_EQ(wait_received(1)[0].bytes, info_frame("QRX TEST-7", "20310704"));
    EXPECT_TRUE(sim_.logged("STORE info type=[QRX TEST-7          ] date=2031-07-04"));

    fake_info_fields_reset();
    ASSERT_EQ(info_transaction_read(), INFO_SENT);
    ASSERT_TRUE(pump_until(idle));
    EXPECT_EQ(fake_info(InfoField::Type), "QRX");
    EXPECT_EQ(fake_info(InfoField::Day), "04");
}

TEST_F(ProtocolSimTest, block_servo_that_stays_silent_times_out_both_commands_once) {
    std::vector<std::string> options = BLOCK;
    options.insert(options.end(), {"--fault", "silent"});
    connect(options);
    fake_info(InfoField::Type) = "T";
    ASSERT_EQ(info_transaction_read(), INFO_SENT);
    pump_until([] { return false; }, 400);
    ui_language_chinese = 0;
    ASSERT_EQ(info_transaction_write(), INFO_SENT);
    pump_until([] { return false; }, 400);
    EXPECT_EQ(prompt_texts(), (std::vector<std::string>{"舵机信息读取超时!", "Servo information write timeout!"}));
    EXPECT_EQ(g_protocol.mode, MODE_IDLE);
    EXPECT_EQ(wait_received(2)[1].bytes, info_frame("T", "20260101"));
}

TEST_F(ProtocolSimTest, block_servo_parameters_read_into_the_panel_and_write_back_as_one_frame) {
    connect(BLOCK);
    ASSERT_EQ(param_transaction_read(), PARAM_CMD_STARTED);
    ASSERT_TRUE(pump_until(idle_and_no_timers));
    EXPECT_EQ(parameterSource, PARAM_SOURCE_BLOCK);
    EXPECT_EQ(fake_entry(PanelEntry::Stall1Time), "300");
    EXPECT_EQ(Bytes(parmeterBuff, parmeterBuff + 35), DEFAULT_BLOCK);
    std::vector<SimRx> rx = wait_received(9);
    ASSERT_EQ(rx.size(), 9u);
    EXPECT_EQ(rx[0].bytes, PARAM_REQUEST);
    for (int step = 0; step < 8; ++step) {
        EXPECT_EQ(rx[1 + step].bytes, reg_request(READ_CODES[step]));
        EXPECT_EQ(rx[1 + step].note, "ignored by a block-family servo");
    }

    fake_prompts().clear();
    fake_entry(PanelEntry::Gain) = "70";
    fake_entry(PanelEntry::Stall1Time) = "10000"; /* 100 stored: the largest accepted */
    ASSERT_EQ(param_transaction_write(), PARAM_CMD_STARTED);
    ASSERT_TRUE(pump_until(idle));
    EXPECT_EQ(prompt_texts(), std::vector<std::string>{"写入参数成功!"});
    Bytes block = DEFAULT_BLOCK; /* as read, but for the two entries and the deadband rule: */
    block[0] = 70;
    block[14] = 100;
    block[19] = 0x73; /* (3 + 2) << 4 | 3, with row 15's 6 << 4 ORed on */
    rx = wait_received(11);
    ASSERT_EQ(rx.size(), 11u);
    EXPECT_EQ(rx[9].bytes, PARAM_REQUEST) << "the write reads first";
    EXPECT_EQ(rx[10].bytes, block_frame(block));
    EXPECT_TRUE(sim_.logged("TX 80 80 80 80"));

    fake_entry(PanelEntry::Gain) = "";
    ASSERT_EQ(param_transaction_read(), PARAM_CMD_STARTED);
    ASSERT_TRUE(pump_until(idle_and_no_timers));
    EXPECT_EQ(fake_entry(PanelEntry::Gain), "70") << "the servo kept the written block";
}

/* ---- register family ---- */

TEST_F(ProtocolSimTest, register_servo_parameters_read_save_as_jvn_and_write_back_twelve_frames_50_ms_apart) {
    connect(REGISTER);
    ASSERT_EQ(param_transaction_read(), PARAM_CMD_STARTED);
    ASSERT_TRUE(pump_until(idle_and_no_timers));
    EXPECT_EQ(parameterSource, PARAM_SOURCE_REGISTER);
    EXPECT_EQ(prompt_texts(), std::vector<std::string>{"读取参数成功!"});
    EXPECT_EQ(fake_entry(PanelEntry::MaxPulse), "2000");
    std::vector<SimRx> rx = wait_received(9);
    EXPECT_EQ(rx[0].note, "ignored by a register-family servo");
    EXPECT_TRUE(sim_.logged("TX AF 54 00 09 01 01 00 00 0B"));

    /* Saved after a register read: the JVN file, LD always 0. */
    fake_file_dialog().next_path = dir_ / "servo.txt";
    EXPECT_EQ(param_action_save(), PARAM_FILE_OK);
    EXPECT_EQ(read_file(dir_ / "servo.txt"),
              "KP:65\nKD:50\nLP:4000\nMP:8000\nOD:80\nOT:3000\nMD:8000\nDZ:3\nLA:596\nMA:3500\nCA:2048\nLD:0\nRS:1\nLS:1\n");

    fake_prompts().clear();
    ASSERT_EQ(param_transaction_write(), PARAM_CMD_STARTED);
    ASSERT_TRUE(pump_until([] { return fake_timers_alive() == 0; }));
    EXPECT_EQ(prompt_texts(), std::vector<std::string>{"写入参数成功!"});
    rx = wait_received(9 + 12);
    ASSERT_EQ(rx.size(), 21u);
    const Bytes expected[12] = {
        reg_request(0x01, 65, 0),   reg_request(0x05, 50, 0),      reg_request(0x12, 80, 3000),
        reg_request(0x18, 8000, 0), reg_request(0x40, 0, 596),     reg_request(0x41, 0, 3500),
        reg_request(0x42, 0, 2048), reg_request(0x43, 0, 3),       reg_request(0x44, 0, 1),
        reg_request(0x45, 0, 1),    reg_request(0x48, 4000, 8000), reg_request(0x46, 0, 0),
    };
    for (int i = 0; i < 12; ++i)
        EXPECT_EQ(rx[9 + i].bytes, expected[i]) << "frame " << i + 1;
    EXPECT_EQ(rx[20].note, "end of write sequence");

    const FakeTimer& timer = *fake_timers().timers.back();
    ASSERT_EQ(timer.fired_ms.size(), 13u);
    for (size_t i = 1; i < timer.fired_ms.size(); ++i)
        EXPECT_GE(timer.fired_ms[i] - timer.fired_ms[i - 1], 50u);
}
