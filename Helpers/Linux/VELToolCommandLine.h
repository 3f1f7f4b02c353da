// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What the small programs beside the library share: their command line and their way out.
namespace vel {

/// A helper program that stands for a tool of macOS and is called as that one is.
struct ToolUsage {
    struct Option {
        std::string_view name; ///< such as "--proc"; takes one value
        std::string_view meaning;
    };

    std::string_view name;
    std::string_view purpose;
    /// The arguments it takes, in order. One in capital letters stands for any text that is not
    /// empty: "PID".
    std::vector<std::string_view> arguments;
    /// What may stand after them, each once.
    std::vector<Option> options;
    /// Whether it takes "--why" as well: it then prints in one line why it has no answer, or that
    /// it has one, instead of the answer ("CODE: TEXT", see `lineOfReason`), and exits with 0.
    bool saysWhy = false;
    /// The exit status when the program could not do its work for lack of memory and the like.
    int failureStatus = 1;
};

/// The values of the arguments in capital letters and of the options, by name.
using ToolValues = std::map<std::string_view, std::string, std::less<>>;

/// What a command line asks for: to work with `values`, or, when there is a `status`, to print
/// `output` and `diagnostics` and exit with it ("--help", "--version", wrong use: 2).
struct ToolRequest {
    std::optional<int> status;
    std::string output;
    std::string diagnostics;
    ToolValues values;
};

ToolRequest readCommandLine(const ToolUsage& usage, const std::vector<std::string_view>& arguments);

/// The body of a helper's `main`: has the kernel end the helper with the thread that started it,
/// reads the command line and does `work`, whose result is the exit status. Whatever `work` throws
/// ends in the usage's failure status; nothing is printed when that is 0 (a helper that does not
/// know its answer prints nothing).
int runTool(const ToolUsage& usage, int argumentCount, char** arguments,
            const std::function<int(const ToolValues&)>& work);

/// Writes a line to standard error, which is the host's and may be a terminal: the helper's name
/// and `text`, printable.
void diagnose(std::string_view tool, std::string_view text);

/// Ends the program with status 0 if it still runs after `seconds`: for a helper that does not know
/// its answer by then, before its host's time-out. It prints nothing but, if there is one, `line`,
/// which must outlive the program's work.
void endQuietlyAfter(unsigned seconds, const char* line = nullptr);

/// Whether the command line asks why there is no answer.
bool isAskedWhy(const ToolValues& values);

/// The code of a reason that is none: the helper has an answer.
inline constexpr std::string_view answerIsKnown = "known";

/// "CODE: TEXT" and a line end. The code is stable: lower-case words joined by hyphens. Line ends
/// in the text become spaces; otherwise it is made printable.
std::string lineOfReason(std::string_view code, std::string_view text);

/// Prints that line. Returns the exit status, 0.
int sayWhy(std::string_view code, std::string_view text);

/// The value of a name, or `fallback`.
std::string valueOr(const ToolValues& values, std::string_view name, std::string_view fallback);

} // namespace vel
