/* Writing the parameters by parameter source: the refusals, the block frame and its
 * acknowledgement, the register sequence with the cache rules. The port is a pseudo-terminal. */
#include "protocol/param_actions.h"
#include "protocol/param_transaction.h"
#include "tests/core/serial_test_support.h"

#include <cstring>

using namespace servo_bytes;

namespace {

class ParamTransactionTest : public serial_test::PortFixture {
  protected:
    /* A register-family read answered with these DATA0/DATA1 words, echo included. */
    void register_read(const uint16_t regs[8][2]) {
        ASSERT_EQ(param_transaction_read(), PARAM_CMD_STARTED);
        feed(PARAM_REQUEST);
        FakeTimer* timer = fake_timers().timers.back().get();
        for (int step = 0; step < 8; ++step) {
            fake_timer_fire(timer);
            feed(cat({reg_request(READ_CODES[step]), reg_reply(regs[step][0], regs[step][1])}));
        }
        fake_timer_fire(timer);
        ASSERT_EQ(params_state().parameterSource, PARAM_SOURCE_REGISTER);
        pty.receive(4 + 8 * 10); /* the read's requests are not what these tests look at */
        fake_prompts().clear();
    }
    /* Runs the write timer to its end; returns the frames it sent, one per call. */
    std::vector<Bytes> register_write() {
        std::vector<Bytes> frames;
        EXPECT_EQ(param_transaction_write(), PARAM_CMD_STARTED);
        FakeTimer* timer = fake_timers().timers.back().get();
        EXPECT_EQ(timer->period_ms, 50u) << "a register-family servo takes a frame every 50 ms";
        for (int i = 0; i < 12; ++i) {
            fake_timer_fire(timer);
            frames.push_back(pty.receive(10));
        }
        EXPECT_TRUE(fake_prompts().empty()) << "success comes with the closing call";
        fake_timer_fire(timer);
        EXPECT_FALSE(timer->alive);
        return frames;
    }
};

/* A servo whose registers hold remainders the panel cannot show (OD 100 = 1 x 80 + 20). */
const uint16_t ODD_REGS[8][2] = {
    {100, 3500}, /* OD shown 1, OT shown 3 */
    {65, 300},   /* KP, KD above 255 */
    {8050, 0},   /* MD shown 100 */
    {801, 8003}, /* LP shown 200, MP shown 2000 */
    {596, 3500}, /* LA, MA */
    {200, 0},    /* CA */
    {3, 0},      /* DZ */
    {0x0500, 0}, /* LS 5, RS off */
};

} // namespace

TEST_F(ParamTransactionTest, refused_or_failed_writes_send_no_parameters) {
    fake_checked(PanelCheck::Level1) = fake_checked(PanelCheck::Level2) = fake_checked(PanelCheck::Level3) = true;
    struct Case {
        const char* label;
        int source;
        const char *t1, *t2, *t3; /* stall times shown, in ms */
        int chinese;
        bool timer_fails;
        int result;
        const char* message; /* "" = none */
        Bytes sent;
    };
    const Case cases[] = {
        {"nothing read or imported", PARAM_SOURCE_NONE, "100", "100", "100", 1, false, PARAM_CMD_NO_SOURCE,
         "写入参数失败，请先读取或导入参数!!", Bytes()},
        /* The block write's read request goes before the stall-time check; the first bad time is named. */
        {"time 3", PARAM_SOURCE_BLOCK, "100", "100", "10199", 1, false, PARAM_CMD_STALL_TIME,
         "写入\"堵转3时间\"参数错误!\n请输入 0 - 10000 之间的数字", PARAM_REQUEST},
        {"time 1 in English", PARAM_SOURCE_BLOCK, "10100", "100", "99999", 0, false, PARAM_CMD_STALL_TIME,
         "Error writing \"Time1\" parameter!\nPlease enter a number between 0 and 10000", PARAM_REQUEST},
        {"no timer for the register sequence", PARAM_SOURCE_REGISTER, "100", "100", "100", 1, true,
         PARAM_CMD_TIMER_FAILED, "", Bytes()},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.label);
        fake_prompts().clear();
        params_set_source(c.source);
        lang_set_chinese(c.chinese);
        fake_entry(PanelEntry::Stall1Time) = c.t1;
        fake_entry(PanelEntry::Stall2Time) = c.t2;
        fake_entry(PanelEntry::Stall3Time) = c.t3;
        fake_timers().fail_next_start = c.timer_fails;
        EXPECT_EQ(param_transaction_write(), c.result);
        EXPECT_EQ(prompt_texts(), *c.message ? std::vector<std::string>{c.message} : std::vector<std::string>{});
        EXPECT_EQ(pty.receive(42, 100), c.sent);
    }
}

TEST_F(ParamTransactionTest, register_write_sends_cached_bytes_for_unchanged_values_by_the_lp_mp_and_md_rules) {
    register_read(ODD_REGS);
    EXPECT_EQ(fake_entry(PanelEntry::Stall1Power), "1");
    fake_entry(PanelEntry::MaxPulse) = "1900"; /* changed, but LP is not: MP goes from the cache */
    const std::vector<Bytes> frames = register_write();
    const Bytes expected[12] = {
        reg_request(0x01, 65, 0),     /* KP unchanged: the servo's own bytes */
        reg_request(0x05, 300, 0),    /* KD 300 never equals its 8-bit last-read value */
        reg_request(0x12, 100, 3500), /* OD and OT unchanged: 100 and 3500, not 80 and 3000 */
        reg_request(0x18, 8000, 0),   /* MD compared after x 80: re-encoded, the 50 is lost */
        reg_request(0x40, 0, 596),    /* LA 596 > 255: encoded (the same value) */
        reg_request(0x41, 0, 3500),   /* MA */
        reg_request(0x42, 0, 200),    /* CA unchanged */
        reg_request(0x43, 0, 3),      /* DZ */
        reg_request(0x44, 0, 0),      /* RS off, unchanged */
        reg_request(0x45, 0, 5),      /* LS */
        reg_request(0x48, 801, 8003), /* LP unchanged: LP and MP both cached */
        reg_request(0x46, 0, 0),
    };
    for (int i = 0; i < 12; ++i)
        EXPECT_EQ(frames[i], expected[i]) << "frame " << i + 1;
    EXPECT_EQ(prompt_texts(), std::vector<std::string>{"写入参数成功!"});
}

TEST_F(ParamTransactionTest, register_write_encodes_changed_values_and_a_shown_md_of_0_goes_from_the_cache) {
    uint16_t regs[8][2];
    memcpy(regs, ODD_REGS, sizeof regs);
    regs[2][0] = 50; /* MD shown 0: 0 x 80 equals its last-read 0 */
    register_read(regs);
    fake_entry(PanelEntry::Stall1Power) = "2";
    fake_entry(PanelEntry::MinPulse) = "201";
    fake_entry(PanelEntry::MaxPulse) = "1900";
    fake_entry(PanelEntry::Stall1Time) = "70"; /* 70000 on the wire, cut to 16 bits: 0x1170 */
    fake_entry(PanelEntry::SoftStart) = "300";
    fake_checked(PanelCheck::Direction) = true;
    const std::vector<Bytes> frames = register_write();
    EXPECT_EQ(frames[2], reg_request(0x12, 160, 0x1170));
    EXPECT_EQ(frames[3], reg_request(0x18, 50, 0));
    EXPECT_EQ(frames[8], reg_request(0x44, 0, 1));
    EXPECT_EQ(frames[9], reg_request(0x45, 0, 300));
    EXPECT_EQ(frames[10], reg_request(0x48, 804, 7600));
}

TEST_F(ParamTransactionTest, block_write_is_acknowledged_by_four_0x80_in_a_row_after_its_whole_echo) {
    Bytes data = DEFAULT_BLOCK;
    data[20] = data[21] = data[22] = data[23] = 0x80; /* what the acknowledgement looks like */
    ASSERT_EQ(param_transaction_read(), PARAM_CMD_STARTED);
    feed(cat({PARAM_REQUEST, block_frame(data)}));
    ASSERT_EQ(params_state().parameterSource, PARAM_SOURCE_BLOCK);
    pty.receive(4); /* the read request */
    fake_prompts().clear();
    ASSERT_EQ(param_transaction_write(), PARAM_CMD_STARTED);
    Bytes written = data;
    written[19] = 0x73; /* the deadband byte: (3 + 2) << 4 | 3, with row 15's 6 << 4 ORed on */
    const Bytes echo = pty.receive(4 + 38);
    EXPECT_EQ(echo, cat({PARAM_REQUEST, block_frame(written)}));
    feed(echo);
    EXPECT_TRUE(fake_prompts().empty()) << "the 0x80 of the echoed data acknowledged the write";
    feed({0x80, 0x80, 0x01, 0x80, 0x80});
    EXPECT_TRUE(fake_prompts().empty()) << "four, but not in a row";
    feed({0x80, 0x80});
    EXPECT_EQ(prompt_texts(), std::vector<std::string>{"写入参数成功!"});
}
