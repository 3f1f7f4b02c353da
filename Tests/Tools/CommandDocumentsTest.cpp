// SPDX-License-Identifier: Apache-2.0
#include "Tests/Support/ChildProgram.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Tools/documents/CommandDescription.h"
#include "Tools/documents/Completions.h"
#include "Tools/documents/Lines.h"
#include "Tools/documents/ManualPage.h"
#include "Tools/vel-posture/OptionTable.h"

#include <CLI/CLI.hpp>
#include <gtest/gtest.h>

#include <algorithm>

namespace {

using Kind = ValueDescription::Kind;
using Result = ChildProgram::Result;

CommandDescription velPosture() {
    CommandLine commandLine;
    return describeCommand(*makeOptionTable(commandLine));
}

const CommandDescription& named(const CommandDescription& program, const std::string& name) {
    const auto found = std::ranges::find(program.commands, name, &CommandDescription::name);
    if (found == program.commands.end()) {
        throw std::out_of_range("there is no command " + name);
    }
    return *found;
}

const OptionDescription& optionNamed(const CommandDescription& command, const std::string& name) {
    const auto found = std::ranges::find_if(command.options, [&name](const auto& option) {
        return std::ranges::find(option.names, name) != option.names.end();
    });
    if (found == command.options.end()) {
        throw std::out_of_range("there is no option " + name);
    }
    return *found;
}

/// A program whose texts hold what shells and the manual's macros take for their own.
CommandDescription oddProgram() {
    CommandDescription program{.name = "odd-tool",
                               .text = "Does it's \"$HOME\" `id` \\n [a:b] too."};
    program.footer = "Exit status:\n  0  it's done\n  12 'odd'\nSee also: nothing";
    program.options = {{{"-h", "--help"}, {}, "Print help"}};
    CommandDescription run{.name = "run", .text = "Runs. Then ends"};
    run.options = {{{"-n", "--number"}, {Kind::text, "N"}, "A $(number): it's 'N' [1]"}};
    run.arguments = {{{Kind::words, "WORD", {"one", "two"}}, ".first\nsecond", true, false},
                     {{Kind::file, "FILE"}, "Others", false, true}};
    program.commands = {run, {.name = "stop", .text = "It's `over`"}};
    return program;
}

/// What bash would offer for the last of `words`: a line each, or "(files)".
std::string offeredByBash(const CommandDescription& program, const std::string& words) {
    const TemporaryFolder folder;
    const std::string script = folder.write("completion", bashCompletion(program));
    ChildProgram bash{{"/usr/bin/env", "bash", "--norc", "--noprofile", "-u", "-c", R"sh(
        compopt() { echo "(files)"; }
        source "$1" || exit 3
        name=$(complete -p | sed -E 's/.* -F ([^ ]+) .*/\1/')
        shift
        eval "COMP_WORDS=($1)"
        COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
        "$name" || exit 4
        ((${#COMPREPLY[@]} == 0)) || printf '%s\n' "${COMPREPLY[@]}"
    )sh",
                       "bash", script, words}};
    const Result result = bash.run();
    return result.status == 0 && result.errors.empty() ? result.output : result.errors;
}

bool isInstalled(const std::string& program) {
    return ChildProgram{{"/bin/sh", "-c", "command -v \"$1\"", "sh", program}}.run().status == 0;
}

} // namespace

// ---- the description

TEST(CommandDocuments, ReadTheOptionTable) {
    const CommandDescription program = velPosture();
    EXPECT_EQ(program.name, "vel-posture");
    EXPECT_EQ(program.options.at(0).names, (std::vector<std::string>{"-h", "--help"}));
    EXPECT_EQ(program.options.at(1).names, std::vector<std::string>{"--version"});

    const CommandDescription& check = named(program, "check");
    const ValueDescription file{Kind::file, "FILE"};
    EXPECT_EQ(optionNamed(check, "--help").value, ValueDescription{});
    EXPECT_EQ(optionNamed(check, "--machine").value, file);
    EXPECT_EQ(optionNamed(check, "--log").value, file);
    for (const char* command : {"check", "identity", "catalogue"}) {
        EXPECT_EQ(optionNamed(named(program, command), "--format").value,
                  (ValueDescription{Kind::words, "json|text", {"json", "text"}}));
    }
    ASSERT_EQ(check.arguments.size(), 1U);
    EXPECT_EQ(check.arguments[0].value, (ValueDescription{Kind::file, "REQUEST"}));
    EXPECT_FALSE(check.arguments[0].isRequired || check.arguments[0].repeats);
    const auto& names = named(program, "identity").arguments;
    ASSERT_EQ(names.size(), 1U);
    EXPECT_EQ(names[0].value,
              (ValueDescription{Kind::words, "NAME", {"device_serial_number", "device_id"}}));
    EXPECT_TRUE(!names[0].isRequired && names[0].repeats);
    EXPECT_TRUE(named(program, "catalogue").arguments.empty());
}

TEST(CommandDocuments, TellWhatTheTableSays) {
    CLI::App table("Does it.", "tool");
    table.footer("Exit status: none");
    std::string value;
    std::vector<std::string> values;
    table.add_option("-n,--number", value, "How\nmany")->option_text("N");
    table.add_option("IN", value, "First")->required()->type_name("FILE");
    table.add_option("MORE", values, "Others");
    table.add_subcommand("stop", "Ends");
    const CommandDescription tool = describeCommand(table);
    EXPECT_EQ(tool.text, "Does it.");
    EXPECT_EQ(tool.footer, "Exit status: none");
    ASSERT_EQ(tool.options.size(), 2U);
    EXPECT_TRUE(
        (tool.options[1] == OptionDescription{{"-n", "--number"}, {Kind::text, "N"}, "How\nmany"}));
    ASSERT_EQ(tool.arguments.size(), 2U);
    EXPECT_TRUE(
        (tool.arguments[0] == ArgumentDescription{{Kind::file, "IN"}, "First", true, false}));
    EXPECT_TRUE(
        (tool.arguments[1] == ArgumentDescription{{Kind::text, "MORE"}, "Others", false, true}));
    ASSERT_EQ(tool.commands.size(), 1U);
    EXPECT_EQ(tool.commands[0].name, "stop");
    EXPECT_EQ(tool.commands[0].text, "Ends");
}

TEST(CommandDocuments, LeaveOutWhatTheHelpHides) {
    CLI::App table("Text", "tool");
    table.add_flag("--hidden")->group("");
    table.add_subcommand("secret", "Text")->group("");
    const CommandDescription program = describeCommand(table);
    EXPECT_EQ(program.options.size(), 1U);
    EXPECT_TRUE(program.commands.empty());
}

TEST(CommandDocuments, RefuseWordsThatAShellWouldChange) {
    for (const char* words : {"a|b c", "a|$b", "a|", "a|'b'"}) {
        CLI::App table("Text", "tool");
        std::string value;
        table.add_option("--odd", value, "Text")->option_text(words);
        EXPECT_THROW(describeCommand(table), std::invalid_argument) << words;
    }
}

TEST(CommandDocuments, FillFrames) {
    EXPECT_EQ(filled("@A@ b@c @A@@B@", {{"A", "x"}, {"B", "@A@"}}), "x b@c x@A@");
    EXPECT_EQ(filled("a@", {}), "a@");
    EXPECT_EQ(filled("\"${all[@]}\" @A@ \"$@\"", {{"A", "x"}}), "\"${all[@]}\" x \"$@\"");
    EXPECT_THROW(filled("@A", {{"A", "x"}}), std::invalid_argument);
}

// ---- bash

TEST(CommandDocuments, BashOffersCommandsAndOptions) {
    const CommandDescription program = velPosture();
    EXPECT_EQ(offeredByBash(program, "vel-posture che"), "check\n");
    EXPECT_EQ(offeredByBash(program, "vel-posture i"), "identity\n");
    EXPECT_EQ(offeredByBash(program, "vel-posture --v"), "--version\n");
    EXPECT_EQ(offeredByBash(program, "vel-posture --version che"), "check\n");
    EXPECT_EQ(offeredByBash(program, "vel-posture unknown --"), "");
    EXPECT_EQ(offeredByBash(program, "vel-posture check -"),
              "-h\n--help\n--machine\n--format\n--log\n");
    EXPECT_EQ(offeredByBash(program, "vel-posture catalogue --f"), "--format\n");
    EXPECT_EQ(offeredByBash(program, "vel-posture catalogue ''"), "");

    std::string commands;
    for (const CommandDescription& command : program.commands) {
        commands += command.name + "\n";
    }
    EXPECT_EQ(offeredByBash(program, "vel-posture ''"), commands);
}

TEST(CommandDocuments, BashOffersValues) {
    const CommandDescription program = velPosture();
    EXPECT_EQ(offeredByBash(program, "vel-posture check --format ''"), "json\ntext\n");
    EXPECT_EQ(offeredByBash(program, "vel-posture check --format t"), "text\n");
    EXPECT_EQ(offeredByBash(program, "vel-posture check --format x"), "");
    EXPECT_EQ(offeredByBash(program, "vel-posture check --machine a"), "(files)\n");
    EXPECT_EQ(offeredByBash(program, "vel-posture check --log -"), "(files)\n");
    EXPECT_EQ(offeredByBash(program, "vel-posture check ''"), "(files)\n");
    EXPECT_EQ(offeredByBash(program, "vel-posture check --format text ''"), "(files)\n");
    EXPECT_EQ(offeredByBash(program, "vel-posture check request.json ''"), "");
    EXPECT_EQ(offeredByBash(program, "vel-posture check request.json --f"), "--format\n");
    EXPECT_EQ(offeredByBash(program, "vel-posture check -- --f"), "(files)\n");
    EXPECT_EQ(offeredByBash(program, "vel-posture identity device_s"), "device_serial_number\n");
    EXPECT_EQ(offeredByBash(program, "vel-posture identity device_id ''"),
              "device_serial_number\ndevice_id\n");
}

TEST(CommandDocuments, BashOffersValuesAfterAnEqualsSign) {
    const CommandDescription program = velPosture();
    EXPECT_EQ(offeredByBash(program, "vel-posture check --format ="), "json\ntext\n");
    EXPECT_EQ(offeredByBash(program, "vel-posture check --format = t"), "text\n");
    EXPECT_EQ(offeredByBash(program, "vel-posture check --machine = a"), "(files)\n");
    EXPECT_EQ(offeredByBash(program, "vel-posture check --format = text --l"), "--log\n");
    // Where bash does not part words at equals signs.
    EXPECT_EQ(offeredByBash(program, "vel-posture check --format=t"), "--format=text\n");
}

TEST(CommandDocuments, BashKnowsArgumentsByTheirPlace) {
    const CommandDescription program = oddProgram();
    EXPECT_EQ(offeredByBash(program, "odd-tool run ''"), "one\ntwo\n");
    EXPECT_EQ(offeredByBash(program, "odd-tool run one ''"), "(files)\n");
    EXPECT_EQ(offeredByBash(program, "odd-tool run one a b c"), "(files)\n");
    EXPECT_EQ(offeredByBash(program, "odd-tool run -n ''"), "");
    EXPECT_EQ(offeredByBash(program, "odd-tool run -n 5 t"), "two\n");
    EXPECT_EQ(offeredByBash(program, "odd-tool s"), "stop\n");
}

TEST(CommandDocuments, BashCompletesAtATerminal) {
    const TemporaryFolder folder;
    const std::string script = folder.write("completion", bashCompletion(velPosture()));
    folder.write("a request.json", "{}");
    ChildProgram bash{{"/usr/bin/env", "bash", "--norc", "--noprofile", "-i"}};
    bash.environment = {{"HOME", folder.path()}, {"HISTFILE", ""}};
    bash.inputStream = ChildStream::terminal;
    bash.errorStream = ChildStream::terminal;
    bash.input = "cd " + folder.path() + "; source " + script +
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

// ---- zsh and fish

TEST(CommandDocuments, ZshReadsItsCompletions) {
    if (!isInstalled("zsh")) {
        GTEST_SKIP() << "zsh is not installed";
    }
    const TemporaryFolder folder;
    for (const CommandDescription& program : {velPosture(), oddProgram()}) {
        const std::string script = folder.write("_completion", zshCompletion(program));
        EXPECT_EQ((ChildProgram{{"/usr/bin/env", "zsh", "-f", "-n", script}}.run()),
                  (Result{0, "", ""}));
    }
}

TEST(CommandDocuments, ZshQuotesWhatItWouldTakeForItsOwn) {
    const std::string script = zshCompletion(oddProgram());
    for (const char* line :
         {R"(        'stop:It'\''s `over`')",
          R"('(-n --number)-n+[A $(number)\: it'\''s '\''N'\'' \[1\]]:N: ' \)",
          R"('(-n --number)--number=[A $(number)\: it'\''s '\''N'\'' \[1\]]:N: ')",
          R"('1:WORD:(one two)' \)", R"('*:FILE:_files' \)"}) {
        EXPECT_NE(script.find(line), std::string::npos) << line << "\n" << script;
    }
}

TEST(CommandDocuments, FishOffersTheSame) {
    if (!isInstalled("fish")) {
        GTEST_SKIP() << "fish is not installed";
    }
    const TemporaryFolder folder;
    const auto offered = [&folder](const CommandDescription& program, const std::string& line) {
        const std::string script = folder.write("completion.fish", fishCompletion(program));
        ChildProgram fish{{"/usr/bin/env", "fish", "--no-config", "-c",
                           "source " + script + "; complete -C '" + line + "'"}};
        fish.environment = {{"HOME", folder.path()}, {"LC_ALL", "C.UTF-8"}};
        const Result result = fish.run();
        return result.output + result.errors;
    };
    const CommandDescription program = velPosture();
    const CommandDescription& check = named(program, "check");
    const std::string format = inOneLine(optionNamed(check, "--format").text);
    EXPECT_EQ(offered(velPosture(), "vel-posture che"), "check\t" + check.text + "\n");
    EXPECT_EQ(offered(velPosture(), "vel-posture check --format "),
              "json\t" + format + "\ntext\t" + format + "\n");
    EXPECT_EQ(offered(velPosture(), "vel-posture identity device_i"), "device_id\n");
    EXPECT_EQ(offered(velPosture(), "vel-posture check " + folder.path() + "/comp"),
              folder.path() + "/completion.fish\n");
    EXPECT_EQ(offered(velPosture(), "vel-posture catalogue " + folder.path() + "/comp"), "");
    EXPECT_EQ(offered(oddProgram(), "odd-tool st"), "stop\tIt's `over`\n");
    EXPECT_EQ(offered(oddProgram(), "odd-tool run --numb"),
              "--number\tA $(number): it's 'N' [1]\n");
}

// ---- the manual page

TEST(CommandDocuments, ManualPageTellsTheTable) {
    const std::string frame = "@NAME@|@SUMMARY@|@DATE@\n-- synopsis\n@SYNOPSIS@-- options\n"
                              "@OPTIONS@-- commands\n@COMMANDS@-- status\n@EXIT_STATUS@";
    EXPECT_EQ(manualPage(oddProgram(), frame, 1709164800),
              "odd-tool|does it's \\(dq$HOME\\(dq `id` \\en [a:b] too|February 29, 2024\n"
              "-- synopsis\n"
              ".Nm\n.Cm run\n.Op Fl n , Fl -number Ar N\n.Ar WORD\n.Op Ar FILE ...\n"
              ".Nm\n.Cm stop\n"
              ".Nm\n.Fl h , Fl -help\n"
              "-- options\n"
              ".Bl -tag -width Ds\n.It Fl h , Fl -help\nPrint help.\n.El\n"
              "-- commands\n"
              ".Ss run\nRuns.\nThen ends.\n"
              ".Bl -tag -width Ds\n"
              ".It Ar WORD\n\\&.first\nsecond.\n"
              ".It Ar FILE ...\nOthers.\n"
              ".It Fl n , Fl -number Ar N\nA $(number): it's 'N' [1].\n"
              ".El\n"
              ".Ss stop\nIt's `over`.\n"
              "-- status\n"
              ".It 0\nit's done\n"
              ".It 12\n\\&'odd'\n");
}

TEST(CommandDocuments, ManualPageNeedsAllItsPlaces) {
    EXPECT_THROW(manualPage(oddProgram(), "@NAME@", 0), std::invalid_argument);
}

TEST(CommandDocuments, ManualPageIsClean) {
    if (!isInstalled("mandoc")) {
        GTEST_SKIP() << "mandoc is not installed";
    }
    const TemporaryFolder folder;
    std::ifstream file(VEL_SOURCE_DIRECTORY "/Tools/documents/vel-posture.1.in");
    const std::string frame{std::istreambuf_iterator<char>(file), {}};
    for (const CommandDescription& program : {velPosture(), oddProgram()}) {
        const std::string page =
            folder.write(program.name + ".1", manualPage(program, frame, 1709164800));
        EXPECT_EQ((ChildProgram{{"/usr/bin/env", "mandoc", "-Tlint", page}}.run()),
                  (Result{0, "", ""}));
    }
}
