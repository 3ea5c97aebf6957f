#include "tools/krctl/report/dates.h"

#include <array>
#include <chrono>
#include <ctime>

namespace {

using std::chrono::day;
using std::chrono::days;
using std::chrono::month;
using std::chrono::sys_days;
using std::chrono::year;
using std::chrono::year_month_day;

constexpr long kFirstDay = sys_days(year(1) / 1 / 1).time_since_epoch().count();
constexpr long kLastDay = sys_days(year(9999) / 12 / 31).time_since_epoch().count();

constexpr const char* kDash = "\u2013";

std::string MonthText(const Date& date) {
    return std::string(" ") + MonthName(date.month);
}

std::string YearText(const Date& date) {
    return " " + std::to_string(date.year);
}

} // namespace

bool IsOnCalendar(long day) {
    return day >= kFirstDay && day <= kLastDay;
}

Date DateOf(long day) {
    const year_month_day date{sys_days(days(day))};
    return {static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
            static_cast<unsigned>(date.day())};
}

long DayOf(const Date& date) {
    return sys_days(year(date.year) / month(date.month) / day(date.day)).time_since_epoch().count();
}

unsigned DaysInMonth(int ofYear, unsigned ofMonth) {
    return static_cast<unsigned>((year(ofYear) / month(ofMonth) / std::chrono::last).day());
}

const char* MonthName(unsigned month) {
    static constexpr std::array<const char*, 12> kNames{
        "January", "February", "March",     "April",   "May",      "June",
        "July",    "August",   "September", "October", "November", "December"};
    return kNames.at(month - 1);
}

std::string RangeText(long firstDay, long lastDay) {
    const Date first = DateOf(firstDay);
    const Date last = DateOf(lastDay);
    std::string end = std::to_string(last.day) + MonthText(last) + YearText(last);
    if (firstDay == lastDay) {
        return end;
    }
    const std::string begin = std::to_string(first.day);
    if (first.year != last.year) {
        return begin + MonthText(first) + YearText(first) + " " + kDash + " " + end;
    }
    return first.month == last.month ? begin + kDash + end
                                     : begin + MonthText(first) + " " + kDash + " " + end;
}

std::string LongTimeText(long timeTm) {
    const std::time_t seconds = timeTm;
    struct tm local = {};
    localtime_r(&seconds, &local);
    std::array<char, 64> text{};
    const std::size_t length =
        std::strftime(text.data(), text.size(), " %B %Y, %H:%M:%S %Z", &local);
    return std::to_string(local.tm_mday) + std::string(text.data(), length);
}

std::string DayListText(const std::vector<unsigned>& days) {
    std::string text;
    for (std::size_t i = 0; i < days.size(); ++i) {
        const std::size_t first = i;
        while (i + 1 < days.size() && days[i + 1] == days[i] + 1) {
            ++i;
        }
        text += (text.empty() ? "" : ", ") + std::to_string(days[first]);
        if (i > first) {
            text += kDash + std::to_string(days[i]);
        }
    }
    return text;
}
