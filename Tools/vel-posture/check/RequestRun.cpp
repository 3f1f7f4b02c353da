// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/check/RequestRun.h"

#include "Base/VELText.h"
#include "Tools/vel-posture/ProgramFailure.h"

#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdio>

std::string timeText(std::chrono::system_clock::time_point time) {
    const auto day = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss clock(std::chrono::floor<std::chrono::milliseconds>(time - day));
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ",
                  static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                  static_cast<unsigned>(date.day()), static_cast<int>(clock.hours().count()),
                  static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()),
                  static_cast<int>(clock.subseconds().count()));
    return text.data();
}

std::string hostName() {
    std::array<char, 256> name{};
    return ::gethostname(name.data(), name.size() - 1) == 0 ? vel::validUTF8(name.data())
                                                            : std::string();
}

std::string newRunIdentifier() {
    std::array<std::uint8_t, 16> bytes{};
    if (::getentropy(bytes.data(), bytes.size()) != 0) {
        throw ProgramFailure("cannot make an identifier for the run");
    }
    std::string text;
    for (const std::uint8_t byte : bytes) {
        vel::appendHexadecimal(byte, text);
    }
    return text;
}
