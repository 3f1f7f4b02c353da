// SPDX-License-Identifier: Apache-2.0
#include "Classes/Mac/VELDomainCheck.h"
#include "Tests/Support/ToolCheckTest.h"

#include <functional>
#include <stdexcept>
#include <string_view>

namespace {

constexpr const char* tool = "/usr/sbin/dsconfigad";
constexpr const char* runFunction = "-[VELDomainCheck runCheckWithParameters:error:]";
constexpr const char* matchFunction = "-[VELDomainCheck doesWildcard:matchDomain:error:]";

std::string propertyList(const std::string& body) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
           "<plist version=\"1.0\">" +
           body + "</plist>\n";
}

std::string bound(const std::string& domain) {
    return propertyList("<dict><key>General Info</key><dict>"
                        "<key>Active Directory Domain</key><string>" +
                        domain +
                        "</string><key>Computer Account</key><string>mac01$</string>"
                        "</dict></dict>");
}

LogLine outputLine(const std::string& output) {
    return {1, "Output of dsconfigad: " + output, "-[VELDomainCheck computerDomainError:]"};
}

LogLine domainLine(const std::string& domain) {
    return {1, "Computer domain: " + domain, runFunction};
}

LogLine namesLine(const std::string& names) {
    return {1, "Domain wildcard names: " + names, runFunction};
}

LogLine expressionLine(const std::string& expression) {
    return {1, "The regexString is: " + expression, matchFunction};
}

class VELDomainCheckTest : public ToolCheckTest {
protected:
    void print(std::string output) { answer(command, std::move(output)); }
    bool run(const VELValue& names) {
        return VELDomainCheck(mac).runCheckWithParameters(
            {{"type", "joinedToDomain"}, {"names", names}}, &error);
    }
    /// What the check answers for one pattern when the machine is bound to `domain`.
    bool fits(const std::string& pattern, const std::string& domain = "corp.sample.test") {
        mac->tools.clear();
        print(bound(domain));
        return run({pattern});
    }

    const Command command = {tool, "-show", "-xml"};
    const std::string boundOutput = bound("corp.sample.test");
};

TEST_F(VELDomainCheckTest, RequiresNames) {
    EXPECT_EQ(VELDomainCheck(mac).requiredParameters(), std::vector<std::string>{"names"});
}

TEST_F(VELDomainCheckTest, PassesAndLogsEachStep) {
    print(boundOutput);
    EXPECT_TRUE(run({"other.test", "*.sample.test", "never.reached"}));
    EXPECT_FALSE(error);
    EXPECT_EQ(launched(), Commands{command});
    EXPECT_EQ(logger->take(),
              (Lines{outputLine(boundOutput), domainLine("corp.sample.test"),
                     namesLine(R"(["other.test","*.sample.test","never.reached"])"),
                     expressionLine(R"(other\.test)"), expressionLine(R"(.*\.sample\.test)")}));
}

TEST_F(VELDomainCheckTest, MatchesAnywhereWhateverTheLetterCase) {
    EXPECT_TRUE(fits("*.sample.test"));
    EXPECT_TRUE(fits("*.SAMPLE.test"));
    EXPECT_TRUE(fits("CORP.sample.TEST"));
    EXPECT_TRUE(fits("sample"));
    EXPECT_TRUE(fits("corp.sample.tes"));
    EXPECT_TRUE(fits("corp", "eu.corp.sample.test"));
    EXPECT_TRUE(fits("sample.test", "sample.test.other.test"));
    EXPECT_TRUE(fits("*"));
    EXPECT_TRUE(fits("corp_1-a", "corp_1-a.test"));
    EXPECT_FALSE(fits("corpXsample.test"));
    EXPECT_FALSE(fits("corp_sample.test"));
    EXPECT_FALSE(error);
}

TEST_F(VELDomainCheckTest, SkipsAPatternWithAnotherCharacterSilently) {
    for (const char* pattern : {"corp?sample.test", "corp sample", "[c]orp", "corp,sample",
                                "(corp)", "corp\\.sample", "corp\n", "c+", "^corp", "corp$"}) {
        mac->tools.clear();
        print(boundOutput);
        EXPECT_FALSE(run({pattern})) << pattern;
        EXPECT_FALSE(error) << pattern;
        EXPECT_EQ(logger->take().size(), 3U) << pattern;
    }
    print(boundOutput);
    EXPECT_TRUE(run({"corp?", "corp"}));
    EXPECT_EQ(logger->take().back(), expressionLine("corp"));
}

TEST_F(VELDomainCheckTest, MatchesNothingWithTheEmptyPatternButLogsIt) {
    print(boundOutput);
    EXPECT_FALSE(run({""}));
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take(), (Lines{outputLine(boundOutput), domainLine("corp.sample.test"),
                                     namesLine(R"([""])"), expressionLine("")}));
}

TEST_F(VELDomainCheckTest, FailsForNoPatternAtAll) {
    print(boundOutput);
    EXPECT_FALSE(run(VELValue::array()));
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take(),
              (Lines{outputLine(boundOutput), domainLine("corp.sample.test"), namesLine("[]")}));
}

TEST_F(VELDomainCheckTest, FailsWhenNotBound) {
    print("");
    EXPECT_FALSE(run({"*"}));
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take(), (Lines{outputLine(""), domainLine("(null)")}));
}

TEST_F(VELDomainCheckTest, FailsWhenThePropertyListHasNoDomain) {
    for (const char* body : {"<dict/>", "<array/>", "<string>corp</string>",
                             "<dict><key>General Info</key><dict/></dict>",
                             "<dict><key>General Info</key><string>corp</string></dict>",
                             "<dict><key>Active Directory Domain</key><string>corp</string></dict>",
                             "<dict><key>General Info</key><dict><key>Active Directory Domain</key>"
                             "<integer>1</integer></dict></dict>"}) {
        mac->tools.clear();
        const std::string printed = propertyList(body);
        print(printed);
        EXPECT_FALSE(run({"*"})) << body;
        EXPECT_FALSE(error) << body;
        EXPECT_EQ(logger->take(), (Lines{outputLine(printed), domainLine("(null)")})) << body;
    }
}

TEST_F(VELDomainCheckTest, TakesAnEmptyDomainForADomain) {
    const std::string printed = bound("");
    print(printed);
    EXPECT_TRUE(run({"*"}));
    EXPECT_EQ(logger->take(), (Lines{outputLine(printed), domainLine(""), namesLine(R"(["*"])"),
                                     expressionLine(".*")}));
}

TEST_F(VELDomainCheckTest, HandsOnTheErrorOfOutputThatIsNoPropertyList) {
    for (const char* printed : {"not bound", "<plist><dict></plist>", "{", " "}) {
        mac->tools.clear();
        print(printed);
        error.reset();
        EXPECT_FALSE(run({"*"})) << printed;
        ASSERT_TRUE(error) << printed;
        EXPECT_EQ(error->domain(), "NSCocoaErrorDomain") << printed;
        EXPECT_EQ(error->code(), 3840) << printed;
        EXPECT_EQ(logger->take(), (Lines{outputLine(printed), domainLine("(null)")})) << printed;
    }
}

TEST_F(VELDomainCheckTest, FailsWithoutAnErrorWhenTheOutputIsNotText) {
    print(boundOutput + "\xFF");
    EXPECT_FALSE(run({"*"}));
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take(), (Lines{outputLine("(null)"), domainLine("(null)")}));
}

TEST_F(VELDomainCheckTest, LeavesTheErrorOfTheTool) {
    const std::string launch =
        "Error launching task /usr/sbin/dsconfigad: no such tool on this machine";
    EXPECT_FALSE(run({"*"}));
    expectError(error, 2, launch);
    EXPECT_EQ(logger->take(),
              (Lines{errorLine(2, launch), outputLine("(null)"), domainLine("(null)")}));

    const std::string exited = "Task /usr/sbin/dsconfigad exited with status code 1.";
    fail(command, 1);
    EXPECT_FALSE(run({"*"}));
    expectError(error, 3, exited);
    EXPECT_EQ(logger->take(),
              (Lines{errorLine(3, exited), outputLine("(null)"), domainLine("(null)")}));
}

TEST_F(VELDomainCheckTest, LeavesAnEarlierErrorUnlessItHasItsOwn) {
    for (const std::string& printed : {boundOutput, bound("other.test"), std::string()}) {
        mac->tools.clear();
        print(printed);
        error = VELError("earlier", 7, VELValue::object());
        EXPECT_EQ(run({"corp"}), printed == boundOutput);
        ASSERT_TRUE(error) << printed;
        EXPECT_EQ(error->domain(), "earlier") << printed;
    }
    mac->tools.clear();
    print("not bound");
    EXPECT_FALSE(run({"corp"}));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), "NSCocoaErrorDomain");
}

TEST_F(VELDomainCheckTest, NeedsNoErrorOutParameter) {
    const VELDomainCheck check(mac);
    const VELDictionary parameters = {{"names", {"corp"}}};
    EXPECT_FALSE(check.runCheckWithParameters(parameters, nullptr));
    EXPECT_EQ(logger->take(), (Lines{outputLine("(null)"), domainLine("(null)")}));
    print("not bound");
    EXPECT_FALSE(check.runCheckWithParameters(parameters, nullptr));
    EXPECT_EQ(logger->take(), (Lines{outputLine("not bound"), domainLine("(null)")}));
    mac->tools.clear();
    print(boundOutput);
    EXPECT_TRUE(check.runCheckWithParameters(parameters, nullptr));
}

TEST_F(VELDomainCheckTest, EndsTheToolAfterTenSeconds) {
    print(boundOutput);
    mac->tools.back().seconds = 11;
    EXPECT_FALSE(run({"*"}));
    expectError(error, 3, "Task /usr/sbin/dsconfigad exited with status code 15.");
    EXPECT_EQ(mac->ticks(), VELTimePoint(std::chrono::seconds(10)));
}

TEST_F(VELDomainCheckTest, RaisesWhenItComesToAPatternThatIsNoString) {
    print(boundOutput);
    expectRaised([&] { run({"other", 5, "corp"}); }, "names[1] is not a string");
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take(), (Lines{outputLine(boundOutput), domainLine("corp.sample.test"),
                                     namesLine(R"(["other",5,"corp"])"), expressionLine("other")}));
    expectRaised([&] { run({nullptr}); }, "names[0] is not a string");
    EXPECT_TRUE(run({"corp", 5}));
}

TEST_F(VELDomainCheckTest, RaisesForNamesThatAreNoArray) {
    print(boundOutput);
    for (const VELValue& names : {VELValue("corp"), VELValue(), VELValue::object(), VELValue(1)}) {
        expectRaised([&] { run(names); }, "names is not an array");
        const Lines lines = logger->take();
        ASSERT_EQ(lines.size(), 3U) << names;
        EXPECT_EQ(lines[2].function, runFunction);
    }
}

TEST_F(VELDomainCheckTest, LooksAtNoPatternWithoutADomain) {
    print("");
    EXPECT_FALSE(run("corp"));
    EXPECT_FALSE(run({5}));
    EXPECT_FALSE(error);
}

TEST_F(VELDomainCheckTest, FailsWithoutNamesWhenCalledDirectly) {
    print(boundOutput);
    EXPECT_FALSE(VELDomainCheck(mac).runCheckWithParameters(VELValue::object(), &error));
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take(), (Lines{outputLine(boundOutput), domainLine("corp.sample.test"),
                                     namesLine("(null)")}));
}

TEST_F(VELDomainCheckTest, LogsFromItsOwnFile) {
    print(boundOutput);
    EXPECT_TRUE(run({"corp"}));
    for (const LogLine& line : logger->take()) {
        EXPECT_EQ(line.file, "Classes/Mac/VELDomainCheck.cpp") << line;
    }
}

TEST_F(VELDomainCheckTest, ShowsItsAnswersInTheResult) {
    print(boundOutput);
    const VELValue entries = VELValue::parse(R"([
        {"type": "joinedToDomain", "names": ["corp.*"]},
        {"type": "joinedToDomain", "names": ["other"]},
        {"type": "joinedToDomain", "names": ["other", null]},
        {"type": "joinedToDomain", "names": ["corp", null]},
        {"type": "joinedToDomain"}])");
    EXPECT_EQ(resultOf(entries), VELValue::parse(R"({"pass": false, "checks": [
        {"type": "joinedToDomain", "names": ["corp.*"], "pass": true},
        {"type": "joinedToDomain", "names": ["other"], "pass": false},
        {"type": "joinedToDomain", "names": ["other", null],
         "error": "names[1] is not a string"},
        {"type": "joinedToDomain", "names": ["corp", null], "pass": true},
        {"type": "joinedToDomain", "error":
         "Required parameter \"names\" missing from check type \"joinedToDomain\"."}]})"));
    EXPECT_EQ(launched().size(), 4U);
}

TEST(VELDomainWildcard, IsValidWithLettersMarksAndNumbersOfAnyScript) {
    for (const char* pattern :
         {"", "*", "a.B-c_0", "sérvér.test", "中文.test", "e\u0301", "Ⅷ½٣", "\U00010400"}) {
        EXPECT_TRUE(VELDomainCheck::isValidDomainWildcardString(pattern)) << pattern;
    }
    for (const char* pattern : {" ", "a b", "?", "[a]", "a,b", "a\\b", "a/b", "a+b", "a\u00A0",
                                "a\u200Db", "😀", "\xFF", "a\n"}) {
        EXPECT_FALSE(VELDomainCheck::isValidDomainWildcardString(pattern)) << pattern;
    }
    EXPECT_FALSE(VELDomainCheck::isValidDomainWildcardString(std::string_view("a\0b", 3)));
}

TEST(VELDomainWildcard, BecomesAnExpression) {
    EXPECT_EQ(VELDomainCheck::convertWildcardToRegex(""), "");
    EXPECT_EQ(VELDomainCheck::convertWildcardToRegex("*.a-b_c.*"), R"(.*\.a-b_c\..*)");
    EXPECT_EQ(VELDomainCheck::convertWildcardToRegex("**"), ".*.*");
}

TEST(VELDomainWildcard, LeavesTheErrorAlone) {
    std::optional<VELError> error;
    EXPECT_TRUE(VELDomainCheck::doesWildcard("*.test", "a.test", &error));
    EXPECT_FALSE(VELDomainCheck::doesWildcard("?", "?", &error));
    EXPECT_FALSE(VELDomainCheck::doesWildcard("", "", nullptr));
    EXPECT_FALSE(error);
}

} // namespace
