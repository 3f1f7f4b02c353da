// SPDX-License-Identifier: Apache-2.0
#include "Base/VELNumber.h"

#include <cmath>
#include <cstdlib>
#include <locale.h>
#include <string>
#if __has_include(<xlocale.h>)
#include <xlocale.h> // declares strtod_l where locale.h does not
#endif

namespace {

constexpr std::string_view digits = "0123456789";

/// Removes the digits at the front of `text` and returns them.
std::string_view takeDigits(std::string_view& text) {
    const std::string_view taken = text.substr(0, text.find_first_not_of(digits));
    text.remove_prefix(taken.size());
    return taken;
}

/// Whether `text` is a decimal number. `isZero` is set to whether its digits say zero.
bool isDecimal(std::string_view text, bool& isZero) {
    if (text.starts_with('-')) {
        text.remove_prefix(1);
    }
    const std::string_view whole = takeDigits(text);
    std::string_view fraction;
    if (text.starts_with('.')) {
        text.remove_prefix(1);
        fraction = takeDigits(text);
    }
    if (whole.empty() && fraction.empty()) {
        return false;
    }
    const auto isZeros = [](std::string_view part) {
        return part.find_first_not_of('0') == std::string_view::npos;
    };
    isZero = isZeros(whole) && isZeros(fraction);
    if (text.starts_with('e') || text.starts_with('E')) {
        text.remove_prefix(1);
        if (text.starts_with('+') || text.starts_with('-')) {
            text.remove_prefix(1);
        }
        if (takeDigits(text).empty()) {
            return false;
        }
    }
    return text.empty();
}

locale_t plainLocale() {
    // Never freed: the host's threads may still read numbers while the process exits.
    static const locale_t locale = ::newlocale(LC_ALL_MASK, "C", nullptr);
    return locale;
}

} // namespace

std::errc vel::readDecimal(std::string_view text, double& number) {
    // The C function would take hexadecimal, spaces and names of numbers, too.
    bool isZero = false;
    if (!isDecimal(text, isZero)) {
        return std::errc::invalid_argument;
    }
    const double value = ::strtod_l(std::string(text).c_str(), nullptr, plainLocale());
    if (!std::isfinite(value) || (value == 0 && !isZero)) {
        return std::errc::result_out_of_range;
    }
    number = value;
    return {};
}

vel::DecimalPointScope::DecimalPointScope()
    : _previous(reinterpret_cast<void*>(::uselocale(plainLocale()))) {}

vel::DecimalPointScope::~DecimalPointScope() {
    ::uselocale(reinterpret_cast<locale_t>(_previous));
}
