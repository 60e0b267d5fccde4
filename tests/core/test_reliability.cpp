/* Faults found by running the tool against a misbehaving servo, a late UI thread, a full disk and
 * files that are not files: each case replays that run and checks what the user is shown. */
#include "params/register_family.h"
#include "protocol/info_transaction.h"
#include "protocol/param_transaction.h"
#include "tests/core/serial_test_support.h"
#include "tests/support/files.h"

#include <csignal>
#include <sys/stat.h>

using namespace servo_bytes;

namespace {

class ReliabilityTest : public serial_test::PortFixture {
  protected:
    void SetUp() override {
        PortFixture::SetUp();
        serial_ports_set_open(1);
    }
    static int errors_shown() {
        return static_cast<int>(std::count_if(fake_prompts().begin(), fake_prompts().end(),
                                              [](const FakePrompt& p) { return p.kind == FakePrompt::Error; }));
    }
    /* The servo's side: what the tool sent comes back as echo, then the servo's answer; returns
     * once all of it waits at the tool's port, which nobody drains meanwhile. */
    void answer(size_t sent_len, const Bytes& reply) {
        const Bytes sent = pty.receive(sent_len);
        ASSERT_EQ(sent.size(), sent_len);
        const int before = serial_test::queued_at_port();
        pty.send(cat({sent, reply}));
        ASSERT_TRUE(serial_test::wait_until(
            [&] { return serial_test::queued_at_port() >= before + static_cast<int>(sent.size() + reply.size()); }));
    }
};
using FileFaults = CoreFixture;

} // namespace

/* A servo that stays silent once: the information write times out after its echo came back
 * whole but for the byte beyond the frame; the next read must still see its answer. */
TEST_F(ReliabilityTest, an_information_read_after_a_timed_out_write_fills_the_fields) {
    g_test_now = 1000;
    clock_set_source(test_now);
    fake_info(InfoField::Type) = "SERVO-7";
    fake_info(InfoField::Year) = "2026";
    fake_info(InfoField::Month) = "01";
    fake_info(InfoField::Day) = "15";
    ASSERT_EQ(info_transaction_write(), INFO_SENT);
    answer(FRAME_INFO_LEN, {});
    protocol_take_received();
    g_test_now += INFO_TIMEOUT_MS + 1;
    ASSERT_EQ(info_transaction_check_timeout(), 1);
    ASSERT_EQ(errors_shown(), 1) << "the write timed out";
    ASSERT_EQ(info_transaction_read(), INFO_SENT);
    answer(INFO_REQUEST.size(), info_frame("SIM-BLOCK-01", "20250203"));
    protocol_take_received();
    EXPECT_EQ(errors_shown(), 1) << "no read failure after a right answer";
    EXPECT_EQ(fake_info(InfoField::Type), "SIM-BLOCK-01");
    EXPECT_EQ(fake_info(InfoField::Year), "2025");
    EXPECT_EQ(fake_info(InfoField::Month), "02");
    EXPECT_EQ(fake_info(InfoField::Day), "03");
}

/* The UI thread runs 15 ms late before every register request: each reply is already waiting when
 * the next request goes out, and must still be read as the reply it is. */
TEST_F(ReliabilityTest, a_register_read_with_a_late_ui_thread_reads_all_eight_replies_every_time) {
    for (int run = 0; run < 100; ++run) {
        SCOPED_TRACE(run);
        fake_prompts().clear();
        fake_panel_reset();
        /* Differs from run to run; below 70, so that no byte of the reply is 0x81, which a parameter
         * read always takes for the start of its request's echo. */
        const uint16_t gain = static_cast<uint16_t>(1 + run % 60);
        ASSERT_EQ(param_transaction_read(), PARAM_CMD_STARTED);
        answer(PARAM_REQUEST.size(), {}); /* a register servo leaves the block request unanswered */
        for (int step = 0; step < 8; ++step) {
            fake_timer_fire(fake_timers().timers.back().get());
            const uint16_t d0 = step == 1 ? gain : DEFAULT_REGS[step][0];
            answer(FRAME_REGISTER_REQUEST_LEN, reg_reply(d0, DEFAULT_REGS[step][1]));
            std::this_thread::sleep_for(std::chrono::milliseconds(15));
        }
        fake_timer_fire(fake_timers().timers.back().get()); /* the ninth call ends the sequence */
        protocol_take_received();
        ASSERT_EQ(prompt_texts(), std::vector<std::string>{"读取参数成功!"});
        ASSERT_EQ(fake_entry(PanelEntry::Gain), std::to_string(gain));
        ASSERT_EQ(fake_entry(PanelEntry::MaxPulse), "2000"); /* MP 8000 / 4 from the fourth reply */
        ASSERT_EQ(fake_entry(PanelEntry::SoftStart), "1");   /* the last reply's first byte */
    }
}

/* A save that runs out of room half-way (a file-size limit stands in for a full disk) reports the
 * failure and leaves the file it was to replace whole, in both formats, with nothing left over. */
TEST_F(FileFaults, a_save_that_fails_half_way_leaves_the_old_file_whole) {
    TempDir dir;
    const std::string old_block = "ConfigBuffer[0] = 64;\nConfigBuffer[1] = 65;\n";
    const std::string old_keys = "KP:65\nKD:50\n";
    const std::string block = write_file(dir / "block.txt", old_block);
    const std::string keys = write_file(dir / "keys.txt", old_keys);
    const uint8_t frame[CONFIGBUFFER_LINES] = {64};
    const int32_t record[REG_FILE_LINES] = {};
    rlimit before;
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    rlimit small = before;
    small.rlim_cur = 32; /* fewer bytes than either file has */
    signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const int block_result = params_export_configbuffer_path(block.c_str(), frame);
    const int keys_result = params_export_jvn_path(keys.c_str(), record);
    setrlimit(RLIMIT_FSIZE, &before);
    signal(SIGXFSZ, SIG_DFL);
    EXPECT_EQ(block_result, PARAM_FILE_WRITE_FAILED);
    EXPECT_EQ(keys_result, PARAM_FILE_WRITE_FAILED);
    EXPECT_EQ(read_file(block), old_block);
    EXPECT_EQ(read_file(keys), old_keys);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path), std::filesystem::directory_iterator()), 2);
    EXPECT_EQ(prompt_texts(), (std::vector<std::string>{"保存参数失败!", "无法创建文件: " + keys}));
}

/* Only regular files are imported: a link to an endless device and a named pipe are refused at
 * once instead of holding the screen. */
TEST_F(FileFaults, a_device_or_a_pipe_is_refused_without_waiting) {
    TempDir dir;
    ASSERT_EQ(symlink("/dev/zero", (dir / "zero.txt").c_str()), 0);
    ASSERT_EQ(mkfifo((dir / "pipe.txt").c_str(), 0600), 0);
    EXPECT_EQ(params_import_path((dir / "zero.txt").c_str()), PARAM_FILE_OPEN_FAILED);
    EXPECT_EQ(params_import_path((dir / "pipe.txt").c_str()), PARAM_FILE_OPEN_FAILED);
    EXPECT_EQ(prompt_texts(), (std::vector<std::string>{"无法打开文件！", "无法打开文件！"}));
}
