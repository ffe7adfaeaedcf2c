// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/Coding.h"

#include "TessivarBase/ASCII.h"

#include <algorithm>
#include <cstdio>

namespace fluvane::coding {

namespace {

using std::chrono::days;
using std::chrono::seconds;
using SysSeconds = std::chrono::sys_seconds;

constexpr std::string_view pattern = "dddd-dd-ddTdd:dd:ddZ";

bool fitsPattern(std::string_view text) {
    return std::equal(text.begin(), text.end(), pattern.begin(), pattern.end(), [](char given, char wanted) {
        return wanted == 'd' ? tessivar::ascii::isDigit(given) : given == wanted;
    });
}

int number(std::string_view text, std::size_t at, std::size_t digits) {
    int value = 0;
    for (const char digit : text.substr(at, digits)) {
        value = value * 10 + (digit - '0');
    }
    return value;
}

std::optional<SysSeconds> readDate(std::string_view text) {
    if (!fitsPattern(text)) {
        return std::nullopt;
    }
    const std::chrono::year_month_day day(std::chrono::year(number(text, 0, 4)),
                                          std::chrono::month(static_cast<unsigned>(number(text, 5, 2))),
                                          std::chrono::day(static_cast<unsigned>(number(text, 8, 2))));
    const int hour = number(text, 11, 2);
    const int minute = number(text, 14, 2);
    const int second = number(text, 17, 2);
    if (!day.ok() || hour > 23 || minute > 59 || second > 59) {
        return std::nullopt;
    }
    return std::chrono::sys_days(day) + std::chrono::hours(hour) + std::chrono::minutes(minute) +
           seconds(second);
}

/// The clock counts in units so small that it ends in the year 2262: a date past its ends becomes the end.
Date clamped(SysSeconds date) {
    static constexpr auto first = std::chrono::ceil<seconds>(Date::min());
    static constexpr auto last = std::chrono::floor<seconds>(Date::max());
    return std::clamp<SysSeconds>(date, first, last);
}

} // namespace

std::string encode(Date date) {
    const auto whole = std::chrono::floor<seconds>(date);
    const auto midnight = std::chrono::floor<days>(whole);
    const std::chrono::year_month_day day(midnight);
    const std::chrono::hh_mm_ss time(whole - midnight);
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(day.year()),
                  static_cast<unsigned>(day.month()), static_cast<unsigned>(day.day()),
                  static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                  static_cast<int>(time.seconds().count()));
    return text.data();
}

template <>
Date decode<Date>(const Json& json) {
    if (!json.is_string()) {
        throw DecodingError(DecodingError::Kind::typeMismatch, "Expected text.", false);
    }
    const auto date = readDate(json.get_ref<const std::string&>());
    if (!date) {
        throw DecodingError(DecodingError::Kind::dataCorrupted, "Expected a date like 2026-03-01T09:15:42Z.",
                            false);
    }
    return clamped(*date);
}

} // namespace fluvane::coding
