// SPDX-License-Identifier: Apache-2.0
#include "Tools/documents/Completions.h"
#include "Tools/documents/Lines.h"

namespace {

constexpr const char* frame = R"sh(#compdef @PROGRAM@

_@PROGRAM@_commands() {
    local -a commands=(
@COMMANDS@    )
    _describe -t commands command commands
}

_@PROGRAM@() {
    local curcontext=$curcontext state line ret=1
    typeset -A opt_args
    _arguments -C -s -S \
@OPTIONS@        '1: :_@PROGRAM@_commands' \
        '*:: :->arguments' && ret=0

    if [[ $state == arguments ]]; then
        curcontext=${curcontext%:*}-$line[1]:
        case $line[1] in
@BRANCHES@        esac
    fi
    return ret
}

_@PROGRAM@ "$@"
)sh";

std::string quoted(const std::string& text) {
    std::string result = "'";
    for (const char character : text) {
        result += character == '\'' ? std::string("'\\''") : std::string(1, character);
    }
    return result + "'";
}

/// A text inside an entry of _arguments, where brackets and colons mean something.
std::string plainText(const std::string& text) {
    return escaped(inOneLine(text), "\\:[]", "\\");
}

std::string action(const ValueDescription& value) {
    switch (value.kind) {
    case ValueDescription::Kind::file:
        return "_files";
    case ValueDescription::Kind::words:
        return "(" + joined(value.words, " ") + ")";
    case ValueDescription::Kind::none:
    case ValueDescription::Kind::text:
        break;
    }
    return " ";
}

std::string optionLines(const CommandDescription& command, const std::string& indent) {
    std::string lines;
    for (const OptionDescription& option : command.options) {
        const bool ends = option.names.back() == "--help" || option.names.back() == "--version";
        const std::string excluded = ends ? "- *" : joined(option.names, " ");
        const bool hasValue = option.value.kind != ValueDescription::Kind::none;
        for (const std::string& name : option.names) {
            const bool isLong = name.starts_with("--");
            std::string line = "(" + excluded + ")" + name;
            line += hasValue && isLong ? "=" : hasValue ? "+" : "";
            line += "[" + plainText(option.text) + "]";
            line += hasValue ? ":" + plainText(option.value.name) + ":" + action(option.value) : "";
            lines += indent + quoted(line) + " \\\n";
        }
    }
    return lines;
}

std::string branch(const CommandDescription& command) {
    const std::string indent(16, ' ');
    std::string text = "        " + command.name + ")\n            _arguments -s -S \\\n";
    text += optionLines(command, indent);
    for (std::size_t index = 0; index < command.arguments.size(); ++index) {
        const ArgumentDescription& argument = command.arguments[index];
        const std::string place = argument.repeats ? "*" : std::to_string(index + 1);
        text += indent +
                quoted(place + (argument.isRequired || argument.repeats ? ":" : "::") +
                       plainText(argument.value.name) + ":" + action(argument.value)) +
                " \\\n";
    }
    return text + indent + "&& ret=0\n            ;;\n";
}

} // namespace

std::string zshCompletion(const CommandDescription& program) {
    std::string commands;
    std::string branches;
    for (const CommandDescription& command : program.commands) {
        const std::string text = escaped(inOneLine(command.text), "\\:", "\\");
        commands += "        " + quoted(command.name + ":" + text) + "\n";
        branches += branch(command);
    }
    return filled(frame, {{"PROGRAM", program.name},
                          {"COMMANDS", commands},
                          {"OPTIONS", optionLines(program, "        ")},
                          {"BRANCHES", branches}});
}
