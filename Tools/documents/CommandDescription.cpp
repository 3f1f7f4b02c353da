// SPDX-License-Identifier: Apache-2.0
#include "Tools/documents/CommandDescription.h"

#include "Base/VELText.h"

#include <CLI/CLI.hpp>

#include <stdexcept>
#include <string_view>

namespace {

constexpr std::string_view plainCharacters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.";

const std::string& plain(const std::string& word) {
    if (word.empty() || word.find_first_not_of(plainCharacters) != std::string::npos) {
        throw std::invalid_argument("\"" + word + "\" would have to be quoted in a shell");
    }
    return word;
}

std::vector<std::string> alternatives(const std::string& text) {
    std::vector<std::string> words;
    for (const std::string_view word : vel::split(text, '|')) {
        words.push_back(plain(std::string(word)));
    }
    return words;
}

/// The text after an option's name in the help; spaces alone are none.
std::string helpText(const CLI::Option& option) {
    const std::string& text = option.get_option_text();
    return text.find_first_not_of(' ') == std::string::npos ? std::string() : text;
}

/// The type name without what validators add to it.
std::string typeName(const CLI::Option& option) {
    const std::string name = option.get_type_name();
    return name.substr(0, name.find(':'));
}

/// The first of the texts that says what may stand there.
ValueDescription valueOf(const CLI::Option& option, const std::string& name,
                         const std::vector<std::string>& texts) {
    if (option.get_items_expected_max() == 0) {
        return {};
    }
    for (const std::string& text : texts) {
        if (text == "FILE" || text == "REQUEST") {
            return {ValueDescription::Kind::file, name};
        }
        if (text.find('|') != std::string::npos) {
            return {ValueDescription::Kind::words, name, alternatives(text)};
        }
    }
    return {ValueDescription::Kind::text, name};
}

OptionDescription describeOption(const CLI::Option& option) {
    OptionDescription description{.names = {}, .value = {}, .text = option.get_description()};
    for (const std::string& name : option.get_snames()) {
        description.names.push_back("-" + plain(name));
    }
    for (const std::string& name : option.get_lnames()) {
        description.names.push_back("--" + plain(name));
    }
    const std::string shown = helpText(option);
    description.value =
        valueOf(option, shown.empty() ? typeName(option) : shown, {typeName(option), shown});
    return description;
}

ArgumentDescription describeArgument(const CLI::Option& option) {
    const std::string name = option.get_name(true);
    return {.value = valueOf(option, name, {typeName(option), helpText(option), name}),
            .text = option.get_description(),
            .isRequired = option.get_required(),
            .repeats = option.get_items_expected_max() > 1};
}

} // namespace

CommandDescription describeCommand(const CLI::App& table) {
    CommandDescription description{.name = plain(table.get_name()),
                                   .text = table.get_description()};
    description.footer = table.get_footer();
    const auto isShown = [](const auto* entry) { return !entry->get_group().empty(); };
    for (const CLI::Option* option : table.get_options(isShown)) {
        if (option->nonpositional()) {
            description.options.push_back(describeOption(*option));
        } else {
            description.arguments.push_back(describeArgument(*option));
        }
    }
    for (const CLI::App* command : table.get_subcommands(isShown)) {
        description.commands.push_back(describeCommand(*command));
    }
    return description;
}
