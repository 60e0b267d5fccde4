/* Calendar rules of the version date fields. */
#pragma once

/* Days of a month: 31, 28/29, 31, 30, ... for months 1-12 (February has 29 when the year is
 * divisible by 4 and not by 100, or by 400); 31 for any other month, month 0 included. */
int days_in_month(int year, int month);
