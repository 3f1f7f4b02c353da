// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/CommandLine.h"

#include "Tools/vel-posture/OptionTable.h"
#include "Tools/vel-posture/ProgramFailure.h"
#include "vel_device_trust/vel_device_trust.h"

namespace {

constexpr const char* programName = "vel-posture";

constexpr const char* exitStatusHelp =
    "Exit status:\n"
    "  0  passed, the identity request was answered, or lint has no findings\n"
    "  1  did not pass, or lint has findings\n"
    "  2  wrong use, a file that cannot be read or written, or an error result";

void addFormat(CLI::App& command, CommandLine& commandLine) {
    command
        .add_option_function<std::string>(
            "--format",
            [&commandLine](const std::string& name) {
                commandLine.format =
                    name == "json" ? CommandLine::Format::json : CommandLine::Format::text;
            },
            "json: the document; text: a report for people\n"
            "(default: text on a terminal, else json)")
        ->check(CLI::IsMember({"json", "text"}))
        ->type_name("json|text")
        ->option_text("json|text");
}

void addRunOptions(CLI::App& command, CommandLine& commandLine) {
    command
        .add_option("--machine", commandLine.machine,
                    "Ask the Mac that FILE describes, not this machine")
        ->type_name("FILE");
    addFormat(command, commandLine);
    command
        .add_option("--log", commandLine.log,
                    "Append the log to FILE, a JSON object per line;\n- is standard error")
        ->type_name("FILE");
}

void addRequest(CLI::App& command, CommandLine& commandLine) {
    command
        .add_option("REQUEST", commandLine.request,
                    "File with the request in JSON; -, or none:\nstandard input")
        ->type_name("FILE")
        ->option_text(" ");
}

void addCommands(CLI::App& program, CommandLine& commandLine) {
    CLI::App* check = program.add_subcommand("check", "Run a request document");
    addRequest(*check, commandLine);
    addRunOptions(*check, commandLine);

    CLI::App* identity =
        program.add_subcommand("identity", "Ask for the identity values of the machine");
    identity
        ->add_option("NAME", commandLine.names, "device_serial_number or device_id (default: both)")
        ->type_name("device_serial_number|device_id")
        ->option_text("...");
    addRunOptions(*identity, commandLine);

    CLI::App* lint = program.add_subcommand(
        "lint", "Report likely mistakes in a request document, without running it");
    addRequest(*lint, commandLine);
    addFormat(*lint, commandLine);

    CLI::App* catalogue =
        program.add_subcommand("catalogue", "List the check types with their required parameters");
    addFormat(*catalogue, commandLine);
}

CommandLine::Command commandOf(const CLI::App& program) {
    if (program.got_subcommand("check")) {
        return CommandLine::Command::check;
    }
    if (program.got_subcommand("lint")) {
        return CommandLine::Command::lint;
    }
    return program.got_subcommand("identity") ? CommandLine::Command::identity
                                              : CommandLine::Command::catalogue;
}

std::string textOf(const CLI::ParseError& error, const CLI::App& program) {
    const std::vector<std::string> unknown = program.remaining();
    if (program.get_subcommands().empty() && !unknown.empty() &&
        !unknown.front().starts_with('-')) {
        return "unknown command: " + unknown.front();
    }
    return error.what();
}

std::string helpCommandOf(const CLI::App& program) {
    std::string command = programName;
    for (const CLI::App* subcommand : program.get_subcommands()) {
        command += " " + subcommand->get_name();
    }
    return command + " --help";
}

} // namespace

std::unique_ptr<CLI::App> makeOptionTable(CommandLine& commandLine) {
    auto program = std::make_unique<CLI::App>("Checks whether a machine meets a posture request.",
                                              programName);
    program->set_version_flag("--version", std::string(programName) + " (" +
                                               vel_device_trustVersionString + ")");
    program->require_subcommand(1);
    program->footer(exitStatusHelp);
    addCommands(*program, commandLine);
    return program;
}

CommandLine parseCommandLine(int argumentCount, const char* const* arguments) {
    CommandLine commandLine;
    const auto table = makeOptionTable(commandLine);
    CLI::App& program = *table;
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
    return commandLine;
}
