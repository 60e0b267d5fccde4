/* servo_cli's loop and verify: its timers keep the window's pacing under a hand-driven clock and
 * hold a request for the last reply no longer than allowed; a comparison names each differing
 * block field as the panel or the parameter table does, in the panel's units. */
#include "cli/cli_servo.h"
#include "cli/cli_session.h"
#include "common/debug_log.h"
#include "tests/core/core_test_support.h"

namespace {

std::vector<uint64_t> g_runs;
void record_run(protocol_timer_t) {
    g_runs.push_back(g_test_now);
}
bool g_reply_in = false;
bool reply_in() {
    return g_reply_in;
}

class CliSessionTest : public ::testing::Test {
  protected:
    void SetUp() override {
        g_test_now = 1000;
        g_runs.clear();
        g_reply_in = false;
        clock_set_source(test_now);
        session_start(false);
    }
    void TearDown() override {
        session_timers_clear();
        session_set_timer_gate(nullptr, 0);
        clock_set_source(nullptr);
        dbg_log_set_sink(nullptr);
        fake_screen_install();
        fake_platform_install();
        lang_reset();
    }
    static void turn_at(uint64_t t) {
        g_test_now = t;
        session_pump(0);
    }
};

TEST_F(CliSessionTest, a_timer_runs_on_the_next_turn_then_every_period_and_once_after_a_stall) {
    protocol_timer_start(50, record_run);
    for (uint64_t t : {1000, 1049, 1050, 1100, 1260, 1261, 1310})
        turn_at(t);
    /* 1260: three periods late, one run (no burst of frames), and the period counts from there. */
    EXPECT_EQ(g_runs, (std::vector<uint64_t>{1000, 1050, 1100, 1260, 1310}));
}

TEST_F(CliSessionTest, a_held_timer_runs_once_the_reply_is_in_or_its_hold_is_over) {
    session_set_timer_gate(reply_in, 40);
    protocol_timer_start(10, record_run);
    turn_at(1000);
    turn_at(1039);
    EXPECT_TRUE(g_runs.empty());
    turn_at(1040); /* held 40 ms: goes as it would have */
    g_reply_in = true;
    turn_at(1050);
    g_reply_in = false;
    turn_at(1060);
    g_reply_in = true;
    turn_at(1065);
    EXPECT_EQ(g_runs, (std::vector<uint64_t>{1040, 1050, 1065}));
}

TEST(CliCompareTest, a_block_difference_is_named_by_the_panel_or_the_table_in_the_panels_units) {
    ServoImage meant, read;
    meant.family = read.family = Family::Block;
    read.block[14] = 5;    /* StallTime1, stored in 100 ms */
    read.block[15] = 0x01; /* the unnamed low nibble, row 9 */
    read.block[19] = 0x10; /* Deadband2, kept but compared */
    read.block[27] = 0x10; /* ArmDir: the direction box */
    const std::vector<FieldDiff> diffs = servo_compare(meant, read);
    ASSERT_EQ(diffs.size(), 4u);
    const std::vector<std::string> names = {diffs[0].field, diffs[1].field, diffs[2].field, diffs[3].field};
    EXPECT_EQ(names, (std::vector<std::string>{"Time1", "NULL[9]", "Deadband2", "Inversion"}));
    EXPECT_EQ(diffs[0].read, 500);
    EXPECT_EQ(diffs[2].read, 1);
}

} // namespace
