// SPDX-License-Identifier: Apache-2.0
#include "Tools/documents/ManualPage.h"

#include "Base/VELText.h"
#include "Tools/documents/Lines.h"

#include <array>
#include <chrono>
#include <cstddef>

namespace {

std::string textLine(std::string_view line) {
    std::string result = line.starts_with('.') || line.starts_with('\'') ? "\\&" : "";
    for (const char character : line) {
        result += character == '\\' ? std::string("\\e") : std::string(1, character);
        // A sentence starts a line.
        if (result.ends_with(". ")) {
            result.back() = '\n';
        }
    }
    return result + "\n";
}

/// A text of the help as a paragraph: whole sentences.
std::string paragraph(std::string text) {
    if (!text.ends_with('.')) {
        text += '.';
    }
    std::string lines;
    for (const std::string_view line : vel::split(text, '\n')) {
        lines += textLine(line);
    }
    return lines;
}

std::string valueMacros(const ValueDescription& value) {
    return value.kind == ValueDescription::Kind::words && value.name.find('|') != std::string::npos
               ? " Cm " + joined(value.words, " | ")
           : value.kind == ValueDescription::Kind::none ? std::string()
                                                        : " Ar " + value.name;
}

std::string optionMacros(const OptionDescription& option) {
    std::string macros;
    for (const std::string& name : option.names) {
        macros += (macros.empty() ? "Fl " : " , Fl ") + name.substr(1);
    }
    return macros + valueMacros(option.value);
}

std::string argumentMacros(const ArgumentDescription& argument) {
    return "Ar " + argument.value.name + (argument.repeats ? " ..." : "");
}

bool isOfEveryCommand(const OptionDescription& option) {
    return option.names.back() == "--help";
}

std::string synopsis(const CommandDescription& program) {
    std::string lines;
    for (const CommandDescription& command : program.commands) {
        lines += ".Nm\n.Cm " + command.name + "\n";
        for (const OptionDescription& option : command.options) {
            lines += isOfEveryCommand(option) ? "" : ".Op " + optionMacros(option) + "\n";
        }
        for (const ArgumentDescription& argument : command.arguments) {
            lines += (argument.isRequired ? "." : ".Op ") + argumentMacros(argument) + "\n";
        }
    }
    for (const OptionDescription& option : program.options) {
        lines += ".Nm\n." + optionMacros(option) + "\n";
    }
    return lines;
}

std::string optionItems(const CommandDescription& command, bool isProgram) {
    std::string items;
    for (const ArgumentDescription& argument : command.arguments) {
        items += ".It " + argumentMacros(argument) + "\n" + paragraph(argument.text);
    }
    for (const OptionDescription& option : command.options) {
        if (isProgram || !isOfEveryCommand(option)) {
            items += ".It " + optionMacros(option) + "\n" + paragraph(option.text);
        }
    }
    return items.empty() ? items : ".Bl -tag -width Ds\n" + items + ".El\n";
}

std::string commandSections(const CommandDescription& program) {
    std::string sections;
    for (const CommandDescription& command : program.commands) {
        sections +=
            ".Ss " + command.name + "\n" + paragraph(command.text) + optionItems(command, false);
    }
    return sections;
}

/// From lines such as "  2  wrong use".
std::string exitStatusItems(const std::string& footer) {
    std::string items;
    for (std::string_view line : vel::split(footer, '\n')) {
        const std::size_t number = line.find_first_of("0123456789");
        const std::size_t end = line.find_first_not_of("0123456789", number);
        const std::size_t text = line.find_first_not_of(' ', end);
        if (line.starts_with("  ") && number == 2 && text != std::string_view::npos) {
            items += ".It " + std::string(line.substr(number, end - number)) + "\n" +
                     textLine(line.substr(text));
        }
    }
    return items;
}

/// For a macro's line, where quotation marks group words.
std::string summary(const std::string& text) {
    std::string line;
    for (const char character : inOneLine(text)) {
        line += character == '\\'  ? std::string("\\e")
                : character == '"' ? std::string("\\(dq")
                                   : std::string(1, character);
    }
    if (!line.empty() && line.front() >= 'A' && line.front() <= 'Z') {
        line.front() = static_cast<char>(line.front() - 'A' + 'a');
    }
    return line.ends_with('.') ? line.substr(0, line.size() - 1) : line;
}

std::string dateText(std::int64_t seconds) {
    static constexpr std::array<const char*, 12> months = {
        "January", "February", "March",     "April",   "May",      "June",
        "July",    "August",   "September", "October", "November", "December"};
    const std::chrono::sys_seconds moment{std::chrono::seconds(seconds)};
    const std::chrono::year_month_day date(std::chrono::floor<std::chrono::days>(moment));
    return std::string(months.at(static_cast<unsigned>(date.month()) - 1)) + " " +
           std::to_string(static_cast<unsigned>(date.day())) + ", " +
           std::to_string(static_cast<int>(date.year()));
}

} // namespace

std::string manualPage(const CommandDescription& program, std::string_view frame,
                       std::int64_t seconds) {
    return filled(frame, {{"NAME", program.name},
                          {"SUMMARY", summary(program.text)},
                          {"SYNOPSIS", synopsis(program)},
                          {"OPTIONS", optionItems(program, true)},
                          {"COMMANDS", commandSections(program)},
                          {"EXIT_STATUS", exitStatusItems(program.footer)},
                          {"DATE", dateText(seconds)}});
}
