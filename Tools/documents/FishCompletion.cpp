// SPDX-License-Identifier: Apache-2.0
#include "Tools/documents/Completions.h"
#include "Tools/documents/Lines.h"

namespace {

std::string quoted(const std::string& text) {
    return "'" + escaped(inOneLine(text), "\\'", "\\") + "'";
}

std::string optionLine(const OptionDescription& option) {
    std::string line;
    for (const std::string& name : option.names) {
        line += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
    }
    switch (option.value.kind) {
    case ValueDescription::Kind::none:
        break;
    case ValueDescription::Kind::text:
        line += " -x";
        break;
    case ValueDescription::Kind::file:
        line += " -r -F";
        break;
    case ValueDescription::Kind::words:
        line += " -x -a " + quoted(joined(option.value.words, " "));
        break;
    }
    return line + " -d " + quoted(option.text);
}

std::string commandLines(const CommandDescription& command, const std::string& start) {
    std::string lines;
    for (const OptionDescription& option : command.options) {
        lines += start + optionLine(option) + "\n";
    }
    for (const ArgumentDescription& argument : command.arguments) {
        if (argument.value.kind == ValueDescription::Kind::file) {
            lines += start + " -F\n";
        } else if (argument.value.kind == ValueDescription::Kind::words) {
            lines += start + " -a " + quoted(joined(argument.value.words, " ")) + "\n";
        }
    }
    return lines;
}

} // namespace

std::string fishCompletion(const CommandDescription& program) {
    const std::string start = "complete -c " + program.name;
    const std::string before = start + " -n __fish_use_subcommand";
    std::string text = "# Completes the arguments of " + program.name + " in fish.\n" + start +
                       " -f\n" + commandLines(program, before);
    for (const CommandDescription& command : program.commands) {
        text +=
            "\n" + before + " -a " + command.name + " -d " + quoted(command.text) + "\n" +
            commandLines(command, start + " -n '__fish_seen_subcommand_from " + command.name + "'");
    }
    return text;
}
