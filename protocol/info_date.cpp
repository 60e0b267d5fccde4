#include "protocol/info_date.h"

#include "common/date_rules.h"
#include "common/lang.h"
#include "common/text_format.h"
#include "params/panel_fields.h"

#include <cstring>

namespace {

constexpr size_t YEAR_DIGITS = 4;

} // namespace

size_t info_date_format(DateField field, int32_t value, char* out, size_t cap) {
    if (out == nullptr || cap == 0) return 0;
    const bool two_digits = field != DateField::Year && value <= 99;
    return text_format(out, cap, two_digits ? "%02d" : "%d", static_cast<int>(value));
}

bool info_date_all_digits(const char* text) {
    if (text == nullptr) return true;
    for (const char* p = text; *p != '\0'; ++p)
        if (*p < '0' || *p > '9') return false;
    return true;
}

DateCheck info_date_check(DateField field, const char* text, const char* last_text, int32_t min, int32_t max) {
    DateCheck c;
    if (text == nullptr) text = "";
    if (last_text == nullptr) last_text = "";
    const size_t len = strlen(text);
    if (field == DateField::Year && len < YEAR_DIGITS) return c;

    if (!info_date_all_digits(text)) {
        /* The last text already holds what was typed, so the entry stays as it is; kept so. */
        c.write = true;
        const char* fallback = field == DateField::Year ? DATE_YEAR_DEFAULT : DATE_MONTH_DAY_DEFAULT;
        text_format(c.text, sizeof c.text, "%s", last_text[0] != '\0' ? last_text : fallback);
        return c;
    }

    c.clamp_day = field != DateField::Day;
    const int32_t value = params_parse_int(text, nullptr);
    if (field == DateField::Year && len == YEAR_DIGITS && (value < DATE_YEAR_MIN || value > DATE_YEAR_MAX)) {
        c.write = true;
        text_format(c.text, sizeof c.text, "%s", DATE_YEAR_DEFAULT); /* the last text is out of range too */
        c.prompt = true;
        c.prompt_min = DATE_YEAR_MIN;
        c.prompt_max = DATE_YEAR_MAX;
        return c;
    }
    if (value < min || value > max) {
        c.write = true;
        info_date_format(field, value < min ? min : max, c.text, sizeof c.text);
        c.prompt = true;
        c.prompt_min = min;
        c.prompt_max = max;
    } else if (field != DateField::Year) {
        c.write = true; /* "5" becomes "05" */
        info_date_format(field, value, c.text, sizeof c.text);
    }
    return c;
}

int32_t info_date_step(int32_t value, int32_t min, int32_t max, bool up) {
    if (up) return value >= max ? max : value + 1;
    return value <= min ? min : value - 1;
}

int info_date_clamp_day(int32_t year, int32_t month, int32_t day, char* out, size_t cap) {
    if (!date_bounds_day(year, month)) return DATE_CLAMP_NONE;
    const int last = days_in_month(year, month); /* month 0 counts as 31 days */
    if (last < 1) return DATE_CLAMP_NONE;
    if (day > last) {
        info_date_format(DateField::Day, last, out, cap);
        return DATE_CLAMP_ADJUSTED;
    }
    if (day >= 1) {
        info_date_format(DateField::Day, day, out, cap);
        return DATE_CLAMP_REFORMAT;
    }
    return DATE_CLAMP_NONE;
}

const char* info_date_adjusted_message() {
    return lang_state().ui_language_at_start == LANG_AT_START_CHINESE ? "日期已自动调整为当月最后一天"
                                                         : "Date adjusted to last day of month";
}
