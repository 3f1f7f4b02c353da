// SPDX-License-Identifier: Apache-2.0
#include "Classes/Mac/VELRunnerHandle.h"

#include <cstdlib>
#include <utility>

namespace {

/// The host's context, given back when nobody can log with it any more.
class HostContext {
public:
    HostContext(void* context, vel_release_function release)
        : _context(context), _release(release) {}
    HostContext(HostContext&& other) noexcept
        : _context(other._context), _release(std::exchange(other._release, nullptr)) {}
    HostContext& operator=(HostContext&&) = delete;

    ~HostContext() {
        if (_release != nullptr) {
            _release(_context);
        }
    }

    [[nodiscard]] void* pointer() const { return _context; }

private:
    void* _context;
    vel_release_function _release;
};

class CallbackLogger final : public VELHostLogger {
public:
    CallbackLogger(vel_log_function log, HostContext context)
        : _log(log), _context(std::move(context)) {}

    void logMessage(std::string_view message, std::int64_t level, const char* file,
                    const char* function, std::int32_t line) noexcept override {
        try {
            _log(_context.pointer(), message.data(), message.size(), level, file, function, line);
        } catch (...) { // NOLINT(bugprone-empty-catch): a host's failure to log is its own
        }
    }

private:
    vel_log_function _log;
    HostContext _context;
};

} // namespace

std::shared_ptr<VELHostLogger> callbackLogger(vel_log_function log, void* context,
                                              vel_release_function release) {
    HostContext hostContext(context, release);
    if (log == nullptr) {
        return nullptr;
    }
    return std::make_shared<CallbackLogger>(log, std::move(hostContext));
}

char* copyForHost(std::string_view text) noexcept {
    auto* copy = static_cast<char*>(std::malloc(text.size() + 1));
    if (copy != nullptr) {
        text.copy(copy, text.size());
        copy[text.size()] = '\0';
    }
    return copy;
}
