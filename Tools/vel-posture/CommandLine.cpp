// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/CommandLine.h"

#include "Tools/vel-posture/NearMiss.h"
#include "Tools/vel-posture/OptionTable.h"
#include "Tools/vel-posture/ProgramFailure.h"
#include "vel_device_trust/VELHostLogger.h"
#include "vel_device_trust/vel_device_trust.h"

#include <algorithm>
#include <array>
#include <utility>

namespace {

constexpr const char* programName = "vel-posture";

constexpr const char* exitStatusHelp =
    "Exit status:\n"
    "  0  the machine (with what-if: every machine) passed, or the command did\n"
    "     its work and found nothing wrong\n"
    "  1  a machine did not pass, lint found a mistake (see --fail-on), test found\n"
    "     a difference, or doctor found a source that cannot be asked\n"
    "  2  a usage error, a file that cannot be read or written, a bad line of\n"
    "     what-if, or an error result\n"
    "  3  with --strict-exit: no check failed, but some ended in an error";

template <typename Value> using Words = std::vector<std::pair<std::string, Value>>;

/// An option whose value is one of these words.
template <typename Value, typename Target>
void addWords(CLI::App& command, const std::string& name, Target& target, Words<Value> words,
              const std::string& help) {
    std::vector<std::string> names;
    std::string typeName;
    for (const auto& [word, value] : words) {
        names.push_back(word);
        typeName += (typeName.empty() ? "" : "|") + word;
    }
    command
        .add_option_function<std::string>(
            name,
            [&target, words = std::move(words)](const std::string& given) {
                for (const auto& [word, value] : words) {
                    if (word == given) {
                        target = value;
                    }
                }
            },
            help)
        ->check(CLI::IsMember(names))
        ->type_name(typeName)
        ->option_text(typeName);
}

void addFormat(CLI::App& command, CommandLine& commandLine) {
    using Format = CommandLine::Format;
    addWords<Format>(command, "--format", commandLine.format,
                     {{"json", Format::json}, {"text", Format::text}},
                     "json: the document; text: a report for people\n"
                     "(default: text on a terminal, else json)");
}

void addFile(CLI::App& command, const std::string& name, std::optional<std::string>& file,
             const std::string& help) {
    command.add_option(name, file, help)->type_name("FILE");
}

constexpr const char* machineHelp = "Ask the Mac that FILE describes instead of this machine";
constexpr const char* outputHelp = "Write to FILE instead of standard output; FILE is\n"
                                   "replaced as a whole";

void addRunOptions(CLI::App& command, CommandLine& commandLine) {
    addFile(command, "--machine", commandLine.machine, machineHelp);
    command.add_flag("--envelope", commandLine.envelope,
                     "Put each JSON result into an envelope: time, host,\nrequest, run");
    addFile(command, "--output", commandLine.output, outputHelp);
    addFile(command, "--log", commandLine.log,
            "Append the log to FILE, a JSON object per line;\n- is standard error");
    addWords<std::int64_t>(command, "--log-level", commandLine.logLevel,
                           {{"trace", VELLogLevel::trace},
                            {"information", VELLogLevel::information},
                            {"warning", VELLogLevel::warning},
                            {"error", VELLogLevel::error}},
                           "Log messages of this level and above (default: trace)");
}

void addRequests(CLI::App& command, CommandLine& commandLine) {
    command
        .add_option("REQUEST", commandLine.requests,
                    "Files with requests in JSON; -, or none:\nstandard input")
        ->type_name("FILE")
        ->option_text("...");
}

void addRedact(CLI::App& command, CommandLine& commandLine) {
    command.add_flag("--redact", commandLine.redact,
                     "Leave out of the description the serial number, names,\n"
                     "processes and certificates that no request asks for");
}

void addCheck(CLI::App& check, CommandLine& commandLine) {
    using Format = CommandLine::Format;
    addRequests(check, commandLine);
    addWords<Format>(check, "--format", commandLine.format,
                     {{"json", Format::json},
                      {"text", Format::text},
                      {"junit", Format::junit},
                      {"prometheus", Format::prometheus}},
                     "json: the result documents; text: a report for people;\n"
                     "junit: XML for CI; prometheus: metrics for the textfile\n"
                     "collector (default: text on a terminal, else json)");
    addRunOptions(check, commandLine);
    addFile(check, "--record", commandLine.record,
            "Write a description of the machine, as it answered, to\n"
            "FILE, for --machine; FILE is replaced as a whole");
    addRedact(check, commandLine);
    check.add_flag("--require-checks", commandLine.requireChecks,
                   "Exit status 2 for a request without checks");
    check.add_flag("--strict-exit", commandLine.strictExit,
                   "Exit status 3 if no check failed but some ended in an\nerror");
    check.add_flag("--only-failing", commandLine.onlyFailing,
                   "Leave checks that passed out of the text report");
    check.add_flag("--explain", commandLine.explain,
                   "Say for each check what was expected, what was found and\nwhere");
    check.add_flag("--quiet", commandLine.quiet, "Write nothing to standard output");
}

void addTest(CLI::App& test, CommandLine& commandLine) {
    test.add_option("FILE", commandLine.requests,
                    "Files with a request, machines and the expected outcomes")
        ->type_name("FILE")
        ->option_text("...")
        ->required();
}

void addWhatIf(CLI::App& whatIf, CommandLine& commandLine) {
    using Summary = CommandLine::Summary;
    whatIf.add_option("REQUEST", commandLine.requests, "A file with a request in JSON")
        ->type_name("FILE")
        ->option_text(" ")
        ->expected(1)
        ->required();
    addFile(whatIf, "--against", commandLine.against,
            "Compare with the old request, which is in FILE");
    whatIf
        .add_option("--machines", commandLine.machines,
                    "Machine descriptions, a JSON object per line; - is\nstandard input")
        ->type_name("FILE")
        ->required();
    addWords<Summary>(whatIf, "--summary", commandLine.summary,
                      {{"text", Summary::text}, {"json", Summary::json}, {"html", Summary::html}},
                      "Write counts for all machines instead of a line for each");
}

void addIdentity(CLI::App& identity, CommandLine& commandLine) {
    identity
        .add_option("NAME", commandLine.names, "device_serial_number or device_id (default: both)")
        ->type_name("device_serial_number|device_id")
        ->option_text("...");
    addFormat(identity, commandLine);
    addRunOptions(identity, commandLine);
}

void addLint(CLI::App& lint, CommandLine& commandLine) {
    addRequests(lint, commandLine);
    addFormat(lint, commandLine);
    addWords<Severity>(
        lint, "--fail-on", commandLine.failOn,
        {{"error", Severity::error}, {"warning", Severity::warning}, {"note", Severity::note}},
        "Exit status 1 for a finding of this severity or above\n"
        "(default: warning)");
}

void addDescribe(CLI::App& describe, CommandLine& commandLine) {
    describe
        .add_option("--for", commandLine.requests,
                    "Also ask what the request in FILE needs; repeatable")
        ->type_name("FILE")
        ->allow_extra_args(false);
    addFile(describe, "--machine", commandLine.machine, machineHelp);
    addFile(describe, "--output", commandLine.output, outputHelp);
    addRedact(describe, commandLine);
}

struct Subcommand {
    CommandLine::Command command;
    const char* name;
    const char* help;
    void (*addOptions)(CLI::App& command, CommandLine& commandLine);
};

constexpr std::array subcommands = {
    Subcommand{CommandLine::Command::check, "check", "Run request documents", addCheck},
    Subcommand{CommandLine::Command::identity, "identity",
               "Ask for the identity values of the machine", addIdentity},
    Subcommand{CommandLine::Command::lint, "lint",
               "Report likely mistakes in request documents, without running them", addLint},
    Subcommand{CommandLine::Command::describe, "describe",
               "Write a description of this machine for --machine", addDescribe},
    Subcommand{CommandLine::Command::test, "test",
               "Try requests on described Macs, and report what is not as expected", addTest},
    Subcommand{CommandLine::Command::whatIf, "what-if", "Try a request on many described Macs",
               addWhatIf},
    Subcommand{CommandLine::Command::catalogue, "catalogue",
               "List the check types with their required parameters", addFormat},
    Subcommand{CommandLine::Command::doctor, "doctor",
               "Say what this account can ask on this machine, and how to\nfix what it cannot",
               addFormat},
};

/// The program without the options of its subcommands.
std::unique_ptr<CLI::App> makeProgram() {
    auto program = std::make_unique<CLI::App>("Checks whether a machine meets a posture request.",
                                              programName);
    program->set_version_flag("--version", std::string(programName) + " (" +
                                               vel_device_trustVersionString + ")");
    program->require_subcommand(1);
    program->footer(exitStatusHelp);
    for (const Subcommand& subcommand : subcommands) {
        program->add_subcommand(subcommand.name, subcommand.help);
    }
    return program;
}

CommandLine::Command commandOf(const CLI::App& program) {
    const auto given = std::ranges::find_if(subcommands, [&program](const Subcommand& subcommand) {
        return program.got_subcommand(subcommand.name);
    });
    return given->command;
}

std::string didYouMean(const std::string& text, const std::vector<std::string>& names) {
    const auto near = nearestName(text, names);
    return near ? "; did you mean " + *near + "?" : "";
}

std::vector<std::string> optionNames(const CLI::App& command) {
    std::vector<std::string> names;
    for (const CLI::Option* option : command.get_options()) {
        if (option->nonpositional()) {
            names.push_back("--" + option->get_lnames().front());
        }
    }
    return names;
}

/// An argument that is not accepted, options first; nullopt if there is none.
std::optional<std::string> unexpectedArgument(const CLI::App& program) {
    const std::vector<std::string> unknown = program.remaining(true);
    for (const std::string& argument : unknown) {
        if (argument.size() > 1 && argument.starts_with('-')) {
            return argument;
        }
    }
    return unknown.empty() ? std::nullopt : std::optional(unknown.front());
}

std::string textOf(const CLI::ParseError& error, const CLI::App& program) {
    const auto unexpected = unexpectedArgument(program);
    if (!unexpected) {
        return error.what();
    }
    const auto given = program.get_subcommands();
    const CLI::App& command = given.empty() ? program : *given.front();
    if (unexpected->size() > 1 && unexpected->starts_with('-')) {
        const std::string name = unexpected->substr(0, unexpected->find('='));
        return "unknown option: " + name + didYouMean(name, optionNames(command));
    }
    if (given.empty()) {
        std::vector<std::string> commands;
        for (const CLI::App* known : program.get_subcommands({})) {
            commands.push_back(known->get_name());
        }
        return "unknown command: " + *unexpected + didYouMean(*unexpected, commands);
    }
    return "unexpected argument: " + *unexpected;
}

std::string helpCommandOf(const CLI::App& program) {
    std::string command = programName;
    for (const CLI::App* subcommand : program.get_subcommands()) {
        command += " " + subcommand->get_name();
    }
    return command + " --help";
}

void refuseCombinations(const CommandLine& commandLine, const CLI::App& program) {
    if (commandLine.envelope &&
        commandLine.format.value_or(CommandLine::Format::json) != CommandLine::Format::json) {
        throw WrongUse("--envelope needs --format json", helpCommandOf(program));
    }
    const auto format = commandLine.format.value_or(CommandLine::Format::text);
    if (commandLine.explain && format != CommandLine::Format::text &&
        format != CommandLine::Format::json) {
        throw WrongUse("--explain needs --format text or json", helpCommandOf(program));
    }
    if (commandLine.explain && commandLine.envelope) {
        throw WrongUse("--explain and --envelope exclude each other", helpCommandOf(program));
    }
    if (commandLine.redact && !commandLine.record && program.got_subcommand("check")) {
        throw WrongUse("--redact needs --record", helpCommandOf(program));
    }
}

} // namespace

std::unique_ptr<CLI::App> makeOptionTable(CommandLine& commandLine) {
    auto program = makeProgram();
    for (const Subcommand& subcommand : subcommands) {
        subcommand.addOptions(*program->get_subcommand(subcommand.name), commandLine);
    }
    return program;
}

CommandLine parseCommandLine(int argumentCount, const char* const* arguments) {
    CommandLine commandLine;
    const auto table = makeProgram();
    CLI::App& program = *table;
    for (const Subcommand& subcommand : subcommands) {
        // When it is given: the options of all take longer than most requests.
        CLI::App* command = program.get_subcommand(subcommand.name);
        command->preparse_callback([&subcommand, command, &commandLine](std::size_t) {
            subcommand.addOptions(*command, commandLine);
        });
    }
    try {
        program.parse(argumentCount, arguments);
        commandLine.command = commandOf(program);
    } catch (const CLI::CallForHelp&) {
        commandLine.text = program.help();
    } catch (const CLI::CallForVersion& version) {
        commandLine.text = std::string(version.what()) + "\n";
    } catch (const CLI::ParseError& error) {
        throw WrongUse(textOf(error, program), helpCommandOf(program));
    }
    refuseCombinations(commandLine, program);
    return commandLine;
}
