/* Calendar rules of the version date fields. */
#pragma once

/* Range of the year field, and the highest month (month 0 is accepted). */
constexpr int DATE_YEAR_MIN = 2000;
constexpr int DATE_YEAR_MAX = 2100;
constexpr int DATE_MONTH_MAX = 12;

/* Days of a month: 31, 28/29, 31, 30, ... for months 1-12 (February has 29 when the year is
 * divisible by 4 and not by 100, or by 400); 31 for any other month, month 0 included. */
int days_in_month(int year, int month);

/* True when the year is within 2000-2100 and the month at most 12: only then does the month's
 * length bound the day field. */
bool date_bounds_day(int year, int month);
