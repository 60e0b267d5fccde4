/* The receive parser fed byte by byte: the echo of what the tool sent, garbage and bad checksums
 * ahead of a good frame, the register replies and both information replies. */
#include "protocol/info_transaction.h"
#include "protocol/param_transaction.h"
#include "tests/core/core_test_support.h"

using namespace servo_bytes;

namespace {

class ParserTest : public CoreFixture {
  protected:
    static void start_param_read() {
        protocol_reset();
        fake_panel_reset();
        fake_prompts().clear();
        ASSERT_EQ(param_transaction_read(), PARAM_CMD_STARTED);
    }
    /* One register read step as it reaches the tool: the request goes out (the timer fires), its
     * echo comes back, then the servo's reply. */
    static void register_step(const Bytes& reply) {
        FakeTimer* timer = fake_timers().timers.back().get();
        const int step = timer->fired;
        fake_timer_fire(timer);
        feed(cat({reg_request(READ_CODES[step]), reply}));
    }
    /* The first n register steps answered with the simulator's values. */
    static void default_steps(int n) {
        for (int step = 0; step < n; ++step)
            register_step(reg_reply(DEFAULT_REGS[step][0], DEFAULT_REGS[step][1]));
    }
};

} // namespace

TEST_F(ParserTest, info_reply_completes_at_its_last_byte_and_fills_the_fields) {
    struct Case {
        const char* label;
        Bytes before; /* ahead of the frame: the echo, garbage */
        const char *type, *shown, *date_shown;
        int chinese;
        FakePrompt::Kind kind;
        const char* prompt;
    };
    const char* ok = "舵机信息读取成功!";
    const Case cases[] = {
        {"echo", INFO_REQUEST, "SIM-BLOCK-01", "SIM-BLOCK-01", "20260115", 1, FakePrompt::Prompt, ok},
        {"no echo", {}, "SIM-BLOCK-01", "SIM-BLOCK-01", "20260115", 1, FakePrompt::Prompt, ok},
        {"garbage before the tag, type cut at the first space", cat({{0x00, 0x5A, 0xC3}, INFO_REQUEST}), "AB CD", "AB",
         "20260115", 0, FakePrompt::Prompt, "Servo information read successfully!"},
        {"bytes that are not UTF-8 made valid", {}, "A\xFF", "A\xEF\xBF\xBD", "20260115", 1, FakePrompt::Prompt, ok},
        {"byte 1 at 0x80: refused in Chinese whatever the language, no field written", INFO_REQUEST, "\x80SERVO", "",
         "20260101", 0, FakePrompt::Error, "读取信息失败！"},
    };
    serial_ports_set_open(1);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.label);
        fake_info_fields_reset();
        fake_prompts().clear();
        lang_set_chinese(c.chinese);
        ASSERT_EQ(info_transaction_read(), INFO_SENT);
        const Bytes stream = cat({c.before, info_frame(c.type, "20260115")});
        feed(Bytes(stream.begin(), stream.end() - 1));
        EXPECT_TRUE(fake_prompts().empty()) << "one byte short";
        feed({stream.back()});
        EXPECT_EQ(fake_info(InfoField::Type), c.shown);
        EXPECT_EQ(fake_info(InfoField::Year) + fake_info(InfoField::Month) + fake_info(InfoField::Day), c.date_shown);
        EXPECT_EQ(prompt_texts(), std::vector<std::string>{c.prompt});
        EXPECT_EQ(fake_prompts()[0].kind, c.kind);
        EXPECT_EQ(fake_info_fields().writes == 0, c.kind == FakePrompt::Error);
    }
}

TEST_F(ParserTest, block_read_after_its_echo_fills_the_panel_even_after_a_block_lost_to_a_bad_sum_or_echo) {
    Bytes bad_sum = block_frame(DEFAULT_BLOCK);
    bad_sum.back() = static_cast<uint8_t>(bad_sum.back() + 1); /* the plain sum */
    Bytes data = DEFAULT_BLOCK;
    data[22] = 0x81; /* the request's first byte: swallowed, so the checksum becomes the last data byte */
    const std::pair<const char*, Bytes> cases[] = {
        {"nothing lost", {}},
        {"bad checksum", bad_sum},
        {"0x81 in the data", cat({block_frame(data), {0x00} /* taken for the checksum */})},
    };
    for (const auto& [label, lost] : cases) {
        SCOPED_TRACE(label);
        start_param_read();
        feed(cat({PARAM_REQUEST, lost}));
        EXPECT_EQ(fake_entry(PanelEntry::Gain), "");
        feed(block_frame(DEFAULT_BLOCK));
        EXPECT_EQ(Bytes(params_state().parmeterBuff, params_state().parmeterBuff + 35), DEFAULT_BLOCK);
        EXPECT_EQ(prompt_texts(), std::vector<std::string>{"读取参数成功!"});
    }
}

/* What each reply fills is checked by the register write cases (their reads) and the reliability case. */
TEST_F(ParserTest, eight_register_replies_after_their_echoes_end_the_read_and_a_ninth_is_dropped) {
    start_param_read();
    feed(PARAM_REQUEST);
    default_steps(8);
    EXPECT_EQ(prompt_texts(), std::vector<std::string>{"读取参数成功!"});
    fake_timer_fire(fake_timers().timers.back().get()); /* the ninth call ends the timer */
    const int writes = fake_panel().writes;
    feed(reg_reply(1, 2)); /* a ninth reply without a new read */
    EXPECT_EQ(fake_panel().writes, writes);
    EXPECT_EQ(fake_prompts().size(), 1u);
}

TEST_F(ParserTest, direction_byte_0_turns_the_switch_off_1_on_and_any_other_leaves_it) {
    const struct {
        uint8_t byte;
        bool before, after;
    } cases[] = {{0, true, false}, {1, false, true}, {2, true, true}, {2, false, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "direction byte " << int(c.byte) << ", switch on before: " << c.before);
        start_param_read();
        fake_checked(PanelCheck::Direction) = c.before;
        default_steps(7);
        register_step(reg_reply(static_cast<uint16_t>(0x0700 | c.byte), 0)); /* LS 7, then the direction */
        EXPECT_EQ(fake_entry(PanelEntry::SoftStart), "7");
        EXPECT_EQ(fake_checked(PanelCheck::Direction), c.after);
    }
}

/* A reply with a wrong checksum ends the read too: servo_cli's register checksum fault rows. */
TEST_F(ParserTest, a_register_reply_of_the_wrong_length_ends_the_read_without_a_message) {
    Bytes damaged = reg_reply(4000, 8000);
    damaged[3] = 0x0A;
    damaged[8] = sum8(damaged, 2, 8); /* the checksum would match */
    start_param_read();
    default_steps(3);
    register_step(damaged);
    EXPECT_EQ(fake_entry(PanelEntry::MinPulse), "") << "the damaged reply filled nothing";
    register_step(reg_reply(596, 3500)); /* the rest of this read is dropped */
    EXPECT_EQ(fake_entry(PanelEntry::MinAngle), "");
    EXPECT_TRUE(fake_prompts().empty());
}

TEST_F(ParserTest, a_read_after_a_wrong_length_reply_keeps_its_replies_from_the_first_entry) {
    start_param_read();
    default_steps(7);
    Bytes wrong = reg_reply(0, 0);
    wrong[3] = 0x0A; /* ends the read at step 0 */
    register_step(wrong);
    FakeTimer* t = fake_timers().timers.back().get();
    for (int i = 0; i < 9 && t->alive; ++i) /* the timer's calls up to the one that ends it */
        fake_timer_fire(t);
    ASSERT_FALSE(t->alive);
    ASSERT_EQ(param_transaction_read(), PARAM_CMD_STARTED); /* the next read keeps what the last one left */
    register_step(reg_reply(0x1111, 0x2222));               /* step 0: OD and OT */
    uint8_t frame[FRAME_REGISTER_REQUEST_LEN];
    ASSERT_EQ(param_transaction_register_frame(2, frame, sizeof frame), 10); /* code 0x12: OD, OT unchanged */
    EXPECT_EQ(Bytes(frame + 5, frame + 9), (Bytes{0x11, 0x11, 0x22, 0x22})) << "the servo's own bytes of this read";
}

TEST_F(ParserTest, info_write_echo_swallows_a_31st_byte_of_0x00_and_any_other_byte_completes_it) {
    serial_ports_set_open(1);
    fake_info(InfoField::Type) = "T1";
    const Bytes echo = info_frame("T1", "20260101");
    for (uint8_t after : {0x00, 0x01}) {
        fake_prompts().clear();
        ASSERT_EQ(info_transaction_write(), INFO_SENT);
        feed(cat({echo, {after}}));
        if (after == 0x00) {
            EXPECT_TRUE(fake_prompts().empty());
            feed({0x00}); /* the echo is over: now a 0x00 is the answer */
        }
        EXPECT_EQ(prompt_texts(), std::vector<std::string>{"写入信息成功!"});
    }
}
