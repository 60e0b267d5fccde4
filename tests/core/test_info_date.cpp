/* The rules of the version date fields without a screen: the change check's decisions, the
 * steppers, the day clamp and the language of its message. */
#include "common/lang.h"
#include "protocol/info_date.h"

#include <gtest/gtest.h>

#include <string>

namespace {

struct Expect {
    bool write;
    const char* text;
    bool prompt;
    int32_t lo, hi;
    bool clamp;
};

void expect_check(DateField f, const char* text, const char* last, int32_t min, int32_t max, const Expect& e) {
    const DateCheck c = info_date_check(f, text, last, min, max);
    SCOPED_TRACE(std::string("text \"") + text + "\"");
    EXPECT_EQ(c.write, e.write);
    if (e.write) {
        EXPECT_STREQ(c.text, e.text);
    }
    EXPECT_EQ(c.prompt, e.prompt);
    if (e.prompt) {
        EXPECT_EQ(c.prompt_min, e.lo);
        EXPECT_EQ(c.prompt_max, e.hi);
    }
    EXPECT_EQ(c.clamp_day, e.clamp);
}

} // namespace

TEST(InfoDate, month_and_day_show_two_digits_up_to_99_and_the_year_as_it_is) {
    char out[16];
    info_date_format(DateField::Month, 5, out, sizeof out);
    EXPECT_STREQ(out, "05");
    info_date_format(DateField::Day, 0, out, sizeof out);
    EXPECT_STREQ(out, "00");
    info_date_format(DateField::Day, 100, out, sizeof out);
    EXPECT_STREQ(out, "100");
    info_date_format(DateField::Year, 7, out, sizeof out);
    EXPECT_STREQ(out, "7");
    EXPECT_EQ(info_date_format(DateField::Year, 2026, out, 3), 2u);
    EXPECT_STREQ(out, "20");
}

TEST(InfoDate, year_check_waits_for_four_characters_then_holds_2000_to_2100) {
    expect_check(DateField::Year, "20", "20", 2000, 2100, {false, "", false, 0, 0, false});
    expect_check(DateField::Year, "", "", 2000, 2100, {false, "", false, 0, 0, false});
    expect_check(DateField::Year, "2024", "2024", 2000, 2100, {false, "", false, 0, 0, true});
    expect_check(DateField::Year, "1999", "1999", 2000, 2100, {true, "2026", true, 2000, 2100, true});
    expect_check(DateField::Year, "0999", "0999", 2000, 2100, {true, "2026", true, 2000, 2100, true});
    expect_check(DateField::Year, "12345", "12345", 2000, 2100, {true, "2100", true, 2000, 2100, true});
}

TEST(InfoDate, month_and_day_are_held_in_range_and_rewritten_with_two_digits) {
    expect_check(DateField::Month, "5", "5", 0, 12, {true, "05", false, 0, 0, true});
    expect_check(DateField::Month, "005", "005", 0, 12, {true, "05", false, 0, 0, true});
    expect_check(DateField::Month, "13", "13", 0, 12, {true, "12", true, 0, 12, true});
    expect_check(DateField::Month, "", "01", 0, 12, {true, "00", false, 0, 0, true}); /* empty reads as 0 */
    expect_check(DateField::Day, "0", "0", 0, 29, {true, "00", false, 0, 0, false});
    expect_check(DateField::Day, "31", "31", 0, 29, {true, "29", true, 0, 29, false});
    expect_check(DateField::Day, "99999999999", "99999999999", 0, 31, {true, "31", true, 0, 31, false});
}

TEST(InfoDate, a_non_digit_puts_the_last_text_back_without_a_range_check) {
    /* The last text is the current one, so the entry stays as typed. */
    expect_check(DateField::Month, "1a", "1a", 0, 12, {true, "1a", false, 0, 0, false});
    expect_check(DateField::Year, "20x6", "20x6", 2000, 2100, {true, "20x6", false, 0, 0, false});
    expect_check(DateField::Day, "-1", "", 0, 31, {true, "01", false, 0, 0, false});
    expect_check(DateField::Year, "abcd", "", 2000, 2100, {true, "2026", false, 0, 0, false});
    EXPECT_TRUE(info_date_all_digits(""));
    EXPECT_FALSE(info_date_all_digits(" 1"));
}

TEST(InfoDate, steppers_move_by_one_and_stop_at_the_bounds) {
    EXPECT_EQ(info_date_step(11, 0, 12, true), 12);
    EXPECT_EQ(info_date_step(12, 0, 12, true), 12);
    EXPECT_EQ(info_date_step(0, 0, 12, false), 0);
    EXPECT_EQ(info_date_step(2500, 2000, 2100, true), 2100);
    EXPECT_EQ(info_date_step(2500, 2000, 2100, false), 2499);
    EXPECT_EQ(info_date_step(INT32_MAX, 0, INT32_MAX, true), INT32_MAX);
}

TEST(InfoDate, day_is_clamped_to_the_last_day_of_a_known_month) {
    struct Case {
        int32_t year, month, day;
        int result;
        const char* text;
    };
    const Case cases[] = {
        {2024, 2, 31, DATE_CLAMP_ADJUSTED, "29"}, {2100, 2, 29, DATE_CLAMP_ADJUSTED, "28"},
        {2000, 2, 30, DATE_CLAMP_ADJUSTED, "29"}, {2023, 4, 31, DATE_CLAMP_ADJUSTED, "30"},
        {2023, 4, 5, DATE_CLAMP_REFORMAT, "05"},  {2023, 0, 31, DATE_CLAMP_REFORMAT, "31"},
        {2023, 4, 0, DATE_CLAMP_NONE, ""},        {1999, 2, 31, DATE_CLAMP_NONE, ""},
        {2101, 2, 31, DATE_CLAMP_NONE, ""},       {2023, 13, 31, DATE_CLAMP_NONE, ""},
    };
    for (const Case& c : cases) {
        char out[16] = "";
        EXPECT_EQ(info_date_clamp_day(c.year, c.month, c.day, out, sizeof out), c.result)
            << c.year << "-" << c.month << "-" << c.day;
        if (c.result != DATE_CLAMP_NONE) {
            EXPECT_STREQ(out, c.text);
        }
    }
}

TEST(InfoDate, the_adjustment_message_follows_the_start_language_not_the_toggle) {
    lang_reset();
    ui_language_chinese = 0;
    EXPECT_STREQ(info_date_adjusted_message(), "日期已自动调整为当月最后一天");
    ui_language_at_start = LANG_AT_START_OTHER;
    ui_language_chinese = 1;
    EXPECT_STREQ(info_date_adjusted_message(), "Date adjusted to last day of month");
    lang_reset();
}
