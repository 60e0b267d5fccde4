/* Reading and writing the servo information: the port check, the write checks in their order and
 * messages, and the 200 ms time-outs on a clock the test drives (across a 32-bit wrap too). */
#include "protocol/info_transaction.h"
#include "tests/core/serial_test_support.h"

namespace {

class InfoTransactionTest : public serial_test::PortFixture {
  protected:
    void SetUp() override {
        PortFixture::SetUp();
        g_test_now = 5000;
        clock_set_source(test_now);
        serial_ports_set_open(1);
        fake_info(InfoField::Type) = "SERVO-7";
    }
};

} // namespace

TEST_F(InfoTransactionTest, read_is_refused_with_the_port_closed_in_the_language_in_force) {
    serial_ports_set_open(0);
    EXPECT_EQ(info_transaction_read(), INFO_PORT_CLOSED);
    lang_set_chinese(0);
    EXPECT_EQ(info_transaction_read(), INFO_PORT_CLOSED);
    EXPECT_EQ(prompt_texts(), (std::vector<std::string>{"请先打开串口！", "Please open the serial port first!"}));
    EXPECT_EQ(fake_prompts()[0].kind, FakePrompt::Error);
    EXPECT_TRUE(pty.receive(4, 50).empty());
}

TEST_F(InfoTransactionTest, write_checks_run_in_order_and_the_first_failure_shows_its_message) {
    struct Case {
        const char *type, *year, *month, *day;
        int result;
        const char* zh;
        const char* en; /* null: the message exists in Chinese only */
    };
    /* Each case also breaks every later check, so the order shows. */
    const Case cases[] = {
        {"", "", "1", "0", INFO_TYPE_EMPTY, "应正确输入\"舵机型号\"!", nullptr},
        {"T", "", "1", "01", INFO_MONTH_DAY_NOT_TWO, "月份和日期必须是两位数格式!",
         "Month and day must be in two-digit format!"},
        {"T", "", "13", "01", INFO_MONTH_OUT_OF_RANGE, "月份必须在1-12之间!", "Month must be between 1-12!"},
        {"T", "", "12", "00", INFO_YEAR_EMPTY, "应正确输入\"年\"(2000-2100)的数值!", nullptr},
        {"T", "1", "12", "00", INFO_YEAR_IS_ONE, "应正确输入\"年\"的数值!", nullptr},
        {"T", "12345", "12", "00", INFO_YEAR_NOT_FOUR, "\"年\"的数值需要4位数字!", "Year must be 4 digits!"},
        {"T", "2026", "12", "00", INFO_DAY_EMPTY, "应正确输入\"日\"的数值!", nullptr},
    };
    for (const Case& c : cases) {
        for (int chinese : {1, 0}) {
            fake_prompts().clear();
            lang_set_chinese(chinese);
            fake_info(InfoField::Type) = c.type;
            fake_info(InfoField::Year) = c.year;
            fake_info(InfoField::Month) = c.month;
            fake_info(InfoField::Day) = c.day;
            EXPECT_EQ(info_transaction_write(), c.result) << c.type << "/" << c.year << "/" << c.month << "/" << c.day;
            EXPECT_EQ(prompt_texts(), std::vector<std::string>{chinese || c.en == nullptr ? c.zh : c.en});
        }
    }
    lang_set_chinese(1);
    fake_info_fields().available[static_cast<int>(InfoField::Day)] = false;
    fake_prompts().clear();
    EXPECT_EQ(info_transaction_write(), INFO_FIELD_UNAVAILABLE);
    EXPECT_EQ(prompt_texts(), std::vector<std::string>{"请检查输入内容!"});
    EXPECT_TRUE(pty.receive(30, 50).empty());
}

TEST_F(InfoTransactionTest, an_unanswered_command_times_out_once_on_the_first_check_past_200_ms) {
    struct Case {
        const char* label;
        uint64_t start; /* clock at the command */
        int (*command)();
        const char* message;
    };
    const Case cases[] = {
        {"read", 5000, info_transaction_read, "舵机信息读取超时!"},
        {"write", 5000, info_transaction_write, "舵机信息写入超时!"},
        {"read across the wrap of the low 32 bits", 0x1FFFFFF9Cull, info_transaction_read, "舵机信息读取超时!"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.label);
        fake_prompts().clear();
        g_test_now = c.start;
        ASSERT_EQ(c.command(), INFO_SENT);
        g_test_now += 200;
        EXPECT_EQ(info_transaction_check_timeout(), 0);
        g_test_now += 1;
        EXPECT_EQ(info_transaction_check_timeout(), 1);
        g_test_now += 500;
        EXPECT_EQ(info_transaction_check_timeout(), 0);
        EXPECT_EQ(prompt_texts(), std::vector<std::string>{c.message});
    }
}
