#include "ui/field_range.h"

#include "common/date_rules.h"
#include "params/panel_fields.h"
#include "ui/param_panel.h"
#include "ui/screen.h"

namespace {
constexpr size_t RANGE_MESSAGE_SIZE = 50;
char g_range_message[RANGE_MESSAGE_SIZE];
} // namespace

bool field_range(const lv_obj_t* obj, int32_t* min, int32_t* max) {
    if (obj == nullptr) return false;
    int32_t lo = 0, hi = 0;
    if (obj == ui_year_input) {
        lo = DATE_YEAR_MIN;
        hi = DATE_YEAR_MAX;
    } else if (obj == ui_month_input) {
        hi = DATE_MONTH_MAX;
    } else if (obj == ui_day_input) {
        const int32_t year = field_value(ui_year_input);
        const int32_t month = field_value(ui_month_input);
        hi = date_bounds_day(year, month) ? days_in_month(year, month) : 31;
    } else if (!param_field_range(obj, &lo, &hi)) {
        return false;
    }
    if (min != nullptr) *min = lo;
    if (max != nullptr) *max = hi;
    return true;
}

int32_t field_value(const lv_obj_t* ta) {
    return ta == nullptr ? 0 : params_parse_int(lv_textarea_get_text(ta), nullptr);
}

const char* field_range_message(int32_t min, int32_t max) {
    return panel_range_message(g_range_message, sizeof g_range_message, min, max);
}
