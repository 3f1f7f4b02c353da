// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/what-if/WhatIf.h"

#include "Tests/Support/ChildProgram.h"
#include "Tests/Support/FileContent.h"
#include "Tests/Support/KeptDocuments.h"
#include "Tests/Support/Sanitized.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Tools/vel-posture/ProgramFailure.h"
#include "Tools/vel-posture/what-if/LineReader.h"
#include "Tools/vel-posture/what-if/WhatIfSummary.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <iterator>

namespace {

namespace fs = std::filesystem;

constexpr const char* versions = R"({"mac": [{"type": "minimumOSVersion", "version": "14"}]})";
constexpr const char* firewall = R"({"mac": [{"type": "localFirewall"}]})";
constexpr const char* oldVersions = R"({"mac": [{"type": "minimumOSVersion", "version": "12"}]})";

std::string linesOf(const WhatIf& whatIf, std::string_view line, std::size_t number = 1) {
    std::string text = whatIf.text(whatIf.answer(line), number);
    keepDocument("what-if-line", text);
    return text;
}

TEST(WhatIf, AnswersALineWithTheVerdictAndEachCheck) {
    const WhatIf whatIf(Trial("a", versions));
    EXPECT_EQ(VELValue::parse(linesOf(whatIf, R"({"name": "new", "productVersion": "14.5"})")),
              VELValue::parse(R"({"name": "new", "pass": true,
                                  "checks": [{"type": "minimumOSVersion", "outcome": "pass",
                                              "evidence": "version-reached"}]})"));
    EXPECT_EQ(VELValue::parse(linesOf(whatIf, R"({"productVersion": "13"})")),
              VELValue::parse(R"({"name": null, "pass": false,
                                  "checks": [{"type": "minimumOSVersion", "outcome": "fail",
                                              "evidence": "version-too-old"}]})"));
    EXPECT_EQ(VELValue::parse(linesOf(WhatIf(Trial("a", firewall)), "{}")),
              VELValue::parse(R"({"name": null, "pass": false,
                                  "checks": [{"type": "localFirewall", "outcome": "error",
                                              "evidence": "firewall-tool-not-launched",
                                              "error": "Error getting firewall state."}]})"));
}

TEST(WhatIf, SaysWhichLineIsNoDescriptionAndCountsItNeverAsPassed) {
    const WhatIf whatIf(Trial("a", R"({"mac": []})"));
    EXPECT_EQ(linesOf(whatIf, R"({"mounts": 1})", 7),
              R"({"error":"mounts is not a list","line":7})");
    EXPECT_EQ(linesOf(whatIf, R"({"name": 1})", 8), R"({"error":"name is not a string","line":8})");
    for (const char* line : {"", " ", "null", "[]", "{", R"({"mac": []})", "{} {}"}) {
        const MachineAnswer answer = whatIf.answer(line);
        EXPECT_NE(answer.failure.value_or(""), "") << line;
        EXPECT_FALSE(answer.passes()) << line;
    }
    EXPECT_TRUE(whatIf.answer("{}").passes());
}

TEST(WhatIf, WritesJSONAsTheLibraryDoes) {
    const std::string request =
        R"({"mac": [{"type": "\"\\\u0001\u007fü\u2028"}, {"type": "localFirewall"}, {}]})";
    const WhatIf whatIf(Trial("new", request));
    const WhatIf changed(Trial("new", request), Trial("old", versions));
    for (const char* line :
         {R"({"name": "\"\\\t\u007fü😀"})", R"({"name": "", "productVersion": "14.5"})", "{}",
          R"({"\"ü\u0000": 1})", "{\"name\": \"\xFF\"}", "x"}) {
        for (const WhatIf* tried : {&whatIf, &changed}) {
            const std::string text = linesOf(*tried, line);
            EXPECT_EQ(text, VELValue::parse(text).dump()) << line;
        }
    }
    EXPECT_EQ(VELValue::parse(linesOf(whatIf, R"({"name": "\"ü"})")).at("name"), "\"ü");
}

TEST(WhatIf, SaysWhatChangesAgainstAnOldRequest) {
    const WhatIf stricter(Trial("new", versions), Trial("old", oldVersions));
    const auto change = [](const WhatIf& whatIf, const char* version) {
        return VELValue::parse(linesOf(whatIf, VELValue{{"productVersion", version}}.dump()));
    };
    EXPECT_EQ(change(stricter, "13").at("change"), "fails now");
    EXPECT_EQ(change(stricter, "13").at("old"), VELValue::parse(R"({"pass": true,
                                  "checks": [{"type": "minimumOSVersion", "outcome": "pass",
                                              "evidence": "version-reached"}]})"));
    EXPECT_EQ(change(stricter, "14").at("change"), nullptr);
    EXPECT_EQ(change(stricter, "11").at("change"), nullptr);
    const WhatIf looser(Trial("new", oldVersions), Trial("old", versions));
    EXPECT_EQ(change(looser, "13").at("change"), "passes now");
}

TEST(WhatIf, AsksTheOldRequestOfAMacThatWasNotAskedYet) {
    // The run with the firewall on is used up by who asks first.
    const WhatIf whatIf(Trial("new", firewall), Trial("old", firewall));
    const MachineAnswer answer = whatIf.answer(R"({"tools": [
        {"command": ["/usr/libexec/ApplicationFirewall/socketfilterfw", "--getglobalstate"],
         "output": "Firewall is enabled. (State = 1)\n"},
        {"command": ["/usr/libexec/ApplicationFirewall/socketfilterfw", "--getglobalstate"],
         "output": "Firewall is disabled. (State = 0)\n"}]})");
    EXPECT_TRUE(answer.tried.passes);
    EXPECT_TRUE(answer.old->passes);
}

TEST(WhatIf, RefusesWhatIsNoRequestForChecks) {
    const auto failureOf = [](const char* document) -> std::string {
        try {
            const Trial trial("r.json", document);
        } catch (const ProgramFailure& failure) {
            return failure.what();
        }
        return "";
    };
    EXPECT_EQ(failureOf(R"({"mac": [7]})"), "request \"r.json\": mac[0] is not an object");
    EXPECT_EQ(failureOf("[]"), "request \"r.json\": the request is not an object");
    EXPECT_EQ(failureOf(R"({"identity_params": []})"),
              "request \"r.json\": it asks for identity values, not checks");
    EXPECT_TRUE(failureOf("{").starts_with("request \"r.json\": parse error")) << failureOf("{");
}

TEST(WhatIf, TakesAnErrorOfTheEntryItselfForNone) {
    const WhatIf whatIf(
        Trial("a", R"({"mac": [{"type": "minimumOSVersion", "version": "14", "error": "own"}]})"));
    const MachineAnswer answer = whatIf.answer(R"({"productVersion": "13"})");
    EXPECT_EQ(answer.tried.checks[0].outcome, CheckOutcome::Kind::fail);
    EXPECT_EQ(answer.tried.checks[0].error, "");
}

std::vector<std::string> splitIn(std::size_t pieceSize, std::string_view text) {
    LineReader reader(5);
    std::vector<std::string> lines;
    const auto take = [&](const std::string_view* line) {
        lines.emplace_back(line != nullptr ? *line : "(too long)");
    };
    for (std::size_t at = 0; at < text.size(); at += pieceSize) {
        reader.add(text.substr(at, pieceSize), take);
    }
    reader.finish(take);
    return lines;
}

TEST(LineReader, GivesEveryLineHoweverItArrives) {
    const std::vector<std::string> expected = {"a",     "", "12345",     "(too long)",
                                               "after", "", "(too long)"};
    for (std::size_t pieceSize = 1; pieceSize < 40; ++pieceSize) {
        EXPECT_EQ(splitIn(pieceSize, "a\n\n12345\n123456\nafter\n\n1234567890"), expected);
    }
    EXPECT_EQ(splitIn(3, "a\n"), std::vector<std::string>{"a"});
    EXPECT_EQ(splitIn(3, ""), std::vector<std::string>{});
}

/// Three Macs of which the middle one passes, and a bad line.
WhatIfSummary threeMacs() {
    const WhatIf whatIf(Trial("new", versions), Trial("old", oldVersions));
    WhatIfSummary summary(whatIf);
    summary.add(whatIf.answer(R"({"name": "<old> & \u001b", "productVersion": "13"})"), 1);
    summary.add(whatIf.answer(R"({"productVersion": "14"})"), 2);
    summary.add(whatIf.answer(R"({"productVersion": "12"})"), 3);
    summary.add(whatIf.answer("?"), 4);
    return summary;
}

TEST(WhatIfSummary, CountsInText) {
    EXPECT_EQ(summaryText(threeMacs(), {}), "1 of 3 machines passed\n"
                                            "  minimumOSVersion  1 pass  2 fail  0 error\n"
                                            "    version-too-old: 2\n"
                                            "Old request: 3 of 3 machines passed\n"
                                            "  minimumOSVersion  3 pass  0 fail  0 error\n"
                                            "Fails now (2): <old> & \\u001b, line 3\n"
                                            "1 line is no machine description\n");
}

TEST(WhatIfSummary, CountsInJSON) {
    keepDocument("what-if-summary", summaryJSON(threeMacs()));
    EXPECT_EQ(VELValue::parse(summaryJSON(threeMacs())), VELValue::parse(R"({
        "machines": 3, "badLines": 1, "passed": 1,
        "checks": [{"type": "minimumOSVersion", "pass": 1, "fail": 2, "error": 0,
                    "evidence": {"version-too-old": 2}}],
        "old": {"passed": 3,
                "checks": [{"type": "minimumOSVersion", "pass": 3, "fail": 0, "error": 0,
                            "evidence": {}}]},
        "failsNow": {"count": 2, "names": ["<old> & \\u001b", "line 3"]},
        "passesNow": {"count": 0, "names": []}})"));
}

TEST(WhatIfSummary, IsAPageThatLoadsNothing) {
    const std::string page = summaryHTML(threeMacs());
    EXPECT_NE(page.find("<li>&lt;old&gt; &amp; \\u001b</li>"), std::string::npos) << page;
    EXPECT_NE(page.find("<p>3 machines; 1 line is no machine description and not counted</p>"),
              std::string::npos);
    EXPECT_NE(page.find("<span class=\"fail\" style=\"width:66.667%\"></span>"), std::string::npos);
    EXPECT_NE(
        page.find("<div class=\"counts\">1 pass, 2 fail, 0 error<br>version-too-old: 2</div>"),
        std::string::npos);
    for (const char* word : {"<script", "http:", "https:", "url(", "src=", "@import"}) {
        EXPECT_EQ(page.find(word), std::string::npos) << word;
    }
    EXPECT_EQ(page.find("nan"), std::string::npos);
}

TEST(WhatIfSummary, NamesNoMoreMachinesThanItHasRoomFor) {
    const WhatIf whatIf(Trial("new", versions), Trial("old", oldVersions));
    WhatIfSummary summary(whatIf);
    const MachineAnswer answer = whatIf.answer(R"({"productVersion": "13"})");
    for (std::size_t number = 1; number <= WhatIfSummary::mostNames + 2; ++number) {
        summary.add(answer, number);
    }
    EXPECT_EQ(summary.failsNow().count, WhatIfSummary::mostNames + 2);
    EXPECT_EQ(summary.failsNow().names.size(), WhatIfSummary::mostNames);
    EXPECT_TRUE(summaryText(summary, {}).ends_with("line 1000, and 2 more\n"));
    EXPECT_NE(summaryHTML(summary).find("<p>and 2 more</p>"), std::string::npos);
}

ChildProgram::Result runWhatIf(std::vector<std::string> arguments, std::string input) {
    arguments.insert(arguments.begin(), {VEL_POSTURE_PROGRAM, "what-if"});
    return ChildProgram{.arguments = std::move(arguments), .input = std::move(input)}.run();
}

TEST(WhatIfCommand, AnswersLineByLineAndGoesOnBehindABadOne) {
    const TemporaryFolder folder;
    const std::string request = folder.write("request.json", versions);
    const std::string good = R"({"productVersion": "14"})";
    const auto run = runWhatIf({request, "--machines", "-"}, good + "\n?\n" + good);
    EXPECT_EQ(run.status, 2);
    EXPECT_TRUE(run.errors.starts_with("vel-posture: line 2: parse error at line 1, column 1"))
        << run.errors;
    EXPECT_EQ(std::ranges::count(run.errors, '\n'), 1);
    EXPECT_EQ(std::ranges::count(run.output, '\n'), 3);
    EXPECT_NE(run.output.find("\"line\":2}\n"), std::string::npos);

    EXPECT_EQ(runWhatIf({request, "--machines", "-"}, good + "\n").status, 0);
    EXPECT_EQ(runWhatIf({request, "--machines", folder.write("macs", good + "\n{}\n")}, "").status,
              1);
    EXPECT_EQ(runWhatIf({request, "--machines", "-"}, ""),
              (ChildProgram::Result{0, "", "vel-posture: no machines: the input is empty\n"}));
}

TEST(WhatIfCommand, WritesASummaryInstead) {
    const TemporaryFolder folder;
    const std::string request = folder.write("request.json", versions);
    const auto summary = [&](const char* format) {
        return runWhatIf({request, "--machines", "-", "--summary", format}, "{}\n");
    };
    EXPECT_EQ(summary("text"), (ChildProgram::Result{1,
                                                     "0 of 1 machine passed\n"
                                                     "  minimumOSVersion  0 pass  1 fail  0 error\n"
                                                     "    version-unknown: 1\n",
                                                     ""}));
    EXPECT_EQ(VELValue::parse(summary("json").output).at("machines"), 1);
    EXPECT_TRUE(summary("html").output.starts_with("<!DOCTYPE html>"));
}

TEST(WhatIfCommand, RefusesWrongUse) {
    const TemporaryFolder folder;
    const std::string request = folder.write("request.json", versions);
    EXPECT_EQ(runWhatIf({"-", "--machines", "-"}, ""),
              (ChildProgram::Result{2, "", "vel-posture: standard input can be read only once\n"}));
    EXPECT_EQ(runWhatIf({request, "--machines", "/nowhere"}, ""),
              (ChildProgram::Result{
                  2, "", "vel-posture: cannot read \"/nowhere\": No such file or directory\n"}));
    EXPECT_EQ(runWhatIf({request}, "").status, 2);
}

TEST(WhatIfCommand, TellsOnATerminalHowFarItIs) {
    const TemporaryFolder folder;
    ChildProgram program{.arguments = {VEL_POSTURE_PROGRAM, "what-if",
                                       folder.write("request.json", versions), "--machines", "-"}};
    for (std::size_t line = 0; line < largeInput / 500; ++line) {
        program.input += "{}\n";
    }
    program.errorStream = ChildStream::terminal;
    const auto run = program.run();
    EXPECT_EQ(run.status, 1);
    // How often depends on the machine; what is left is an empty line.
    if (!run.errors.empty()) {
        EXPECT_TRUE(run.errors.starts_with("\r0 of ")) << run.errors;
        EXPECT_TRUE(run.errors.ends_with("\r\x1b[K")) << run.errors;
    }
}

TEST(WhatIfCommand, AnswersAsCheckDoes) {
    const fs::path examples = VEL_SOURCE_DIRECTORY "/Examples";
    const std::string request = examples / "Requests/all-checks.json";
    const WhatIf whatIf(Trial(request, contentOf(request)));
    for (const auto& entry : fs::directory_iterator(examples / "Machines")) {
        const MachineAnswer answer = whatIf.answer(contentOf(entry.path()));
        const VELValue result =
            VELValue::parse(contentOf(examples / "Results" / entry.path().filename()));
        ASSERT_EQ(answer.failure, std::nullopt) << entry.path();
        EXPECT_EQ(answer.passes(), result.at("pass").get<bool>()) << entry.path();
        const VELValue& checks = result.at("checks");
        ASSERT_EQ(answer.tried.checks.size(), checks.size());
        for (std::size_t index = 0; index < checks.size(); ++index) {
            const TriedCheck& tried = answer.tried.checks[index];
            EXPECT_EQ(tried.error, checks[index].value("error", "")) << entry.path();
            EXPECT_EQ(tried.outcome == CheckOutcome::Kind::pass, checks[index].value("pass", false))
                << entry.path();
        }
    }
}

} // namespace
