#include "platform/db/Value.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <ctime>

namespace korvel::db {

namespace {

using namespace std::chrono;

constexpr sys_days kEpoch = sys_days{year{1899} / December / 30};
constexpr double kMsPerDay = 86400000.0;

} // namespace

TDateTime EncodeDateTime(int y, int m, int d, int hh, int mm, int ss, int ms) {
    sys_days day = sys_days{year{y} / month{static_cast<unsigned>(m)} / static_cast<unsigned>(d)};
    double days = static_cast<double>((day - kEpoch).count());
    double frac = ((hh * 60.0 + mm) * 60.0 + ss) * 1000.0 + ms;
    return days + frac / kMsPerDay;
}

TDateTime Now() {
    auto now = system_clock::now();
    std::time_t t = system_clock::to_time_t(now);
    std::tm local{};
    localtime_r(&t, &local);
    auto ms = duration_cast<milliseconds>(now.time_since_epoch()).count() % 1000;
    return EncodeDateTime(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min,
                          local.tm_sec, static_cast<int>(ms));
}

std::string DateTimeToIso(TDateTime value) {
    double days = std::floor(value);
    auto msOfDay = static_cast<long long>(std::llround((value - days) * kMsPerDay));
    if (msOfDay >= static_cast<long long>(kMsPerDay)) {
        days += 1;
        msOfDay -= static_cast<long long>(kMsPerDay);
    }
    year_month_day ymd{kEpoch + std::chrono::days{static_cast<long long>(days)}};
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02u-%02u %02lld:%02lld:%02lld.%03lld",
                  static_cast<int>(ymd.year()), static_cast<unsigned>(ymd.month()),
                  static_cast<unsigned>(ymd.day()), msOfDay / 3600000, msOfDay / 60000 % 60,
                  msOfDay / 1000 % 60, msOfDay % 1000);
    return text;
}

std::optional<TDateTime> IsoToDateTime(const std::string& text) {
    int y = 0, mo = 0, d = 0, h = 0, mi = 0, s = 0, ms = 0;
    int n = std::sscanf(text.c_str(), "%d-%d-%d%*[ T]%d:%d:%d.%d", &y, &mo, &d, &h, &mi, &s, &ms);
    if (n < 3 || mo < 1 || mo > 12 || d < 1 || d > 31 || h < 0 || h > 23 || mi < 0 || mi > 59 || s < 0 ||
        s > 60) {
        return std::nullopt;
    }
    year_month_day ymd{year{y}, month{static_cast<unsigned>(mo)}, day{static_cast<unsigned>(d)}};
    if (!ymd.ok()) {
        return std::nullopt;
    }
    return EncodeDateTime(y, mo, d, h, mi, s, ms);
}

} // namespace korvel::db
