// SPDX-License-Identifier: Apache-2.0
#include "Tests/Tools/DescribedCommands.h"

#include "Tests/Support/RegularExpression.h"
#include "Tools/vel-posture/OptionTable.h"

#include <sstream>

namespace {

/// The words of "a|b"; none for any other text.
std::set<std::string> wordsOf(const std::string& text) {
    std::set<std::string> words;
    if (text.find('|') != std::string::npos) {
        std::istringstream parts(text);
        for (std::string word; std::getline(parts, word, '|');) {
            words.insert(word);
        }
    }
    return words;
}

DescribedCommand describe(const CLI::App& table) {
    DescribedCommand command;
    for (const CLI::Option* option : table.get_options()) {
        // Without what a validator adds to it.
        const std::string shown = option->get_type_name();
        const std::string type = shown.substr(0, shown.find(':'));
        const DescribedValue value = {option->get_items_expected_max() > 0, type == "FILE",
                                      wordsOf(type)};
        if (option->nonpositional()) {
            command.options["--" + option->get_lnames().front()] = value;
        } else {
            command.argument = value;
        }
    }
    return command;
}

} // namespace

std::map<std::string, DescribedCommand> describedCommands() {
    CommandLine commandLine;
    const auto table = makeOptionTable(commandLine);
    std::map<std::string, DescribedCommand> commands = {{"", describe(*table)}};
    for (const CLI::App* command : table->get_subcommands({})) {
        commands[command->get_name()] = describe(*command);
    }
    return commands;
}

std::set<std::string> statusesInHelp() {
    CommandLine commandLine;
    return firstGroups(makeOptionTable(commandLine)->get_footer(), "\n  ([0-9]+)  ");
}
