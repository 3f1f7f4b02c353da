// SPDX-License-Identifier: Apache-2.0
#include "Tests/Support/ChildProgram.h"
#include "Platform/POSIX/VELDescriptor.h"

#include "Tests/Support/KeptDocuments.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <spawn.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <utility>

extern char** environ; // NOLINT

namespace {

[[noreturn]] void fail(const char* what) {
    throw std::runtime_error(std::string(what) + " failed");
}

/// The two ends of a stream of the child; either may be none.
struct Ends {
    VELDescriptor ours;
    VELDescriptor childs;
};

Ends pipeEnds(bool childReads) {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        fail("pipe");
    }
    return childReads ? Ends{VELDescriptor(ends[1]), VELDescriptor(ends[0])}
                      : Ends{VELDescriptor(ends[0]), VELDescriptor(ends[1])};
}

Ends terminalEnds(bool childReads, unsigned short columns) {
    int ours = -1;
    int childs = -1;
    winsize size{};
    size.ws_col = columns;
    size.ws_row = 24;
    if (::openpty(&ours, &childs, nullptr, nullptr, &size) != 0) {
        fail("openpty");
    }
    Ends ends{VELDescriptor(ours), VELDescriptor(childs)};
    ::fcntl(ours, F_SETFD, FD_CLOEXEC);
    ::fcntl(childs, F_SETFD, FD_CLOEXEC);
    termios modes{};
    ::tcgetattr(childs, &modes);
    if (childReads) {
        modes.c_lflag &= ~static_cast<tcflag_t>(ECHO); // lines, and an end of the input
    } else {
        ::cfmakeraw(&modes);
    }
    ::tcsetattr(childs, TCSANOW, &modes);
    return ends;
}

Ends makeEnds(ChildStream stream, bool childReads, unsigned short columns) {
    switch (stream) {
    case ChildStream::pipe:
        return pipeEnds(childReads);
    case ChildStream::terminal:
        return terminalEnds(childReads, columns);
    case ChildStream::withoutReader: {
        Ends ends = pipeEnds(childReads);
        ends.ours.close();
        return ends;
    }
    case ChildStream::fullDevice:
        return {VELDescriptor(), VELDescriptor(::open("/dev/full", O_RDWR | O_CLOEXEC))};
    case ChildStream::closed:
        break;
    }
    return {};
}

std::vector<std::string> environmentTexts(const std::map<std::string, std::string>& changes) {
    std::map<std::string, std::string> variables;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string_view text = *entry;
        const std::size_t equals = text.find('=');
        variables[std::string(text.substr(0, equals))] = text.substr(equals + 1);
    }
    variables.erase("NO_COLOR");
    variables.erase("COLUMNS");
    variables["TERM"] = "xterm";
    for (const auto& [name, value] : changes) {
        variables[name] = value;
    }
    std::vector<std::string> texts;
    for (const auto& [name, value] : variables) {
        texts.push_back(name + "=" + value);
    }
    return texts;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (std::string& text : texts) {
        result.push_back(text.data());
    }
    result.push_back(nullptr);
    return result;
}

pid_t spawn(const ChildProgram& program, const std::array<Ends, 3>& streams) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (int number = 0; number < 3; ++number) {
        const int end = streams[static_cast<std::size_t>(number)].childs.get();
        if (end >= 0) {
            posix_spawn_file_actions_adddup2(&actions, end, number);
        } else {
            posix_spawn_file_actions_addclose(&actions, number);
        }
    }
    std::vector<std::string> arguments = program.arguments;
    std::vector<std::string> environment = environmentTexts(program.environment);
    pid_t child = -1;
    const int error = posix_spawn(&child, arguments.front().c_str(), &actions, nullptr,
                                  pointers(arguments).data(), pointers(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        fail("posix_spawn");
    }
    return child;
}

/// Writes as much of `input` as the child takes now; closes the end when all is written, or when
/// the child reads no more.
void feed(VELDescriptor& end, std::string_view& input, bool isTerminal) {
    const ssize_t count = ::write(end.get(), input.data(), input.size());
    if (count >= 0) {
        input.remove_prefix(static_cast<std::size_t>(count));
    }
    const bool failed = count < 0 && errno != EAGAIN;
    if ((input.empty() && !isTerminal) || failed) {
        end.close();
    }
}

void drain(VELDescriptor& end, std::string& text) {
    std::array<char, 65536> buffer{};
    const ssize_t count = ::read(end.get(), buffer.data(), buffer.size());
    if (count > 0) {
        text.append(buffer.data(), static_cast<std::size_t>(count));
    } else if (count == 0 || errno != EAGAIN) { // EIO: the terminal has nobody left
        end.close();
    }
}

int statusOf(pid_t child) {
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

/// Keeps the documents that `vel-posture` has written, a line each, unless it has written something
/// else.
void keepDocumentsOf(const ChildProgram& program, const ChildProgram::Result& result) {
    const std::vector<std::string>& arguments = program.arguments;
    if (arguments.size() < 2 || arguments.front() != VEL_POSTURE_PROGRAM) {
        return;
    }
    const bool isEnveloped =
        std::find(arguments.begin(), arguments.end(), "--envelope") != arguments.end();
    const bool isExplained =
        std::find(arguments.begin(), arguments.end(), "--explain") != arguments.end();
    std::istringstream lines(result.output);
    for (std::string line; std::getline(lines, line) && line.starts_with('{');) {
        if (arguments[1] == "lint") {
            keepDocument("lint-findings", line);
        } else if (isEnveloped) {
            keepDocument("envelope", line);
        } else if (isExplained) {
            keepDocument("explained-result", line);
        } else if (arguments[1] == "doctor") {
            keepDocument("diagnosis", line);
        } else if (arguments[1] == "check" || arguments[1] == "identity") {
            static_cast<void>(keepResult(line));
        }
    }
}

} // namespace

ChildProgram::Result ChildProgram::run() const {
    std::array<Ends, 3> streams = {makeEnds(inputStream, true, columns),
                                   makeEnds(outputStream, false, columns),
                                   makeEnds(errorStream, false, columns)};
    const pid_t child = spawn(*this, streams);
    // The child may end before it has read its input. It inherits what was before.
    const auto previousHandler = ::signal(SIGPIPE, SIG_IGN);
    for (Ends& ends : streams) {
        ends.childs.close();
        if (ends.ours.get() >= 0) {
            ::fcntl(ends.ours.get(), F_SETFL, O_NONBLOCK);
        }
    }

    Result result{};
    const std::string endOfInput = inputStream == ChildStream::terminal ? "\x04" : "";
    const std::string wholeInput = input + endOfInput;
    std::string_view remaining = wholeInput;
    VELDescriptor& in = streams[0].ours;
    while (streams[1].ours.get() >= 0 || streams[2].ours.get() >= 0) {
        const bool feeding =
            in.get() >= 0 && (inputStream == ChildStream::pipe || !remaining.empty());
        std::array<pollfd, 3> waited = {pollfd{feeding ? in.get() : -1, POLLOUT, 0},
                                        pollfd{streams[1].ours.get(), POLLIN, 0},
                                        pollfd{streams[2].ours.get(), POLLIN, 0}};
        ::poll(waited.data(), waited.size(), 1000);
        if (waited[0].revents != 0) {
            feed(in, remaining, inputStream == ChildStream::terminal);
        }
        if (waited[1].revents != 0) {
            drain(streams[1].ours, result.output);
        }
        if (waited[2].revents != 0) {
            drain(streams[2].ours, result.errors);
        }
    }
    in.close();
    ::signal(SIGPIPE, previousHandler);
    result.status = statusOf(child);
    keepDocumentsOf(*this, result);
    return result;
}

void PrintTo(const ChildProgram::Result& result, std::ostream* stream) {
    *stream << "status " << result.status << "\noutput: " << result.output
            << "\nerrors: " << result.errors;
}
