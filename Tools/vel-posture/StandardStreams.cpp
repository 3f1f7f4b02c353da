// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/StandardStreams.h"

#include "Platform/POSIX/VELDescriptor.h"
#include "Tools/vel-posture/DisplayText.h"
#include "Tools/vel-posture/ProgramFailure.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <system_error>

namespace {

constexpr std::size_t widestTerminal = 10'000;

void ignorePipeSignal(int /*signal*/) {}

std::optional<std::size_t> columnsFromEnvironment() {
    const char* text = std::getenv("COLUMNS");
    if (text == nullptr) {
        return std::nullopt;
    }
    const std::string_view digits = text;
    std::size_t columns = 0;
    const auto [end, error] = std::from_chars(digits.begin(), digits.end(), columns);
    if (error != std::errc() || end != digits.end() || columns == 0) {
        return std::nullopt;
    }
    return columns;
}

std::size_t columnsFromTerminal(int descriptor) {
    winsize size{};
    constexpr std::size_t usual = 80;
    return ::ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col != 0 ? size.ws_col : usual;
}

[[noreturn]] void failReading(const std::string& what, int errorNumber) {
    throw ProgramFailure("cannot read " + what + ": " + textOfErrorNumber(errorNumber));
}

} // namespace

void prepareStandardStreams() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(descriptor, F_GETFD) < 0 && errno == EBADF) {
            // The lowest free number is this one. Opened the wrong way round, it serves nobody.
            static_cast<void>(
                ::open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY));
        }
    }
    struct sigaction action {};
    action.sa_handler = ignorePipeSignal; // not SIG_IGN, which child processes would inherit
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGPIPE, &action, nullptr);
}

std::string readFile(const std::string& path) {
    const VELDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
    std::string content;
    const int errorNumber = !file ? errno : vel::readAll(file.get(), content);
    if (errorNumber != 0) {
        failReading("\"" + path + "\"", errorNumber);
    }
    return content;
}

std::string readStandardInput() {
    std::string content;
    if (const int errorNumber = vel::readAll(STDIN_FILENO, content)) {
        failReading("standard input", errorNumber);
    }
    return content;
}

void writeStandardOutput(std::string_view text) {
    if (const int errorNumber = vel::writeAll(STDOUT_FILENO, text)) {
        throw ProgramFailure("cannot write to standard output: " + textOfErrorNumber(errorNumber));
    }
}

void diagnose(std::string_view text) noexcept {
    try {
        vel::writeAll(STDERR_FILENO, "vel-posture: " + printable(text) + "\n");
    } catch (const std::bad_alloc&) {
        vel::writeAll(STDERR_FILENO, "vel-posture: out of memory\n");
    }
}

std::string textOfErrorNumber(int errorNumber) {
    return std::generic_category().message(errorNumber);
}

bool isTerminal(int descriptor) noexcept {
    return ::isatty(descriptor) == 1;
}

std::size_t terminalColumns(int descriptor) {
    const auto columns = columnsFromEnvironment();
    return std::min(columns ? *columns : columnsFromTerminal(descriptor), widestTerminal);
}

bool wantsColour() {
    const char* refusal = std::getenv("NO_COLOR");
    const char* terminal = std::getenv("TERM");
    return (refusal == nullptr || *refusal == '\0') &&
           (terminal == nullptr || std::string_view(terminal) != "dumb");
}
