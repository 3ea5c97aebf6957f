// The time zone of the process, for a test.

#pragma once

#include <cstdlib>
#include <ctime>
#include <string>

// Sets the zone until the end of the test; then it is UTC.
class TimeZone {
public:
    explicit TimeZone(const std::string& name) { Set(name); }
    ~TimeZone() { Set("UTC0"); }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;
    TimeZone(TimeZone&&) = delete;
    TimeZone& operator=(TimeZone&&) = delete;

private:
    static void Set(const std::string& name) {
        setenv("TZ", name.c_str(), 1);
        tzset();
    }
};
