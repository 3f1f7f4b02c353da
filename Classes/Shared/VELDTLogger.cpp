// SPDX-License-Identifier: Apache-2.0
#include "Classes/Shared/VELDTLogger.h"

#include "Base/VELJSON.h"
#include "Base/VELText.h"

#include <atomic>

namespace {

using AtomicLogger = std::atomic<std::shared_ptr<VELHostLogger>>;

AtomicLogger& processLogger() {
    // Never destroyed: threads of the host may still log while the process exits.
    static AtomicLogger& logger = *new AtomicLogger;
    return logger;
}

std::string format(std::string_view text, std::span<const VELLogArgument> arguments) {
    std::string message;
    auto argument = arguments.begin();
    for (std::size_t at = text.find('%'); at != std::string_view::npos; at = text.find('%')) {
        message += text.substr(0, at);
        text.remove_prefix(at + 1);
        argument->print(message);
        ++argument;
        text.remove_prefix(vel::log::conversionAt(text).size());
    }
    message += text;
    return message;
}

} // namespace

VELHostLogger::~VELHostLogger() = default;

void vel::log::printValue(const VELValue& value, std::string& message) {
    message += displayText(value);
}

void vel::log::printObject(std::string_view text, std::string& message) {
    message += text;
}

void vel::log::printObject(std::span<const std::uint8_t> bytes, std::string& message) {
    constexpr std::string_view digits = "0123456789abcdef";
    for (const std::uint8_t byte : bytes) {
        message += digits[byte >> 4U];
        message += digits[byte & 0xFU];
    }
}

void VELDTLogger::setLogger(std::shared_ptr<VELHostLogger> logger) {
    processLogger().store(std::move(logger));
}

std::shared_ptr<VELHostLogger> VELDTLogger::currentLogger() {
    return processLogger().load();
}

void VELDTLogger::send(VELHostLogger& logger, std::int64_t level, const char* function,
                       const Place& place, std::span<const VELLogArgument> arguments) {
    const std::string message = format(place.format, arguments);
    if (vel::isValidUTF8(message)) {
        logger.logMessage(message, level, place.file, function, place.line);
    } else {
        logger.logMessage(vel::validUTF8(message), level, place.file, function, place.line);
    }
}
