/* The receive parser fed byte by byte and through the receive ring in odd chunks: echo removal of
 * both families with its quirks, the read-parameters machine, the acknowledgement counter, the
 * version report and both information replies. */
#include "protocol/info_transaction.h"
#include "protocol/param_transaction.h"
#include "serial/rx_ring.h"
#include "tests/core/protocol_test_support.h"
#include "tests/fakes/common/log_capture.h"

#include <cstring>

using namespace servo_bytes;

namespace {

class ParserTest : public ProtocolFixture {
  protected:
    void SetUp() override {
        ProtocolFixture::SetUp();
        rx_ring_reset();
    }

    /* Puts the bytes into the receive ring in chunks of the given sizes (cycled), draining the
     * ring into the parser after each, as the receive hand-over does. */
    static void deliver(const Bytes& bytes, std::initializer_list<size_t> chunks) {
        auto size = chunks.begin();
        for (size_t i = 0; i < bytes.size();) {
            for (size_t n = 0; n < *size && i < bytes.size(); ++n, ++i) {
                rxRing[rxWriteIndex] = bytes[i];
                rxWriteIndex = static_cast<uint16_t>((rxWriteIndex + 1) % RX_RING_SIZE);
            }
            rx_ring_drain(process_servo_info_data);
            if (++size == chunks.end()) size = chunks.begin();
        }
    }

    /* A parameter read as the action starts it: mode 1 with the first-read flag. */
    static void start_param_read() { ASSERT_EQ(param_transaction_read(), PARAM_CMD_STARTED); }

    /* One register read step as it reaches the tool: the request goes out (the timer fires), its
     * echo comes back when echo is on, then the servo's reply. */
    static void register_step(const Bytes& reply, bool echo = true) {
        const int step = g_protocol.reg_read_counter;
        fake_timer_fire(fake_timers().timers.back().get());
        if (echo) feed(reg_request(READ_CODES[step]));
        feed(reply);
    }

    /* Register steps from `from` up to (not including) `to` answered with the simulator's values. */
    static void default_steps(int from, int to, bool echo = true) {
        for (int step = from; step < to; ++step)
            register_step(reg_reply(DEFAULT_REGS[step][0], DEFAULT_REGS[step][1]), echo);
    }

    /* Lets the read timer run out (its ninth call deletes it and empties the echo table). */
    static void finish_read_timer() {
        FakeTimer* t = fake_timers().timers.back().get();
        for (int i = 0; i < 9 && t->alive; ++i)
            fake_timer_fire(t);
        ASSERT_FALSE(t->alive);
    }
};

} // namespace

/* ---- information read ---- */

TEST_F(ParserTest, info_reply_completes_at_its_last_byte_and_fills_the_fields) {
    struct Case {
        const char* label;
        Bytes before; /* ahead of the frame: the echo, garbage */
        const char *type, *shown;
        int chinese;
        const char* prompt;
    };
    const Case cases[] = {
        {"echo", INFO_REQUEST, "SIM-BLOCK-01", "SIM-BLOCK-01", 1, "舵机信息读取成功!"},
        {"no echo", {}, "SIM-BLOCK-01", "SIM-BLOCK-01", 1, "舵机信息读取成功!"},
        {"garbage before the tag, type cut at the first space", cat({{0x00, 0x5A, 0xC3}, INFO_REQUEST}), "AB CD", "AB",
         0, "Servo information read successfully!"},
        {"bytes that are not UTF-8 made valid", {}, "A\xFF", "A\xEF\xBF\xBD", 1, "舵机信息读取成功!"},
    };
    isSerialOpen = 1;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.label);
        fake_info_fields_reset();
        fake_prompts().clear();
        ui_language_chinese = c.chinese;
        ASSERT_EQ(info_transaction_read(), INFO_SENT);
        const Bytes stream = cat({c.before, info_frame(c.type, "20260115")});
        feed(Bytes(stream.begin(), stream.end() - 1));
        EXPECT_EQ(g_protocol.mode, MODE_READ_INFO) << "one byte short";
        feed({stream.back()});
        EXPECT_EQ(g_protocol.mode, MODE_IDLE);
        EXPECT_EQ(fake_info(InfoField::Type), c.shown);
        EXPECT_EQ(fake_info(InfoField::Year) + fake_info(InfoField::Month) + fake_info(InfoField::Day), "20260115");
        EXPECT_EQ(prompt_texts(), std::vector<std::string>{c.prompt});
    }
}

TEST_F(ParserTest, info_reply_starting_00_00_8e_is_taken_for_the_echo_and_needs_34_bytes) {
    isSerialOpen = 1;
    info_transaction_read();
    Bytes frame = info_frame("", "20260115");
    frame[1] = 0x00;
    frame[2] = 0x00;
    frame[3] = 0x8E;
    frame[29] = static_cast<uint8_t>(sum8(frame, 0, 29) - 1);
    LogCapture log;
    feed(frame);
    EXPECT_EQ(g_protocol.mode, MODE_READ_INFO);
    EXPECT_TRUE(log.contains("[detect_self_receive_pattern] 检测到自发自收模式"));
    feed({1, 2, 3, 4});
    EXPECT_EQ(g_protocol.mode, MODE_IDLE); /* read from offset 4: its checksum fails, silently */
    EXPECT_TRUE(fake_prompts().empty());
    EXPECT_EQ(fake_info_fields().writes, 0);
    EXPECT_TRUE(log.contains("[Error] 舵机信息校验失败!"));
}

TEST_F(ParserTest, info_reply_with_byte_1_at_0x80_is_refused_in_chinese_whatever_the_language) {
    isSerialOpen = 1;
    ui_language_chinese = 0;
    info_transaction_read();
    Bytes frame = info_frame("SERVO", "20260115");
    frame[1] = 0x80;
    frame[29] = static_cast<uint8_t>(sum8(frame, 0, 29) - 1); /* checksum right */
    feed(cat({INFO_REQUEST, frame}));
    ASSERT_EQ(fake_prompts().size(), 1u);
    EXPECT_EQ(fake_prompts()[0].kind, FakePrompt::Error);
    EXPECT_EQ(fake_prompts()[0].text, "读取信息失败！");
    EXPECT_EQ(fake_info_fields().writes, 0);
    EXPECT_EQ(g_protocol.mode, MODE_IDLE);
}

/* ---- read parameters: block family ---- */

TEST_F(ParserTest, block_read_through_the_ring_in_odd_chunks_fills_the_panel) {
    start_param_read();
    rxReadIndex = rxWriteIndex = RX_RING_SIZE - 5; /* the frame wraps round the ring's end */
    deliver(cat({PARAM_REQUEST, block_frame(DEFAULT_BLOCK)}), {1, 3, 7, 2, 11});
    EXPECT_EQ(g_protocol.mode, MODE_IDLE);
    EXPECT_EQ(parameterSource, PARAM_SOURCE_BLOCK);
    EXPECT_EQ(Bytes(parmeterBuff, parmeterBuff + 35), DEFAULT_BLOCK);
    EXPECT_EQ(fake_entry(PanelEntry::MaxAngle), "3500");
    EXPECT_TRUE(fake_checked(PanelCheck::Direction));
    EXPECT_EQ(prompt_texts(), std::vector<std::string>{"读取参数成功!"});
}

TEST_F(ParserTest, block_with_a_bad_checksum_is_dropped_silently_and_the_read_goes_on) {
    start_param_read();
    Bytes bad = block_frame(DEFAULT_BLOCK);
    bad.back() = static_cast<uint8_t>(bad.back() + 1); /* the plain sum */
    feed(cat({PARAM_REQUEST, bad}));
    EXPECT_EQ(g_protocol.mode, MODE_READ_PARAMS);
    EXPECT_TRUE(fake_prompts().empty());
    EXPECT_EQ(parameterSource, PARAM_SOURCE_NONE);
    feed(block_frame(DEFAULT_BLOCK));
    EXPECT_EQ(fake_entry(PanelEntry::Gain), "65");
    EXPECT_EQ(parameterSource, PARAM_SOURCE_BLOCK);
}

TEST_F(ParserTest, block_data_byte_0x81_is_swallowed_as_echo_and_the_frame_is_lost) {
    start_param_read();
    /* 0x81 then a byte that differs from the request's second byte: only the 0x81 goes. */
    Bytes data = DEFAULT_BLOCK;
    data[22] = 0x81;
    feed(cat({PARAM_REQUEST, block_frame(data)}));
    EXPECT_EQ(g_protocol.mode, MODE_READ_PARAMS);
    EXPECT_TRUE(fake_prompts().empty());
    EXPECT_EQ(parmeterBuff[22], 0);
    EXPECT_EQ(g_protocol.param_state, 3) << "the checksum was taken as the last data byte";
    feed({0x00}); /* whatever comes next is taken for the checksum */
    EXPECT_EQ(g_protocol.param_state, 0);
    feed(block_frame(DEFAULT_BLOCK));
    EXPECT_EQ(parameterSource, PARAM_SOURCE_BLOCK);
}

/* ---- read parameters: register family ---- */

TEST_F(ParserTest, eight_register_replies_after_their_echoes_fill_the_panel_and_a_ninth_is_dropped) {
    start_param_read();
    feed(PARAM_REQUEST);
    default_steps(0, 8);
    EXPECT_EQ(g_protocol.mode, MODE_IDLE);
    EXPECT_EQ(parameterSource, PARAM_SOURCE_REGISTER);
    EXPECT_EQ(prompt_texts(), std::vector<std::string>{"读取参数成功!"});
    const std::pair<PanelEntry, const char*> shown[] = {
        {PanelEntry::Stall1Power, "1"}, {PanelEntry::Stall1Time, "3"},    {PanelEntry::Gain, "65"},
        {PanelEntry::Damping, "50"},    {PanelEntry::OutputPower, "100"}, {PanelEntry::MinPulse, "1000"},
        {PanelEntry::MaxPulse, "2000"}, {PanelEntry::MinAngle, "596"},    {PanelEntry::MaxAngle, "3500"},
        {PanelEntry::MidAngle, "2048"}, {PanelEntry::Deadband, "3"},      {PanelEntry::SoftStart, "1"},
    };
    for (const auto& [entry, text] : shown)
        EXPECT_EQ(fake_entry(entry), text) << static_cast<int>(entry);
    EXPECT_TRUE(fake_checked(PanelCheck::Direction));
    EXPECT_EQ(g_protocol.read_cache_count, 0) << "emptied by the eighth reply";
    EXPECT_EQ(g_protocol.last_read[REG_LP], 232) << "last-read values are cut to 8 bits";

    fake_timer_fire(fake_timers().timers.back().get()); /* the ninth call ends the timer */
    EXPECT_EQ(fake_timers_alive(), 0);
    EXPECT_EQ(g_protocol.reg_echo_count, 0);
    const int writes = fake_panel().writes;
    feed(reg_reply(1, 2)); /* a ninth reply without a new read */
    EXPECT_EQ(fake_panel().writes, writes);
    EXPECT_EQ(fake_prompts().size(), 1u);
}

TEST_F(ParserTest, without_echo_each_register_reply_loses_its_tag_to_the_echo_table) {
    /* The table waits for the request's echo; a reply's 0xAF matches the echo's first byte. */
    start_param_read();
    default_steps(0, 8, false);
    EXPECT_EQ(g_protocol.mode, MODE_READ_PARAMS);
    EXPECT_EQ(fake_panel().writes, 0);
    EXPECT_EQ(parameterSource, PARAM_SOURCE_NONE);
}

TEST_F(ParserTest, direction_byte_other_than_0_or_1_leaves_the_switch) {
    start_param_read();
    fake_checked(PanelCheck::Direction) = true;
    default_steps(0, 7);
    register_step(reg_reply(0x0702, 0)); /* LS 7, direction byte 2 */
    EXPECT_EQ(fake_entry(PanelEntry::SoftStart), "7");
    EXPECT_TRUE(fake_checked(PanelCheck::Direction));
}

TEST_F(ParserTest, a_checksum_mismatch_ends_the_read_but_its_step_survives_into_the_next_read) {
    start_param_read();
    LogCapture log;
    default_steps(0, 3);
    Bytes bad = reg_reply(4000, 8000);
    bad.back() ^= 0x01;
    register_step(bad);
    EXPECT_TRUE(log.contains("Checksum mismatch"));
    EXPECT_EQ(g_protocol.mode, MODE_IDLE);
    EXPECT_EQ(g_protocol.read_step, 4);
    EXPECT_EQ(fake_entry(PanelEntry::MinPulse), "") << "the failed reply filled nothing";
    register_step(reg_reply(596, 3500)); /* the rest of this read is dropped */
    EXPECT_EQ(fake_entry(PanelEntry::MinAngle), "");

    /* The next read's first reply lands on step 4: the angles, not the stall values. */
    finish_read_timer();
    start_param_read();
    register_step(reg_reply(100, 200));
    EXPECT_EQ(fake_entry(PanelEntry::MinAngle), "100");
    EXPECT_EQ(fake_entry(PanelEntry::MaxAngle), "200");
    default_steps(5, 7);
    EXPECT_TRUE(fake_prompts().empty());
    Bytes bad_last = reg_reply(0x0101, 0);
    bad_last.back() ^= 0x10;
    register_step(bad_last); /* step 7: a mismatch on the last reply still reports success */
    EXPECT_EQ(prompt_texts(), std::vector<std::string>{"读取参数成功!"});
    EXPECT_EQ(parameterSource, PARAM_SOURCE_REGISTER);
    EXPECT_EQ(g_protocol.read_step, 0);
}

TEST_F(ParserTest, a_reply_with_a_wrong_length_field_ends_the_read_without_a_message) {
    start_param_read();
    default_steps(0, 1);
    LogCapture log;
    Bytes wrong = reg_reply(65, 50);
    wrong[3] = 0x0A;
    wrong[8] = sum8(wrong, 2, 8); /* the checksum would match */
    register_step(wrong);
    EXPECT_TRUE(log.contains("Invalid frame length! Reset."));
    EXPECT_EQ(g_protocol.mode, MODE_IDLE);
    EXPECT_EQ(g_protocol.read_step, 0);
    EXPECT_EQ(fake_entry(PanelEntry::Gain), "");
    EXPECT_TRUE(fake_prompts().empty());
}

TEST_F(ParserTest, a_read_after_a_wrong_length_reply_keeps_its_replies_from_the_first_entry) {
    start_param_read();
    default_steps(0, 7);
    Bytes wrong = reg_reply(0, 0);
    wrong[3] = 0x0A; /* ends the read at step 0 */
    register_step(wrong);

    finish_read_timer();
    start_param_read();
    register_step(reg_reply(0x1111, 0x2222)); /* step 0: a write takes OD and OT from entry 0 */
    EXPECT_EQ(Bytes(ReadCacheBuff[0], ReadCacheBuff[0] + 4), (Bytes{0x11, 0x11, 0x22, 0x22}));
}

TEST_F(ParserTest, a_reply_parsed_after_the_next_request_went_out_is_eaten_by_the_echo_table) {
    /* The table expects the next request's echo once a request has gone out; a reply whose 0xAF
     * arrives then is taken for that echo, and the read loses its step. The 10 ms spacing of the
     * requests is what keeps replies ahead of it. */
    start_param_read();
    fake_timer_fire(fake_timers().timers.back().get());
    fake_timer_fire(fake_timers().timers.back().get());
    feed(cat({reg_request(0x38), reg_reply(80, 3000), reg_request(0x3D), reg_reply(65, 50)}));
    EXPECT_EQ(fake_entry(PanelEntry::Stall1Power), "");
    EXPECT_EQ(fake_entry(PanelEntry::Gain), "");
    EXPECT_EQ(g_protocol.mode, MODE_READ_PARAMS);
}

/* ---- write acknowledgement, version report, information write ---- */

TEST_F(ParserTest, four_0x80_complete_a_block_write_only_in_a_row_and_only_while_it_is_pending) {
    g_protocol.mode = MODE_WRITE_PARAMS;
    g_protocol.block_write_pending = WRITE_PENDING_REGISTER;
    feed(ACK);
    EXPECT_EQ(g_protocol.mode, MODE_WRITE_PARAMS);

    g_protocol.block_write_pending = WRITE_PENDING_BLOCK;
    feed({0x80, 0x80, 0x01, 0x80, 0x80});
    EXPECT_EQ(g_protocol.mode, MODE_WRITE_PARAMS);
    EXPECT_TRUE(fake_prompts().empty());
    feed({0x80, 0x80});
    EXPECT_EQ(g_protocol.mode, MODE_IDLE);
    EXPECT_EQ(g_protocol.block_write_pending, WRITE_PENDING_NONE);
    EXPECT_EQ(prompt_texts(), std::vector<std::string>{"写入参数成功!"});
}

TEST_F(ParserTest, version_report_with_the_plain_sum_is_shown_and_one_with_the_block_rule_is_dropped) {
    g_protocol.mode = MODE_VERSION_QUERY;
    Bytes report = {0x8F, '2', '1', 0x12, 0x34, 0x00, 0x0A, 0xBC, 0xDE, 0xFE, 0xDC, 0xBA, 0x98};
    report.push_back(sum8(report, 0, 13));
    Bytes wrong = report;
    wrong.back() = static_cast<uint8_t>(wrong.back() - 1);
    feed(cat({{0x11, 0x22}, wrong}));
    EXPECT_TRUE(fake_prompts().empty());
    feed(report);
    EXPECT_EQ(prompt_texts(), std::vector<std::string>{"Version: 21 \nParameter Checksum: 0x1234\n"
                                                       "Program Checksum: 0x000abcde\nProgram CRC: 0xfedcba98"});
    EXPECT_EQ(g_protocol.mode, MODE_VERSION_QUERY) << "the report does not end the mode";
}

TEST_F(ParserTest, info_write_echo_swallows_a_31st_byte_of_0x00_and_any_other_byte_completes_it) {
    isSerialOpen = 1;
    fake_info(InfoField::Type) = "T1";
    ASSERT_EQ(info_transaction_write(), INFO_SENT);
    const Bytes frame(g_servo_info_tx_buf, g_servo_info_tx_buf + 30);
    EXPECT_EQ(frame, info_frame("T1", "20260101"));
    feed(cat({frame, {0x00}}));
    EXPECT_EQ(g_protocol.mode, MODE_WRITE_INFO);
    EXPECT_TRUE(fake_prompts().empty());
    feed({0x00}); /* the echo is over: now a 0x00 is the answer */
    EXPECT_EQ(g_protocol.mode, MODE_IDLE);
    EXPECT_EQ(prompt_texts(), std::vector<std::string>{"写入信息成功!"});
    EXPECT_EQ(g_servo_info_tx_buf[0], 0);

    fake_prompts().clear();
    ASSERT_EQ(info_transaction_write(), INFO_SENT);
    feed(cat({frame, {0x01}}));
    EXPECT_EQ(prompt_texts(), std::vector<std::string>{"写入信息成功!"});
}
