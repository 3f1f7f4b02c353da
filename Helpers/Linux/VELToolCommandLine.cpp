// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELToolCommandLine.h"
#include "Helpers/Linux/VELPrintableText.h"
#include "Platform/POSIX/VELDescriptor.h"

#include <algorithm>
#include <csignal>
#include <exception>
#include <sys/prctl.h>
#include <unistd.h>

namespace vel {
namespace {

constexpr std::string_view whyArgument = "--why";

std::string usageLine(const ToolUsage& usage) {
    std::string line = "Usage: " + std::string(usage.name);
    for (const auto argument : usage.arguments) {
        line.append(" ").append(argument);
    }
    if (!usage.options.empty() || usage.saysWhy) {
        line += " [OPTIONS]";
    }
    return line + "\n";
}

std::string help(const ToolUsage& usage) {
    std::string text = usageLine(usage);
    text.append("\n").append(usage.purpose).append("\n\nOptions:\n");
    const auto append = [&text](std::string name, std::string_view meaning) {
        name.resize(std::max<std::size_t>(name.size() + 1, 18), ' ');
        text.append("  ").append(name).append(meaning).append("\n");
    };
    for (const auto& option : usage.options) {
        append(std::string(option.name) + " VALUE", option.meaning);
    }
    if (usage.saysWhy) {
        append("--why", "Say in a line why there is no answer, and exit");
    }
    append("--help", "Print this text and exit");
    append("--version", "Print the version and exit");
    return text;
}

ToolRequest wrongUse(const ToolUsage& usage, std::string_view problem) {
    ToolRequest request;
    request.status = 2;
    request.diagnostics.append(usage.name).append(": ").append(printableText(problem)).append("\n");
    request.diagnostics += usageLine(usage);
    return request;
}

bool isPlaceholder(std::string_view argument) {
    return std::ranges::all_of(argument, [](char c) { return c >= 'A' && c <= 'Z'; });
}

} // namespace

ToolRequest readCommandLine(const ToolUsage& usage,
                            const std::vector<std::string_view>& arguments) {
    ToolRequest request;
    if (arguments.size() == 1 && (arguments[0] == "--help" || arguments[0] == "--version")) {
        request.status = 0;
        request.output = arguments[0] == "--help"
                             ? help(usage)
                             : std::string(usage.name) + " " VEL_PROJECT_VERSION "\n";
        return request;
    }
    if (arguments.size() < usage.arguments.size()) {
        return wrongUse(usage, "arguments are missing");
    }
    for (std::size_t i = 0; i < usage.arguments.size(); ++i) {
        if (isPlaceholder(usage.arguments[i]) && !arguments[i].empty()) {
            request.values[usage.arguments[i]] = arguments[i];
        } else if (arguments[i] != usage.arguments[i]) {
            return wrongUse(usage, "unexpected argument \"" + std::string(arguments[i]) + "\"");
        }
    }
    for (std::size_t i = usage.arguments.size(); i < arguments.size(); i += 2) {
        if (usage.saysWhy && arguments[i] == whyArgument && i + 1 == arguments.size()) {
            request.values[whyArgument];
            return request;
        }
        const auto option =
            std::ranges::find(usage.options, arguments[i], &ToolUsage::Option::name);
        if (option == usage.options.end() || request.values.contains(option->name)) {
            return wrongUse(usage, "unexpected argument \"" + std::string(arguments[i]) + "\"");
        }
        if (i + 1 == arguments.size()) {
            return wrongUse(usage, "a value is missing after " + std::string(option->name));
        }
        request.values[option->name] = arguments[i + 1];
    }
    return request;
}

int runTool(const ToolUsage& usage, int argumentCount, char** arguments,
            const std::function<int(const ToolValues&)>& work) {
    // A host that is ended, by whatever signal, takes the helper with it.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    // A host that ignores its children passes that on: the status of ours would be lost.
    ::signal(SIGCHLD, SIG_DFL);
    bool asksWhy = false;
    try {
        const std::vector<std::string_view> given(arguments + std::min(argumentCount, 1),
                                                  arguments + argumentCount);
        const ToolRequest request = readCommandLine(usage, given);
        if (!request.status) {
            asksWhy = isAskedWhy(request.values);
            return work(request.values);
        }
        const bool isWritten = writeAll(STDOUT_FILENO, request.output) == 0;
        writeAll(STDERR_FILENO, request.diagnostics);
        return isWritten ? *request.status : 1;
    } catch (const std::exception& exception) {
        if (asksWhy) {
            return sayWhy(std::string(usage.name) + "-failed", exception.what());
        }
        if (usage.failureStatus != 0) {
            diagnose(usage.name, exception.what());
        }
        return usage.failureStatus;
    }
}

void diagnose(std::string_view tool, std::string_view text) {
    writeAll(STDERR_FILENO, std::string(tool) + ": " + printableText(text) + "\n");
}

void endQuietlyAfter(unsigned seconds, const char* line) {
    static std::string_view lastLine;
    lastLine = line != nullptr ? line : "";
    sigset_t alarms;
    ::sigemptyset(&alarms);
    ::sigaddset(&alarms, SIGALRM);
    ::sigprocmask(SIG_UNBLOCK, &alarms, nullptr);
    ::signal(SIGALRM, [](int) {
        // Nothing else may be called here; the line is short enough to be written whole.
        static_cast<void>(!::write(STDOUT_FILENO, lastLine.data(), lastLine.size()));
        ::_exit(0);
    });
    ::alarm(seconds);
}

bool isAskedWhy(const ToolValues& values) {
    return values.contains(whyArgument);
}

std::string lineOfReason(std::string_view code, std::string_view text) {
    std::string line(text);
    std::ranges::replace_if(
        line, [](char character) { return character == '\n' || character == '\r'; }, ' ');
    return std::string(code) + ": " + printableText(line) + "\n";
}

int sayWhy(std::string_view code, std::string_view text) {
    writeAll(STDOUT_FILENO, lineOfReason(code, text));
    return 0;
}

std::string valueOr(const ToolValues& values, std::string_view name, std::string_view fallback) {
    const auto value = values.find(name);
    return value == values.end() ? std::string(fallback) : value->second;
}

} // namespace vel
