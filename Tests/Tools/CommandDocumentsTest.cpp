// SPDX-License-Identifier: Apache-2.0
// The manual page and the shells' completions against the option table.
#include "Classes/Mac/VELPostureCheckRunner+Mac.h"
#include "Platform/Simulated/VELSimulatedPlatform.h"
#include "Tests/Support/ChildProgram.h"
#include "Tests/Support/FileContent.h"
#include "Tests/Support/RegularExpression.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Tests/Tools/DescribedCommands.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>
#include <set>

namespace {

using Result = ChildProgram::Result;
using Words = std::set<std::string>;

const std::string source = VEL_SOURCE_DIRECTORY "/";
const std::string manualPath = source + "Documentation/manual/vel-posture.1";
const std::string bashPath = source + "Tools/completions/vel-posture.bash";
const std::string zshPath = source + "Tools/completions/_vel-posture";
const std::string fishPath = source + "Tools/completions/vel-posture.fish";

Words optionsOf(const DescribedCommand& command) {
    Words names;
    for (const auto& [name, value] : command.options) {
        names.insert(name);
    }
    return names;
}

Words commandNames() {
    Words names;
    for (const auto& [name, command] : describedCommands()) {
        names.insert(name);
    }
    names.erase("");
    return names;
}

std::string between(const std::string& text, const std::string& start, const std::string& end) {
    const std::size_t begin = text.find(start);
    if (begin == std::string::npos) {
        return {};
    }
    return text.substr(begin, text.find(end, begin + start.size()) - begin);
}

/// What bash offers for the last of `words`; {"(files)"} for file names.
Words offeredByBash(const std::string& words) {
    ChildProgram bash{{"/usr/bin/env", "bash", "--norc", "--noprofile", "-u", "-c", R"sh(
        compopt() { echo "(files)"; }
        source "$1" || exit 3
        eval "COMP_WORDS=($2)"
        COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
        _vel_posture || exit 4
        ((${#COMPREPLY[@]} == 0)) || printf '%s\n' "${COMPREPLY[@]}"
    )sh",
                       "bash", bashPath, words}};
    const Result result = bash.run();
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(result.errors, "");
    return firstGroups(result.output, "([^\n]+)");
}

bool isInstalled(const std::string& program) {
    return ChildProgram{{"/bin/sh", "-c", "command -v \"$1\"", "sh", program}}.run().status == 0;
}

TEST(CommandDocuments, TheTableIsRead) {
    EXPECT_EQ(commandNames(), (Words{"check", "identity", "lint", "describe", "test", "what-if",
                                     "catalogue", "doctor"}));
    const DescribedCommand check = describedCommands().at("check");
    EXPECT_TRUE(check.options.contains("--help"));
    EXPECT_TRUE(check.options.at("--machine").isFile);
    EXPECT_TRUE(check.options.at("--format").words.contains("json"));
    EXPECT_TRUE(check.argument && check.argument->isFile);
    EXPECT_EQ(describedCommands().at("identity").argument->words,
              (Words{"device_serial_number", "device_id"}));
    EXPECT_FALSE(describedCommands().at("catalogue").argument);
}

TEST(CommandDocuments, ManualPageHasEveryCommandOptionAndValue) {
    const std::string page = contentOf(manualPath);
    EXPECT_EQ(firstGroups(page, "\n\\.Ss (.+)"), commandNames());
    const std::string ofAll = between(page, ".Sh DESCRIPTION", ".Sh COMMANDS");
    for (const auto& [name, command] : describedCommands()) {
        std::string section = name.empty() ? "" : between(page, "\n.Ss " + name + "\n", "\n.Sh ");
        section = section.substr(0, section.find("\n.Ss ", 1));
        Words documented = firstGroups(ofAll + section, "\n\\.It (?:Fl h , )?Fl (-[a-z-]+)");
        if (!name.empty()) {
            documented.erase("-version");
        }
        Words expected;
        for (const auto& [option, value] : command.options) {
            expected.insert(option.substr(1));
            if (!value.words.empty()) {
                Words words;
                for (const std::string& list :
                     firstGroups(section, "\n\\.It Fl " + option.substr(1) + " Cm ([^\n]+)")) {
                    words.merge(firstGroups(list, "([a-z_]+)"));
                }
                EXPECT_EQ(words, value.words) << name << option;
            } else if (value.exists && !value.isFile) {
                EXPECT_NE(section.find(".It Fl " + option.substr(1) + " Ar "), std::string::npos)
                    << name << option;
            } else if (value.isFile) {
                EXPECT_NE(section.find(".It Fl " + option.substr(1) + " Ar FILE"),
                          std::string::npos)
                    << name << option;
            }
        }
        EXPECT_EQ(documented, expected) << name;
        for (const std::string& word : command.argument ? command.argument->words : Words()) {
            EXPECT_NE(section.find("\n.Cm " + word), std::string::npos) << word;
        }
    }
}

TEST(CommandDocuments, ManualPageHasEveryExitStatus) {
    EXPECT_EQ(firstGroups(between(contentOf(manualPath), ".Sh EXIT STATUS", ".Sh EXAMPLES"),
                          "\n\\.It ([0-9]+)"),
              statusesInHelp());
}

TEST(CommandDocuments, ManualPageHasEveryCheckWithItsParameters) {
    const std::string section = between(contentOf(manualPath), "\n.Sh CHECKS", "\n.Sh ENVIRONMENT");
    Words types;
    for (const auto& [type, check] :
         macPostureCheckCatalogue(std::make_shared<VELSimulatedPlatform>())) {
        types.insert(type);
        const auto required = check->requiredParameters().value_or(std::vector<std::string>());
        EXPECT_EQ(
            firstGroups(between(section, "\n.It Cm " + type + "\n", "\n.It "), "\n\\.Cm (\\w+)"),
            Words(required.begin(), required.end()))
            << type;
    }
    EXPECT_EQ(firstGroups(section, "\n\\.It Cm (\\w+)"), types);
}

TEST(CommandDocuments, ManualPageIsClean) {
    if (!isInstalled("mandoc")) {
        GTEST_SKIP() << "mandoc is not installed";
    }
    EXPECT_EQ((ChildProgram{{"/usr/bin/env", "mandoc", "-Tlint", manualPath}}.run()),
              (Result{0, "", ""}));
}

TEST(CommandDocuments, BashOffersTheTable) {
    EXPECT_EQ(offeredByBash("vel-posture ''"), commandNames());
    for (const auto& [name, command] : describedCommands()) {
        const std::string start = "vel-posture " + name + " ";
        Words options = optionsOf(command);
        options.insert("-h");
        EXPECT_EQ(offeredByBash(start + "-"), options);
        for (const auto& [option, value] : command.options) {
            const Words files = {"(files)"};
            if (value.isFile) {
                EXPECT_EQ(offeredByBash(start + option + " ''"), files) << start << option;
            } else if (value.exists) {
                EXPECT_EQ(offeredByBash(start + option + " ''"), value.words) << start << option;
                EXPECT_EQ(offeredByBash(start + option + " ="), value.words) << start << option;
            }
        }
        if (!name.empty()) {
            const DescribedValue argument = command.argument.value_or(DescribedValue());
            EXPECT_EQ(offeredByBash(start + "''"),
                      argument.isFile ? Words{"(files)"} : argument.words);
        }
    }
    EXPECT_EQ(offeredByBash("vel-posture check --format = t"), Words{"text"});
    EXPECT_EQ(offeredByBash("vel-posture identity device_id device_s"),
              Words{"device_serial_number"});
}

TEST(CommandDocuments, BashCompletesAtATerminal) {
    const TemporaryFolder folder;
    folder.write("a request.json", "{}");
    ChildProgram bash{{"/usr/bin/env", "bash", "--norc", "--noprofile", "-i"}};
    bash.environment = {{"HOME", folder.path()}, {"HISTFILE", ""}};
    bash.inputStream = ChildStream::terminal;
    bash.errorStream = ChildStream::terminal;
    bash.input = "cd " + folder.path() + "; source " + bashPath +
                 "; vel-posture() { printf '<%s>' \"$@\"; echo; }\n"
                 "vel-posture che\t--mach\ta\\ r\t--fo\tt\t\n"
                 "vel-posture check --machine=a\\ r\t\n"
                 "vel-posture check a\t\n"
                 "vel-posture catalogue a\t\n"
                 "vel-posture id\tdevice_s\t\n"
                 "exit\n";
    EXPECT_EQ(bash.run().output, "<check><--machine><a request.json><--format><text>\n"
                                 "<check><--machine=a request.json>\n"
                                 "<check><a request.json>\n"
                                 "<catalogue><a>\n"
                                 "<identity><device_serial_number>\n");
}

TEST(CommandDocuments, ZshOffersTheTable) {
    const std::string script = contentOf(zshPath);
    EXPECT_EQ(firstGroups(between(script, "commands=(", "\n    )"), "\n +'([a-z-]+):"),
              commandNames());
    // The arrays of options that several commands have, with those inside them.
    std::map<std::string, std::string> arrays;
    for (const std::string& name : firstGroups(script, "local -a ([a-z]+)=\\(")) {
        const std::string rest = between(script, "local -a " + name + "=(", "\n\n");
        arrays[name] = rest.substr(0, rest.find("\nlocal ", 1));
    }
    const auto expanded = [&arrays](std::string text) {
        for (int level = 0; level < 3; ++level) {
            for (const auto& [name, content] : arrays) {
                const std::size_t at = text.find("$" + name);
                if (at != std::string::npos) {
                    text.replace(at, name.size() + 1, content);
                }
            }
        }
        return text;
    };
    for (const auto& [name, command] : describedCommands()) {
        const std::string text =
            expanded(name.empty() ? between(script, "_arguments -C", "\n")
                                  : between(script, "\n    " + name + ")", ";;"));
        EXPECT_EQ(firstGroups(text, "(--[a-z-]+)"), optionsOf(command)) << name << text;
        for (const auto& [option, value] : command.options) {
            const std::string spec = between(text, option + "=", "'");
            EXPECT_EQ(!spec.empty(), value.exists) << name << option;
            EXPECT_EQ(spec.find(":_files") != std::string::npos, value.isFile) << name << option;
            EXPECT_EQ(firstGroups(between(spec, ":(", ")"), "([a-z_]+)"), value.words)
                << name << option;
        }
    }
    if (isInstalled("zsh")) {
        EXPECT_EQ((ChildProgram{{"/usr/bin/env", "zsh", "-f", "-n", zshPath}}.run()),
                  (Result{0, "", ""}));
    }
}

TEST(CommandDocuments, FishOffersTheTable) {
    const std::string script = contentOf(fishPath);
    EXPECT_EQ(firstGroups(script, "-n __fish_use_subcommand -a ([a-z-]+)"), commandNames());
    for (const auto& [name, command] : describedCommands()) {
        const std::string condition = name.empty() ? "(?:-s h|-n __fish_use_subcommand)"
                                                   : "(?:-s h|-n '__fish_seen_subcommand_from"
                                                     "(?: [a-z-]+)* " +
                                                         name + "(?: [a-z-]+)*')";
        Words offered;
        for (const std::string& option : firstGroups(script, condition + " -l ([a-z-]+)")) {
            offered.insert("--" + option);
        }
        EXPECT_EQ(offered, optionsOf(command)) << name;
        for (const auto& [option, value] : command.options) {
            const std::string start = condition + " -l " + option.substr(2);
            EXPECT_EQ(firstGroups(script, start + "( -r -F) -d").size(), value.isFile ? 1U : 0U)
                << name << option;
            Words words;
            for (const std::string& list : firstGroups(script, start + " -x -a '([a-z_ ]+)'")) {
                words.merge(firstGroups(list, "([a-z_]+)"));
            }
            EXPECT_EQ(words, value.words) << name << option;
        }
    }
}

TEST(CommandDocuments, FishCompletes) {
    if (!isInstalled("fish")) {
        GTEST_SKIP() << "fish is not installed";
    }
    const TemporaryFolder folder;
    folder.write("request.json", "{}");
    const auto offered = [&folder](const std::string& line) {
        ChildProgram fish{{"/usr/bin/env", "fish", "--no-config", "-c",
                           "source " + fishPath + "; complete -C '" + line + "'"}};
        fish.environment = {{"HOME", folder.path()}, {"LC_ALL", "C.UTF-8"}};
        const Result result = fish.run();
        EXPECT_EQ(result.errors, "");
        return firstGroups(result.output, "([^\t\n]+)(?:\t[^\n]*)?\n");
    };
    EXPECT_EQ(offered("vel-posture che"), Words{"check"});
    EXPECT_EQ(offered("vel-posture check --format "),
              describedCommands().at("check").options.at("--format").words);
    EXPECT_EQ(offered("vel-posture identity device_i"), Words{"device_id"});
    EXPECT_EQ(offered("vel-posture check " + folder.path() + "/req"),
              Words{folder.path() + "/request.json"});
    EXPECT_EQ(offered("vel-posture catalogue " + folder.path() + "/req"), Words());
}

} // namespace
