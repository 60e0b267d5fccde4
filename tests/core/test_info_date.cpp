/* The rules of the version date fields without a screen: the change check's decisions and the
 * day clamp (the panel test runs them through the widgets). */
#include "protocol/info_date.h"

#include <gtest/gtest.h>

#include <string>

TEST(InfoDate, change_check_decides_what_goes_back_into_the_field) {
    struct Case {
        DateField field;
        const char *text, *last;
        int32_t min, max;
        const char* write; /* null: the field is left alone */
        bool prompt;       /* the range message for min..max */
        bool clamp;
    };
    const Case cases[] = {
        /* A year waits for four characters, then holds 2000 to 2100. */
        {DateField::Year, "20", "20", 2000, 2100, nullptr, false, false},
        {DateField::Year, "2024", "2024", 2000, 2100, nullptr, false, true},
        {DateField::Year, "1999", "1999", 2000, 2100, "2026", true, true},
        {DateField::Year, "12345", "12345", 2000, 2100, "2100", true, true},
        /* Month and day are held in range and rewritten with two digits; empty reads as 0. */
        {DateField::Month, "5", "5", 0, 12, "05", false, true},
        {DateField::Month, "13", "13", 0, 12, "12", true, true},
        {DateField::Month, "", "01", 0, 12, "00", false, true},
        {DateField::Day, "31", "31", 0, 29, "29", true, false},
        {DateField::Day, "99999999999", "99999999999", 0, 31, "31", true, false},
        /* A non-digit puts the last text back (the default when it is empty) without a range check. */
        {DateField::Month, "1a", "1a", 0, 12, "1a", false, false},
        {DateField::Day, "-1", "", 0, 31, "01", false, false},
        {DateField::Year, "abcd", "", 2000, 2100, "2026", false, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string("text \"") + c.text + "\" last \"" + c.last + "\"");
        const DateCheck d = info_date_check(c.field, c.text, c.last, c.min, c.max);
        EXPECT_STREQ(d.write ? d.text : nullptr, c.write);
        EXPECT_EQ(d.prompt, c.prompt);
        if (c.prompt) {
            EXPECT_EQ(d.prompt_min, c.min);
            EXPECT_EQ(d.prompt_max, c.max);
        }
        EXPECT_EQ(d.clamp_day, c.clamp);
    }
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
        EXPECT_STREQ(c.result != DATE_CLAMP_NONE ? out : "", c.text) << c.year << "-" << c.month << "-" << c.day;
    }
}
