// Days as people write them. A day is counted from the epoch, UTC.

#pragma once

#include <string>
#include <vector>

struct Date {
    int year = 0;
    unsigned month = 0; // 1 to 12
    unsigned day = 0;   // 1 to 31
};

[[nodiscard]] bool IsOnCalendar(long day); // from the year 1 to the year 9999

// Of days that are on the calendar.
[[nodiscard]] Date DateOf(long day);
[[nodiscard]] long DayOf(const Date& date);
[[nodiscard]] unsigned DaysInMonth(int year, unsigned month);

[[nodiscard]] const char* MonthName(unsigned month);

// "3 March 2026", "3–5 March 2026", "28 February – 3 March 2026", "30 December 2025 – 2 January
// 2026".
[[nodiscard]] std::string RangeText(long firstDay, long lastDay);

// "21 November 2026, 16:50:38 UTC", in local time.
[[nodiscard]] std::string LongTimeText(long timeTm);

// Days of a month in ascending order: "3–5, 7".
[[nodiscard]] std::string DayListText(const std::vector<unsigned>& days);
