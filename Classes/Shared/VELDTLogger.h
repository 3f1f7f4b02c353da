// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "vel_device_trust/VELHostLogger.h"
#include "vel_device_trust/VELValue.h"

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

/// Arguments of a log message, still unformatted: a view of each, and how to print it.
class VELLogArgument {
public:
    using Printer = void (*)(const void* argument, std::string& message);

    template <typename Argument>
    VELLogArgument(const Argument& argument, Printer printer)
        : _argument(&argument), _printer(printer) {}

    void print(std::string& message) const { _printer(_argument, message); }

private:
    const void* _argument;
    Printer _printer;
};

namespace vel::log {

void printValue(const VELValue& value, std::string& message);
void printObject(std::string_view text, std::string& message);
void printObject(std::span<const std::uint8_t> bytes, std::string& message);

// A template, because nearly everything else converts to a value.
template <std::same_as<VELValue> Value> void printObject(const Value& value, std::string& message) {
    printValue(value, message);
}

template <typename Object>
requires requires(const Object& object) {
    { object.description() } -> std::convertible_to<std::string>;
}
void printObject(const Object& object, std::string& message) {
    message += object.description();
}

inline constexpr std::string_view missingObject = "(null)";

template <typename Object> void printObject(const Object* object, std::string& message) {
    if (object == nullptr) {
        message += missingObject;
    } else {
        printObject(*object, message);
    }
}

template <typename Object>
void printObject(const std::optional<Object>& object, std::string& message) {
    printObject(object ? &*object : nullptr, message);
}

template <typename Argument>
inline constexpr bool isCharacterPointer = std::is_convertible_v<const Argument&, const char*>;

// A null pointer literal would convert to a text, a pointer to characters is no object.
template <typename Argument>
concept Object = !std::is_arithmetic_v<Argument> && !isCharacterPointer<Argument> &&
                 requires(const Argument& argument, std::string& message) {
    printObject(argument, message);
};

template <typename Argument>
concept CharacterString =
    (isCharacterPointer<Argument> && !std::is_null_pointer_v<Argument>) ||
    std::is_same_v<Argument, std::string> || std::is_same_v<Argument, std::string_view>;

template <typename Argument>
concept BooleanOrByte = std::same_as<Argument, bool> || std::same_as<Argument, signed char>;

template <typename Argument>
concept Int = std::signed_integral<Argument> && sizeof(Argument) == sizeof(int) &&
              !BooleanOrByte<Argument>;

template <typename Argument>
concept Long = std::signed_integral<Argument> && sizeof(Argument) == sizeof(long);

template <typename Argument>
concept UnsignedLong = std::unsigned_integral<Argument> && sizeof(Argument) == sizeof(long);

/// Whether `argument` may stand for `conversion` (what follows the percent sign).
template <typename Argument> consteval bool accepts(std::string_view conversion) {
    if (conversion == "@") {
        return Object<Argument>;
    }
    if (conversion == "s") {
        return CharacterString<Argument>;
    }
    if (conversion == "hhd") {
        return BooleanOrByte<Argument>;
    }
    if (conversion == "d") {
        return Int<Argument>;
    }
    if (conversion == "ld") {
        return Long<Argument>;
    }
    if (conversion == "lu") {
        return UnsignedLong<Argument>;
    }
    return false;
}

template <typename Argument> void print(const void* argument, std::string& message) {
    const auto& value = *static_cast<const Argument*>(argument);
    if constexpr (std::is_integral_v<Argument>) {
        message += std::to_string(value);
    } else if constexpr (std::is_array_v<Argument>) {
        message += static_cast<const char*>(value);
    } else if constexpr (std::is_pointer_v<Argument> && CharacterString<Argument>) {
        message += value == nullptr ? missingObject : std::string_view(value);
    } else {
        printObject(value, message);
    }
}

/// The conversions that formats may hold; the first that fits counts.
inline constexpr std::array<std::string_view, 6> conversions = {"@", "s", "hhd", "ld", "lu", "d"};

/// The conversion at the front of `text`, which follows a percent sign; empty if it is none.
constexpr std::string_view conversionAt(std::string_view text) {
    for (const std::string_view conversion : conversions) {
        if (text.starts_with(conversion)) {
            return conversion;
        }
    }
    return {};
}

} // namespace vel::log

/// A format string whose conversions have been compared with the types of its arguments, and its
/// place in the source. Made only from a string literal; a wrong count or kind of arguments does
/// not compile.
template <typename... Arguments> class VELLogFormat {
public:
    template <std::size_t size>
    consteval VELLogFormat( // NOLINT(google-explicit-constructor): a literal becomes a format
        const char (&text)[size], const char* file = __builtin_FILE(),
        std::int32_t line = __builtin_LINE())
        : _text(text, size - 1), _file(file), _line(line) {
        verify();
    }

    [[nodiscard]] std::string_view text() const { return _text; }
    [[nodiscard]] const char* file() const { return _file; }
    [[nodiscard]] std::int32_t line() const { return _line; }

private:
    consteval void verify() const {
        std::size_t count = 0;
        for (std::size_t at = _text.find('%'); at != std::string_view::npos;
             at = _text.find('%', at + 1)) {
            const std::string_view conversion = vel::log::conversionAt(_text.substr(at + 1));
            if (conversion.empty()) {
                throw "unknown conversion in a log format";
            }
            if (!argumentAccepts(count, conversion)) {
                throw "a log argument is missing or of the wrong kind";
            }
            ++count;
        }
        if (count != sizeof...(Arguments)) {
            throw "more log arguments than conversions";
        }
    }

    static consteval bool argumentAccepts([[maybe_unused]] std::size_t index,
                                          [[maybe_unused]] std::string_view conversion) {
        [[maybe_unused]] std::size_t current = 0;
        return ((current++ == index && vel::log::accepts<Arguments>(conversion)) || ...);
    }

    std::string_view _text;
    const char* _file;
    std::int32_t _line;
};

/// Hands the library's messages to the host's logger, which is one for the whole process. It may be
/// replaced while other threads log: each message goes to the one logger or to the other.
class VELDTLogger {
public:
    VELDTLogger() = delete;

    /// Replaces the logger; null switches logging off. The previous one is released once no message
    /// is under way to it.
    static void setLogger(std::shared_ptr<VELHostLogger> logger);

    /// Whether there is a logger: for work that is done for the log alone.
    static bool isLogging() { return currentLogger() != nullptr; }

    /// Formats a message and hands it to the host's logger. Without one it returns at once:
    /// nothing is formatted. `function` is the caller's printable name; file and line are those of
    /// `format`.
    template <typename... Arguments>
    static void logMessageWithLevel(std::int64_t level, const char* function,
                                    VELLogFormat<std::type_identity_t<Arguments>...> format,
                                    const Arguments&... arguments) {
        if (const std::shared_ptr<VELHostLogger> logger = currentLogger()) {
            const std::array<VELLogArgument, sizeof...(Arguments)> views = {
                VELLogArgument(arguments, vel::log::print<Arguments>)...};
            send(*logger, level, function, {format.text(), format.file(), format.line()}, views);
        }
    }

private:
    struct Place {
        std::string_view format;
        const char* file;
        std::int32_t line;
    };

    static std::shared_ptr<VELHostLogger> currentLogger();
    static void send(VELHostLogger& logger, std::int64_t level, const char* function,
                     const Place& place, std::span<const VELLogArgument> arguments);
};
