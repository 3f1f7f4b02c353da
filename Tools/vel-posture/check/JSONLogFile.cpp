// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/check/JSONLogFile.h"

#include "Base/VELJSON.h"
#include "Tools/vel-posture/DisplayText.h"
#include "Tools/vel-posture/ProgramFailure.h"
#include "Tools/vel-posture/StandardStreams.h"
#include "Tools/vel-posture/check/RequestRun.h"

#include <nlohmann/json.hpp>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <new>
#include <utility>

namespace {

constexpr const char* standardErrorPath = "-";

VELDescriptor openLog(const std::string& path) {
    if (path == standardErrorPath) {
        return {};
    }
    VELDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY,
                              S_IRUSR | S_IWUSR));
    if (!file) {
        throw ProgramFailure("cannot open the log \"" + path + "\": " + textOfErrorNumber(errno));
    }
    return file;
}

} // namespace

JSONLogFile::JSONLogFile(std::string path, std::string run, std::int64_t leastLevel)
    : _path(std::move(path)), _run(std::move(run)), _leastLevel(leastLevel), _file(openLog(_path)),
      _isTerminal(isTerminal(descriptor())) {}

void JSONLogFile::logMessage(std::string_view message, std::int64_t level, const char* file,
                             const char* function, std::int32_t line) noexcept {
    const std::scoped_lock lock(_mutex);
    if (_errorNumber != 0 || level < _leastLevel) {
        return;
    }
    try {
        const std::string text =
            "{\"level\":" + std::to_string(level) + ",\"message\":" + vel::compactText(message) +
            ",\"file\":" + vel::compactText(file) + ",\"function\":" + vel::compactText(function) +
            ",\"line\":" + std::to_string(line) +
            ",\"time\":" + vel::compactText(timeText(std::chrono::system_clock::now())) +
            ",\"run\":" + vel::compactText(_run) + "}";
        _errorNumber = vel::writeAll(descriptor(), (_isTerminal ? printable(text) : text) + "\n");
    } catch (const std::bad_alloc&) {
        _errorNumber = ENOMEM;
    }
}

bool JSONLogFile::isStandardError() const noexcept {
    return !_file;
}

int JSONLogFile::descriptor() const noexcept {
    return _file ? _file.get() : STDERR_FILENO;
}

std::string JSONLogFile::failure() const {
    const std::scoped_lock lock(_mutex);
    if (_errorNumber == 0) {
        return {};
    }
    const std::string name = isStandardError() ? "to standard error" : "\"" + _path + "\"";
    return "cannot write the log " + name + ": " + textOfErrorNumber(_errorNumber);
}
