// SPDX-License-Identifier: Apache-2.0

// With VEL_REFUSED_CALLS, the line below each "refused:" must not compile; without, all must.

#include "Classes/Shared/VELDTLogger.h"

#include <vector>

void calls();

void calls() {
    const auto level = VELLogLevel::trace;
    [[maybe_unused]] const char* function = "calls";
    [[maybe_unused]] const std::string text;
    [[maybe_unused]] const std::vector<std::uint8_t> bytes;
    VELDTLogger::logMessageWithLevel(level, function, "nothing");
    VELDTLogger::logMessageWithLevel(level, function, "%@ %@ %@", text, bytes,
                                     std::optional<std::string>());
    VELDTLogger::logMessageWithLevel(level, function, "%ld %lu %d %hhd %s", 1L, 1UL, 1, true, "s");
#ifdef VEL_REFUSED_CALLS
    // refused: too few arguments
    VELDTLogger::logMessageWithLevel(level, function, "%@ %@", text);
    // refused: no argument
    VELDTLogger::logMessageWithLevel(level, function, "%@");
    // refused: too many arguments
    VELDTLogger::logMessageWithLevel(level, function, "%@", text, text);
    // refused: number as object
    VELDTLogger::logMessageWithLevel(level, function, "%@", 5);
    // refused: boolean as object
    VELDTLogger::logMessageWithLevel(level, function, "%@", true);
    // refused: null as object
    VELDTLogger::logMessageWithLevel(level, function, "%@", nullptr);
    // refused: byte string as object
    VELDTLogger::logMessageWithLevel(level, function, "%@", function);
    // refused: literal as object
    VELDTLogger::logMessageWithLevel(level, function, "%@", "literal");
    // refused: object as long
    VELDTLogger::logMessageWithLevel(level, function, "%ld", text);
    // refused: int as long
    VELDTLogger::logMessageWithLevel(level, function, "%ld", 5);
    // refused: long as int
    VELDTLogger::logMessageWithLevel(level, function, "%d", 5L);
    // refused: signed as unsigned
    VELDTLogger::logMessageWithLevel(level, function, "%lu", 5L);
    // refused: unsigned as signed
    VELDTLogger::logMessageWithLevel(level, function, "%ld", 5UL);
    // refused: int as boolean
    VELDTLogger::logMessageWithLevel(level, function, "%hhd", 5);
    // refused: boolean as int
    VELDTLogger::logMessageWithLevel(level, function, "%d", true);
    // refused: number as text
    VELDTLogger::logMessageWithLevel(level, function, "%s", 5);
    // refused: fraction as long
    VELDTLogger::logMessageWithLevel(level, function, "%ld", 5.0);
    // refused: unknown conversion
    VELDTLogger::logMessageWithLevel(level, function, "%f", 5.0);
    // refused: percent sign
    VELDTLogger::logMessageWithLevel(level, function, "100%");
    // refused: format is no literal
    VELDTLogger::logMessageWithLevel(level, function, function);
#endif
}
