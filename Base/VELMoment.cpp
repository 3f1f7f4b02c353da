// SPDX-License-Identifier: Apache-2.0
#include "Base/VELMoment.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace vel {
namespace {

/// Takes a text apart from its start.
class TimeReader {
public:
    explicit TimeReader(std::string_view text) : _rest(text) {}

    [[nodiscard]] bool failed() const { return _failed; }
    [[nodiscard]] bool atEnd() const { return _rest.empty(); }

    /// A number of exactly `digits` digits within the limits.
    int number(std::size_t digits, int minimum, int maximum) {
        int value = 0;
        for (std::size_t index = 0; index < digits; ++index) {
            value = value * 10 + digit();
        }
        _failed = _failed || value < minimum || value > maximum;
        return value;
    }

    /// One of `characters`, or the failure character NUL.
    char one(std::string_view characters) {
        if (_rest.empty() || characters.find(_rest.front()) == std::string_view::npos) {
            _failed = true;
            return '\0';
        }
        return take();
    }

    [[nodiscard]] bool startsWith(char character) const { return _rest.starts_with(character); }

    /// The digits of a fraction, at least one, as microseconds.
    std::chrono::microseconds fraction() {
        int value = digit();
        int digits = 1;
        while (!_rest.empty() && isDigit(_rest.front())) {
            const int next = digit();
            value = digits < 6 ? value * 10 + next : value;
            ++digits;
        }
        for (; digits < 6; ++digits) {
            value *= 10;
        }
        return std::chrono::microseconds(value);
    }

private:
    static bool isDigit(char character) { return character >= '0' && character <= '9'; }

    char take() {
        const char character = _rest.front();
        _rest.remove_prefix(1);
        return character;
    }

    int digit() {
        if (_rest.empty() || !isDigit(_rest.front())) {
            _failed = true;
            return 0;
        }
        return take() - '0';
    }

    std::string_view _rest;
    bool _failed = false;
};

std::chrono::minutes readOffset(TimeReader& reader) {
    const char sign = reader.one("Zz+-");
    if (sign != '+' && sign != '-') {
        return {};
    }
    const std::chrono::hours hours(reader.number(2, 0, 23));
    reader.one(":");
    const auto offset = hours + std::chrono::minutes(reader.number(2, 0, 59));
    return sign == '+' ? offset : -offset;
}

std::string digits(std::uint64_t number, std::size_t width) {
    std::string text = std::to_string(number);
    return std::string(width - std::min(width, text.size()), '0') + text;
}

} // namespace

std::optional<VELMoment> momentOfText(std::string_view text) {
    using namespace std::chrono;
    TimeReader reader(text);
    const year calendarYear(reader.number(4, 0, 9999));
    reader.one("-");
    const month calendarMonth(static_cast<unsigned>(reader.number(2, 1, 12)));
    reader.one("-");
    const day calendarDay(static_cast<unsigned>(reader.number(2, 1, 31)));
    reader.one("Tt ");
    const hours hour(reader.number(2, 0, 23));
    reader.one(":");
    const minutes minute(reader.number(2, 0, 59));
    reader.one(":");
    microseconds second = seconds(reader.number(2, 0, 60));
    if (reader.startsWith('.')) {
        reader.one(".");
        second += reader.fraction();
    }
    const minutes offset = readOffset(reader);
    const year_month_day date(calendarYear, calendarMonth, calendarDay);
    if (reader.failed() || !reader.atEnd() || !date.ok()) {
        return std::nullopt;
    }
    return sys_days(date) + hour + minute + second - offset;
}

std::optional<std::string> dateText(double secondsSince2001) {
    using namespace std::chrono;
    constexpr sys_seconds epoch = sys_days(year(2001) / January / 1);
    constexpr sys_seconds first = sys_days(year(0) / January / 1);
    constexpr sys_seconds end = sys_days(year(10000) / January / 1);
    const double whole = std::floor(secondsSince2001);
    // Written so that what is not a number is out of range, too.
    if (!(whole >= static_cast<double>((first - epoch).count()) &&
          whole < static_cast<double>((end - epoch).count()))) {
        return std::nullopt;
    }
    const sys_seconds moment = epoch + seconds(static_cast<std::int64_t>(whole));
    const sys_days day = floor<days>(moment);
    const year_month_day date(day);
    const hh_mm_ss time(moment - day);
    const auto pair = [](auto number) { return digits(static_cast<std::uint64_t>(number), 2); };
    return digits(static_cast<std::uint64_t>(int{date.year()}), 4) + '-' +
           pair(unsigned{date.month()}) + '-' + pair(unsigned{date.day()}) + 'T' +
           pair(time.hours().count()) + ':' + pair(time.minutes().count()) + ':' +
           pair(time.seconds().count()) + 'Z';
}

} // namespace vel
