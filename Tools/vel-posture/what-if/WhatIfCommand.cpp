// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/what-if/WhatIfCommand.h"

#include "Platform/POSIX/VELDescriptor.h"
#include "Tools/vel-posture/OutputStyle.h"
#include "Tools/vel-posture/ProgramFailure.h"
#include "Tools/vel-posture/RequestSource.h"
#include "Tools/vel-posture/StandardStreams.h"
#include "Tools/vel-posture/what-if/LineReader.h"
#include "Tools/vel-posture/what-if/WhatIfSummary.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

using Summary = CommandLine::Summary;

constexpr std::size_t mebibyte = 1024 * 1024;
constexpr std::size_t longestLine = 8 * mebibyte;

/// Tells on a terminal how far it is, in a line of its own that goes away at the end.
class Progress {
public:
    explicit Progress(bool isShown) : _isShown(isShown) {}
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress() { erase(); }

    void show(const WhatIfSummary& summary) {
        const Clock::time_point now = Clock::now();
        if (!_isShown || now < _due) {
            return;
        }
        _due = now + std::chrono::milliseconds(200);
        _hasWritten = true;
        vel::writeAll(STDERR_FILENO, "\r" + std::to_string(summary.now().passed) + " of " +
                                         countOf(summary.machines(), "machine", "machines") +
                                         " passed\x1b[K");
    }

    /// Makes room for another line.
    void erase() noexcept {
        if (_hasWritten) {
            vel::writeAll(STDERR_FILENO, "\r\x1b[K");
            _hasWritten = false;
        }
    }

private:
    using Clock = std::chrono::steady_clock;

    const bool _isShown;
    bool _hasWritten = false;
    Clock::time_point _due = Clock::now() + std::chrono::milliseconds(200);
};

/// Standard input for "-".
class MachineSource {
public:
    explicit MachineSource(const std::string& path)
        : _name(path == "-" ? "standard input" : "\"" + path + "\"") {
        if (path != "-") {
            _file = VELDescriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
            _descriptor = _file.get();
            if (!_file) {
                fail(errno);
            }
        }
    }

    /// What comes next; empty at the end.
    std::string_view next() {
        while (true) {
            const ssize_t count = ::read(_descriptor, _piece.data(), _piece.size());
            if (count >= 0) {
                return {_piece.data(), static_cast<std::size_t>(count)};
            }
            if (errno == EAGAIN) { // a descriptor that does not block
                pollfd waiting{.fd = _descriptor, .events = POLLIN, .revents = 0};
                static_cast<void>(::poll(&waiting, 1, -1));
            } else if (errno != EINTR) {
                fail(errno);
            }
        }
    }

private:
    [[noreturn]] void fail(int errorNumber) const {
        throw ProgramFailure("cannot read " + _name + ": " + textOfErrorNumber(errorNumber));
    }

    std::string _name;
    VELDescriptor _file;
    int _descriptor = STDIN_FILENO;
    std::vector<char> _piece = std::vector<char>(64 * 1024);
};

Trial trialOf(const std::string& path) {
    return {nameOfRequest(path), readRequest(path)};
}

WhatIf whatIfOf(const CommandLine& commandLine) {
    std::vector<std::string> paths = {commandLine.requests.front(), *commandLine.machines};
    if (commandLine.against) {
        paths.push_back(*commandLine.against);
    }
    static_cast<void>(requestPaths(paths)); // refuses standard input for two of them
    return WhatIf(trialOf(commandLine.requests.front()),
                  commandLine.against ? std::optional(trialOf(*commandLine.against))
                                      : std::nullopt);
}

std::string summaryOf(const WhatIfSummary& summary, const CommandLine& commandLine) {
    switch (*commandLine.summary) {
    case Summary::text:
        return summaryText(summary, styleOfOutput(commandLine));
    case Summary::json:
        return summaryJSON(summary) + "\n";
    case Summary::html:
        break;
    }
    return summaryHTML(summary);
}

int statusOf(const WhatIfSummary& summary) {
    if (summary.badLines() > 0) {
        return 2;
    }
    return summary.now().passed == summary.machines() ? 0 : 1;
}

} // namespace

int runWhatIfCommand(const CommandLine& commandLine) {
    const WhatIf whatIf = whatIfOf(commandLine);
    MachineSource source(*commandLine.machines);
    WhatIfSummary summary(whatIf);
    Progress progress(isTerminal(STDERR_FILENO) &&
                      (commandLine.summary || !isTerminal(STDOUT_FILENO)));
    LineReader lines(longestLine);
    std::string output;
    std::size_t number = 0;
    const auto take = [&](const std::string_view* line) {
        ++number;
        MachineAnswer answer;
        if (line != nullptr) {
            answer = whatIf.answer(*line);
        } else {
            answer.failure = "longer than " + std::to_string(longestLine / mebibyte) + " MiB";
        }
        if (answer.failure) {
            progress.erase();
            diagnose("line " + std::to_string(number) + ": " + *answer.failure);
        }
        summary.add(answer, number);
        if (!commandLine.summary) {
            output += whatIf.text(answer, number) + "\n";
        }
        progress.show(summary);
    };
    // What has come is answered before more is waited for: the program is a filter.
    for (auto piece = source.next(); !piece.empty(); piece = source.next()) {
        lines.add(piece, take);
        writeStandardOutput(output);
        output.clear();
    }
    lines.finish(take);
    progress.erase();
    if (number == 0) {
        diagnose("no machines: the input is empty");
    }
    writeStandardOutput(commandLine.summary ? summaryOf(summary, commandLine) : output);
    return statusOf(summary);
}
