// SPDX-License-Identifier: Apache-2.0
#include "Classes/Shared/VELDTLogger.h"

#include "Base/VELJSON.h"
#include "Base/VELProcessMutex.h"
#include "Base/VELText.h"

#include <atomic>
#include <mutex>

namespace {

/// The process-wide logger. A mutex guards it, not std::atomic<std::shared_ptr>: the one of
/// libstdc++ 12 unlocks a load without a release, which is a data race with the next store.
class LoggerSlot {
public:
    std::shared_ptr<VELHostLogger> get() {
        if (!_isSet.load(std::memory_order_acquire)) {
            return nullptr;
        }
        const std::scoped_lock lock(processMutex());
        return _logger;
    }

    void set(std::shared_ptr<VELHostLogger> logger) {
        const std::scoped_lock lock(processMutex());
        _isSet.store(logger != nullptr, std::memory_order_release);
        _logger.swap(logger);
        // The previous logger goes with the argument, after the lock: it may log, or set a logger.
    }

private:
    std::atomic<bool> _isSet = false;
    std::shared_ptr<VELHostLogger> _logger;
};

LoggerSlot& processLogger() {
    // Never destroyed: threads of the host may still log while the process exits.
    static LoggerSlot& slot = *new LoggerSlot;
    return slot;
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
    for (const std::uint8_t byte : bytes) {
        vel::appendHexadecimal(byte, message);
    }
}

void VELDTLogger::setLogger(std::shared_ptr<VELHostLogger> logger) {
    processLogger().set(std::move(logger));
}

std::shared_ptr<VELHostLogger> VELDTLogger::currentLogger() {
    return processLogger().get();
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
