// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/check/JSONLogFile.h"

#include "Base/VELJSON.h"
#include "Tools/vel-posture/DisplayText.h"
#include "Tools/vel-posture/ProgramFailure.h"
#include "Tools/vel-posture/StandardStreams.h"

#include <nlohmann/json.hpp>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <new>
#include <utility>

namespace {

constexpr const char* standardErrorPath = "-";

int openLog(const std::string& path) {
    if (path == standardErrorPath) {
        return STDERR_FILENO;
    }
    const int descriptor = ::open(
        path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY, S_IRUSR | S_IWUSR);
    if (descriptor < 0) {
        throw ProgramFailure("cannot open the log \"" + path + "\": " + textOfErrorNumber(errno));
    }
    return descriptor;
}

std::string quoted(std::string_view text) {
    return vel::compactText(VELValue(text));
}

} // namespace

JSONLogFile::JSONLogFile(std::string path)
    : _path(std::move(path)), _descriptor(openLog(_path)), _isTerminal(isTerminal(_descriptor)) {}

JSONLogFile::~JSONLogFile() {
    if (!isStandardError()) {
        ::close(_descriptor);
    }
}

void JSONLogFile::logMessage(std::string_view message, std::int64_t level, const char* file,
                             const char* function, std::int32_t line) noexcept {
    const std::scoped_lock lock(_mutex);
    if (_errorNumber != 0) {
        return;
    }
    try {
        const std::string text = "{\"level\":" + std::to_string(level) +
                                 ",\"message\":" + quoted(message) + ",\"file\":" + quoted(file) +
                                 ",\"function\":" + quoted(function) +
                                 ",\"line\":" + std::to_string(line) + "}";
        _errorNumber = writeAll(_descriptor, (_isTerminal ? printable(text) : text) + "\n");
    } catch (const std::bad_alloc&) {
        _errorNumber = ENOMEM;
    }
}

bool JSONLogFile::isStandardError() const noexcept {
    return _descriptor == STDERR_FILENO;
}

std::string JSONLogFile::failure() const {
    const std::scoped_lock lock(_mutex);
    if (_errorNumber == 0) {
        return {};
    }
    const std::string name = isStandardError() ? "to standard error" : "\"" + _path + "\"";
    return "cannot write the log " + name + ": " + textOfErrorNumber(_errorNumber);
}
