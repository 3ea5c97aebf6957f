// Calendar days, and their texts for people. A day is a number of days since the epoch, in UTC.

#pragma once

#include <string>
#include <vector>

struct Date {
    int year = 0;
    unsigned month = 0; // 1 to 12
    unsigned day = 0;   // 1 to 31
};

// Returns true for the days of the years 1 to 9999. The functions below accept only these.
[[nodiscard]] bool IsOnCalendar(long day);

[[nodiscard]] Date DateOf(long day);
[[nodiscard]] long DayOf(const Date& date);
[[nodiscard]] unsigned DaysInMonth(int year, unsigned month);

[[nodiscard]] const char* MonthName(unsigned month);

// "3 March 2026", "3–5 March 2026", "28 February – 3 March 2026", "30 December 2025 – 2 January
// 2026".
[[nodiscard]] std::string RangeText(long firstDay, long lastDay);

// "21 November 2026, 16:50:38 UTC", in local time. `timeTm` is in seconds since the epoch.
[[nodiscard]] std::string LongTimeText(long timeTm);

// "3–5, 7" for days of a month in ascending order.
[[nodiscard]] std::string DayListText(const std::vector<unsigned>& days);
