// SPDX-License-Identifier: Apache-2.0
#include "Tools/documents/Completions.h"
#include "Tools/documents/Lines.h"

#include <algorithm>

namespace {

constexpr const char* frame = R"sh(# Completes the arguments of @PROGRAM@ in bash (4.3 and later).

# What the value of an option is, or, where a number stands for one, the argument with that number.
# Sets `kind` to none, text, file or words, and `words`.
_@NAME@_value() {
    kind=none words=
    case $1:$2 in
@VALUES@    esac
}

# What may be written with a hyphen, and without one before the command.
_@NAME@_words() {
    commands='@COMMANDS@'
    case $1 in
@OPTIONS@    *) options= ;;
    esac
}

_@NAME@() {
    local word current prefix= kind=none words= options commands
    local command= is_command_known= only_arguments= argument=1 index
    local -a given=()
    COMPREPLY=()
    for ((index = 1; index <= COMP_CWORD; ++index)); do
        word=${COMP_WORDS[index]}
        # An option and its value with an equals sign between them are three words here.
        if ((${#given[@]})) && [[ ${given[-1]} == --* && ($word == = || ${given[-1]} == *=) ]]; then
            given[-1]+=$word
        else
            given+=("$word")
        fi
    done
    current=${given[-1]}
    unset 'given[-1]'

    for word in "${given[@]}"; do
        if [[ $kind != none ]]; then
            kind=none
        elif [[ $only_arguments || $word != -?* ]]; then
            if [[ $is_command_known ]]; then
                ((++argument))
            else
                command=$word is_command_known=1
            fi
        elif [[ $word == -- ]]; then
            only_arguments=1
        else
            _@NAME@_value "$command" "$word"
        fi
    done

    _@NAME@_words "$command"
    if [[ $kind != none ]]; then
        : # the value of the option before
    elif [[ ! $only_arguments && $current == --*=* ]]; then
        _@NAME@_value "$command" "${current%%=*}"
        [[ ${COMP_WORDS[COMP_CWORD]} == --* ]] && prefix=${current%%=*}=
        current=${current#*=}
    elif [[ ! $only_arguments && $current == -* ]]; then
        kind=words words=$options
    elif [[ ! $is_command_known ]]; then
        kind=words words=$commands
    else
        _@NAME@_value "$command" "$argument"
        [[ $kind == none ]] && _@NAME@_value "$command" more
    fi

    case $kind in
    file) compopt -o default ;;
    words) mapfile -t COMPREPLY < <(compgen -P "$prefix" -W "$words" -- "$current") ;;
    esac
}

complete -F _@NAME@ @PROGRAM@
)sh";

std::string valueBranch(const std::string& command, const std::string& option,
                        const ValueDescription& value) {
    using Kind = ValueDescription::Kind;
    if (value.kind == Kind::none) {
        return {};
    }
    const std::string branch = "    " + command + ":" + option + ") ";
    if (value.kind == Kind::words) {
        return branch + "kind=words words='" + joined(value.words, " ") + "' ;;\n";
    }
    return branch + (value.kind == Kind::file ? "kind=file" : "kind=text") + " ;;\n";
}

std::string valueBranches(const CommandDescription& command, const std::string& name) {
    std::string branches;
    for (const OptionDescription& option : command.options) {
        branches += valueBranch(name, joined(option.names, "|" + name + ":"), option.value);
    }
    for (std::size_t index = 0; index < command.arguments.size(); ++index) {
        const ArgumentDescription& argument = command.arguments[index];
        branches += valueBranch(name, argument.repeats ? "more" : std::to_string(index + 1),
                                argument.value);
    }
    return branches;
}

std::string optionBranch(const CommandDescription& command, const std::string& name) {
    std::vector<std::string> names;
    for (const OptionDescription& option : command.options) {
        names.insert(names.end(), option.names.begin(), option.names.end());
    }
    return "    " + name + ") options='" + joined(names, " ") + "' ;;\n";
}

} // namespace

std::string bashCompletion(const CommandDescription& program) {
    std::string values = valueBranches(program, "");
    std::string options = optionBranch(program, "''");
    std::vector<std::string> commands;
    for (const CommandDescription& command : program.commands) {
        values += valueBranches(command, command.name);
        options += optionBranch(command, command.name);
        commands.push_back(command.name);
    }
    std::string name = program.name;
    std::ranges::replace_if(
        name, [](char letter) { return letter == '-' || letter == '.'; }, '_');
    return filled(frame, {{"PROGRAM", program.name},
                          {"NAME", name},
                          {"VALUES", values},
                          {"OPTIONS", options},
                          {"COMMANDS", joined(commands, " ")}});
}
