#include "common/date_rules.h"

int days_in_month(int year, int month) {
    static const int DAYS[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (month < 1 || month > 12) return 31;
    if (month == 2 && ((year % 4 == 0 && year % 100 != 0) || year % 400 == 0)) return 29;
    return DAYS[month - 1];
}

bool date_bounds_day(int year, int month) {
    return year >= DATE_YEAR_MIN && year <= DATE_YEAR_MAX && month <= DATE_MONTH_MAX;
}
