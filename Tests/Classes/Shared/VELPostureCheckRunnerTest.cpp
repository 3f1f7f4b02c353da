// SPDX-License-Identifier: Apache-2.0
#include "vel_device_trust/VELPostureCheckRunner.h"

#include "Tests/Support/EngineTest.h"
#include "Tests/Support/KeptDocuments.h"
#include "Tests/Support/LogExpectations.h"
#include "vel_device_trust/VELPostureCheckErrors.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <bit>
#include <latch>
#include <random>
#include <stdexcept>
#include <thread>

namespace {

using namespace std::string_literals;

class RunnerTest : public EngineTest {
protected:
    /// A check that takes the virtual time that its entry names.
    [[nodiscard]] std::shared_ptr<ScriptedCheck> lasting() const {
        return std::make_shared<ScriptedCheck>(
            [platform = platform](const VELDictionary& entry, std::optional<VELError>*) {
                platform->advanceTime(
                    std::chrono::nanoseconds(entry.at("nanoseconds").get<std::int64_t>()));
                return true;
            });
    }
};

// Verdicts and log lines

TEST_F(RunnerTest, AnEmptyRequestPasses) {
    const auto runner = runnerWith({{"check", answering(false)}});
    for (const char* request :
         {"{}", R"({"mac":[]})", R"({"Mac":[1],"linux":[{"type":"check"}]})"}) {
        const std::string result =
            R"({"checks":[],"metrics":{"details":[],"total_ms":0.0},"pass":true})";
        EXPECT_EQ(keepResult(runner->runPostureCheckFromDocumentString(request)), result);
        expectLogged(logger->take(), {logged::input(request), logged::output(result)});
    }
}

TEST_F(RunnerTest, EachCheckHasItsVerdict) {
    const auto runner = runnerWith({{"yes", answering(true)}, {"no", answering(false)}});
    const std::string result =
        R"({"checks":[{"pass":true,"type":"yes"},{"pass":false,"type":"no"}],)"
        R"("metrics":{"details":[{"check":{"total_ms":0.0,"type":"yes"}},)"
        R"({"check":{"total_ms":0.0,"type":"no"}}],"total_ms":0.0},"pass":false})";
    EXPECT_EQ(
        runner->runPostureCheckFromDocumentString(R"({"mac": [{"type": "yes"}, {"type": "no"}]})"),
        result);
    expectLogged(logger->take(), {logged::input(R"({"mac":[{"type":"yes"},{"type":"no"}]})"),
                                  logged::start("yes", R"({"type":"yes"})"),
                                  logged::start("no", R"({"type":"no"})"), logged::output(result)});
    EXPECT_TRUE(
        resultOf(*runner, R"({"mac": [{"type": "yes"}, {"type": "yes"}]})")["pass"].get<bool>());
    // A later success makes up for nothing.
    EXPECT_FALSE(
        resultOf(*runner, R"({"mac": [{"type": "no"}, {"type": "yes"}]})")["pass"].get<bool>());
}

TEST_F(RunnerTest, BytesInBytesOut) {
    const auto runner = runnerWith({});
    const std::string text = "{}";
    const auto result = runner->runPostureCheckFromDocument(
        std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
    EXPECT_EQ(std::string(result.begin(), result.end()),
              R"({"checks":[],"metrics":{"details":[],"total_ms":0.0},"pass":true})");
    EXPECT_EQ(resultOf(*runner, "").size(), 1U);
    EXPECT_FALSE(runner->runPostureCheckFromDocument({}).empty());
}

TEST_F(RunnerTest, AnUnknownTypeIsAnErrorAndTheRestRuns) {
    const auto check = answering(true);
    const auto runner = runnerWith({{"check", check}});
    const VELValue result =
        resultOf(*runner, R"({"mac": [{"type": "Check", "a": 1}, {"type": "check"}]})");
    EXPECT_EQ(result["checks"], json(R"([
        {"type": "Check", "a": 1, "error": "Unknown posture check type: Check."},
        {"type": "check", "pass": true}])"));
    EXPECT_FALSE(result["pass"].get<bool>());
    EXPECT_EQ(check->runs, 1U);
    expectLogged(logger->take(),
                 {logged::input(R"({"mac":[{"a":1,"type":"Check"},{"type":"check"}]})"),
                  logged::start("Check", R"({"a":1,"type":"Check"})"),
                  logged::checkError(1, "Unknown posture check type: Check."),
                  logged::start("check", R"({"type":"check"})"), logged::output(result.dump())});
}

TEST_F(RunnerTest, ATypeThatIsNoStringIsUnknown) {
    struct Row {
        std::string entry;
        std::string shown;
        bool isInMetrics;
    };
    const Row rows[] = {
        {"{}", "(null)", false},
        {R"({"Type":"check"})", "(null)", false},
        {R"({"type":null})", "null", true},
        {R"({"type":5})", "5", true},
        {R"({"type":true})", "true", true},
        {R"({"type":["check"]})", R"(["check"])", true},
        {R"({"type":{"type":"check"}})", R"({"type":"check"})", true},
        {R"({"type":""})", "", true},
        {R"({"type":"check\u0000"})", "check\0"s, true},
    };
    const auto check = answering(true);
    const auto runner = runnerWith({{"check", check}});
    for (const Row& row : rows) {
        const VELValue result = resultOf(*runner, R"({"mac": [)" + row.entry + "]}");
        VELValue entry = json(row.entry);
        const bool hasType = entry.contains("type");
        EXPECT_EQ(hasType, row.isInMetrics);
        VELValue metrics = {{"total_ms", 0.0}};
        if (hasType) {
            metrics["type"] = entry["type"];
        }
        EXPECT_EQ(result["metrics"]["details"][0]["check"], metrics) << row.entry;
        entry["error"] = "Unknown posture check type: " + row.shown + ".";
        EXPECT_EQ(result["checks"][0], entry) << row.entry;
        EXPECT_FALSE(result["pass"].get<bool>());
        const auto lines = logger->take();
        ASSERT_EQ(lines.size(), 4U);
        EXPECT_EQ(lines[1].message,
                  "Starting check with checkType: " + row.shown + " and params: " + row.entry);
        EXPECT_EQ(lines[2].level, 3);
    }
    EXPECT_EQ(check->runs, 0U);
}

TEST_F(RunnerTest, ANullCheckObjectIsNotInTheCatalogue) {
    const auto runner = runnerWith({{"check", nullptr}});
    EXPECT_EQ(resultOf(*runner, R"({"mac": [{"type": "check"}]})")["checks"][0]["error"],
              "Unknown posture check type: check.");
}

TEST_F(RunnerTest, OnlyTheFirstMissingParameterIsReported) {
    const auto check = std::make_shared<ScriptedCheck>(
        [](const VELDictionary&, std::optional<VELError>*) { return true; },
        std::vector<std::string>{"zebra", "there", "apple"});
    const auto runner = runnerWith({{"check", check}});
    const std::string entry = R"({"there":1,"type":"check"})";
    const VELValue result = resultOf(*runner, R"({"mac": [)" + entry + "]}");
    EXPECT_EQ(result["checks"], json(R"([{"type": "check", "there": 1,
        "error": "Required parameter \"zebra\" missing from check type \"check\"."}])"));
    EXPECT_FALSE(result["pass"].get<bool>());
    expectLogged(logger->take(),
                 {logged::input(R"({"mac":[)" + entry + "]}"), logged::start("check", entry),
                  logged::checkError(
                      6, R"(Required parameter \"zebra\" missing from check type \"check\".)"),
                  logged::output(result.dump())});
    EXPECT_EQ(
        resultOf(*runner, R"({"mac": [{"type": "check", "zebra": 1}]})")["checks"][0]["error"],
        "Required parameter \"there\" missing from check type \"check\".");
    EXPECT_EQ(check->runs, 0U);
    // Of any type, null included.
    EXPECT_EQ(resultOf(*runner, R"({"mac": [
                  {"type": "check", "zebra": null, "there": [], "apple": false}]})")["pass"],
              true);
    EXPECT_EQ(check->runs, 1U);
}

TEST_F(RunnerTest, AnEmptyListOfRequiredParametersRequiresNothing) {
    const auto check = std::make_shared<ScriptedCheck>(
        [](const VELDictionary&, std::optional<VELError>*) { return true; },
        std::vector<std::string>{});
    EXPECT_EQ(resultOf(*runnerWith({{"check", check}}), R"({"mac": [{"type": "check"}]})")["pass"],
              true);
}

TEST_F(RunnerTest, TheCheckGetsTheWholeEntryAndNoError) {
    bool hadNoError = false;
    VELValue got;
    const auto check = std::make_shared<ScriptedCheck>(
        [&](const VELDictionary& entry, std::optional<VELError>* error) {
            hadNoError = error != nullptr && !error->has_value();
            got = entry;
            return true;
        });
    const auto runner = runnerWith(
        {{"fails", failingWith(VELError("d", 1, VELValue::object()))}, {"check", check}});
    static_cast<void>(resultOf(*runner, R"({"mac": [
        {"type": "fails"}, {"type": "check", "a": [1.5, {"b": null}]}]})"));
    EXPECT_TRUE(hadNoError);
    EXPECT_EQ(got, json(R"({"type": "check", "a": [1.5, {"b": null}]})"));
}

// Errors

TEST_F(RunnerTest, ASetErrorWinsOverTheAnswer) {
    const VELError failure("d", 1, {{kUnlocalizedDescriptionKey, "it failed"}});
    for (const bool answer : {true, false}) {
        const auto runner = runnerWith({{"check", failingWith(failure, answer)}});
        const VELValue result = resultOf(*runner, R"({"mac": [{"type": "check"}]})");
        EXPECT_EQ(result["checks"], json(R"([{"type": "check", "error": "it failed"}])"));
        EXPECT_EQ(result["pass"], false);
    }
}

TEST_F(RunnerTest, WhichTextOfAnErrorIsShown) {
    struct Row {
        const char* userInfo;
        const char* text;
    };
    const Row rows[] = {
        {R"({"com.vel.posturecheck.unlocalized-description": "ours",
             "NSLocalizedDescription": "theirs"})",
         "ours"},
        {R"({"com.vel.posturecheck.unlocalized-description": ""})", ""},
        {R"({"NSLocalizedDescription": "theirs", "other": 1})", "theirs"},
        {R"({"com.vel.posturecheck.unlocalized-description": 5,
             "NSLocalizedDescription": "theirs"})",
         "5"},
        {R"({"other":"text"})", R"(Error Domain=d Code=-9 UserInfo={"other":"text"})"},
        {R"({"NSLocalizedDescription":["x"]})", R"(["x"])"},
        {"{}", "Error Domain=d Code=-9 UserInfo={}"},
    };
    for (const Row& row : rows) {
        const auto runner =
            runnerWith({{"check", failingWith(VELError("d", -9, json(row.userInfo)))}});
        EXPECT_EQ(resultOf(*runner, R"({"mac": [{"type": "check"}]})")["checks"][0]["error"],
                  row.text);
    }
}

TEST_F(RunnerTest, AnErrorTextIsMadeUTF8) {
    const VELError failure("d", 1, {{kUnlocalizedDescriptionKey, "bad \xFF"}});
    const auto runner = runnerWith({{"check", failingWith(failure)}});
    const std::string output = "{\"checks\":[{\"error\":\"bad \uFFFD\",\"type\":\"check\"}],"
                               R"("metrics":{"details":[{"check":{"total_ms":0.0,)"
                               R"("type":"check"}}],"total_ms":0.0},"pass":false})";
    EXPECT_EQ(runner->runPostureCheckFromDocumentString(R"({"mac": [{"type": "check"}]})"), output);
    expectLogged(logger->take(),
                 {logged::input(R"({"mac":[{"type":"check"}]})"),
                  logged::start("check", R"({"type":"check"})"), logged::output(output)});
}

// Exceptions

TEST_F(RunnerTest, AnExceptionBecomesTheErrorOfItsEntry) {
    const auto runner = runnerWith(
        {{"raises", raising(std::runtime_error("out of order"))}, {"check", answering(true)}});
    const VELValue result =
        resultOf(*runner, R"({"mac": [{"type": "raises"}, {"type": "check"}]})");
    EXPECT_EQ(result["checks"], json(R"([{"type": "raises", "error": "out of order"},
                                         {"type": "check", "pass": true}])"));
    EXPECT_EQ(result["pass"], false);
    expectLogged(logger->take(),
                 {logged::input(R"({"mac":[{"type":"raises"},{"type":"check"}]})"),
                  logged::start("raises", R"({"type":"raises"})"), logged::raised("out of order"),
                  logged::start("check", R"({"type":"check"})"), logged::output(result.dump())});
}

TEST_F(RunnerTest, TheTextOfAnExceptionIsMadeUTF8) {
    const auto runner = runnerWith({{"bytes", raising(std::runtime_error("a\xFF\xC3"))},
                                    {"empty", raising(std::logic_error(""))}});
    const VELValue result = resultOf(*runner, R"({"mac": [{"type": "bytes"}, {"type": "empty"}]})");
    EXPECT_EQ(result.value("checks", VELValue()).dump(),
              "[{\"error\":\"a\uFFFD\uFFFD\",\"type\":\"bytes\"},"
              "{\"error\":\"\",\"type\":\"empty\"}]");
    EXPECT_EQ(result["checks"][1], json(R"({"type": "empty", "error": ""})"));
    EXPECT_EQ(result["pass"], false);
    expectLogged(logger->take(),
                 {logged::input(R"({"mac":[{"type":"bytes"},{"type":"empty"}]})"),
                  logged::start("bytes", R"({"type":"bytes"})"), logged::raised("a\uFFFD\uFFFD"),
                  logged::start("empty", R"({"type":"empty"})"), logged::raised(""),
                  logged::output(result.dump())});
}

TEST_F(RunnerTest, AnExceptionWinsOverAnErrorSetBefore) {
    const auto check = std::make_shared<ScriptedCheck>(
        [](const VELDictionary&, std::optional<VELError>* error) -> bool {
            SetPostureCheckError(error, 7, "set before");
            throw std::out_of_range("raised after");
        });
    const VELValue result =
        resultOf(*runnerWith({{"check", check}}), R"({"mac": [{"type": "check"}]})");
    EXPECT_EQ(result["checks"], json(R"([{"type": "check", "error": "raised after"}])"));
    expectLogged(logger->take(), {logged::input(R"({"mac":[{"type":"check"}]})"),
                                  logged::start("check", R"({"type":"check"})"),
                                  logged::checkError(7, "set before"),
                                  logged::raised("raised after"), logged::output(result.dump())});
}

TEST_F(RunnerTest, AnExceptionIsTimed) {
    const auto check = std::make_shared<ScriptedCheck>(
        [this](const VELDictionary&, std::optional<VELError>*) -> bool {
            platform->advanceTime(std::chrono::nanoseconds(2'000'000));
            throw std::bad_alloc();
        });
    const VELValue result =
        resultOf(*runnerWith({{"check", check}}), R"({"mac": [{"type": "check"}]})");
    EXPECT_EQ(result["metrics"]["total_ms"], 2.0);
    EXPECT_EQ(result["checks"][0]["error"], "std::bad_alloc");
}

TEST_F(RunnerTest, OtherExceptionsReachTheHost) {
    const auto runner = runnerWith({{"check", raising(42)}});
    EXPECT_THROW(static_cast<void>(
                     runner->runPostureCheckFromDocumentString(R"({"mac": [{"type": "check"}]})")),
                 int);
}

TEST_F(RunnerTest, CalledDirectlyACheckLetsItsExceptionThrough) {
    const auto runner = runnerWith({{"check", raising(std::runtime_error("out"))}});
    const VELValue type = "check";
    std::optional<VELError> error;
    EXPECT_THROW(runner->runCheck(&type, json(R"({"type": "check"})"), &error), std::runtime_error);
    EXPECT_FALSE(error);
    expectLogged(logger->take(), {logged::start("check", R"({"type":"check"})")});
}

// Direct calls

TEST_F(RunnerTest, RunCheck) {
    const auto runner = runnerWith({{"yes", answering(true)}, {"no", answering(false)}});
    const VELValue yes = "yes";
    const VELValue no = "no";
    const VELValue other = "other";
    const VELValue entry = VELValue::object();
    std::optional<VELError> error;
    EXPECT_TRUE(runner->runCheck(&yes, entry, &error));
    EXPECT_FALSE(runner->runCheck(&no, entry, &error));
    EXPECT_FALSE(error);
    EXPECT_TRUE(runner->runCheck(&yes, entry, nullptr));
    EXPECT_FALSE(runner->runCheck(&other, entry, nullptr));
    EXPECT_FALSE(runner->runCheck(nullptr, entry, &error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), 1);
    EXPECT_EQ(error->message(), "Unknown posture check type: (null).");
    expectLogged(logger->take(),
                 {logged::start("yes", "{}"), logged::start("no", "{}"), logged::start("yes", "{}"),
                  logged::start("other", "{}"), logged::start("(null)", "{}"),
                  logged::checkError(1, "Unknown posture check type: (null).")});
}

TEST_F(RunnerTest, RunCheckHandsTheOutParameterOnAsItIs) {
    std::optional<VELError> error = VELError("earlier", 7, VELValue::object());
    std::optional<VELError>* got = nullptr;
    std::string domain;
    const auto runner =
        runnerWith({{"check", std::make_shared<ScriptedCheck>(
                                  [&](const VELDictionary&, std::optional<VELError>* outParameter) {
                                      got = outParameter;
                                      domain = error ? error->domain() : "none";
                                      return true;
                                  })}});
    const VELValue type = "check";
    EXPECT_TRUE(runner->runCheck(&type, VELValue::object(), &error));
    EXPECT_EQ(got, &error);
    EXPECT_EQ(domain, "earlier");
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), "earlier");
}

TEST_F(RunnerTest, ADictionaryInADictionaryOut) {
    const auto runner = runnerWith({{"yes", answering(true)}});
    const VELValue result =
        runner->runDeviceTrustCheckFromDictionary(json(R"({"mac": [{"type": "yes"}]})"));
    static_cast<void>(keepResult(result.dump()));
    EXPECT_EQ(result, json(R"({"checks": [{"type": "yes", "pass": true}], "pass": true, "metrics":
                   {"total_ms": 0, "details": [{"check": {"type": "yes", "total_ms": 0}}]}})"));
    logger->take();
    for (const auto& [request, text] :
         {std::pair("[]", "the request is not an object"),
          std::pair(R"({"mac": {}})", "mac is not an array"),
          std::pair(R"({"mac": [{"type": "yes"}, 5]})", "mac[1] is not an object")}) {
        try {
            static_cast<void>(runner->runDeviceTrustCheckFromDictionary(json(request)));
            ADD_FAILURE() << "nothing was thrown for " << request;
        } catch (const std::invalid_argument& exception) {
            EXPECT_STREQ(exception.what(), text);
        }
    }
    expectLogged(logger->take(), {});
}

TEST_F(RunnerTest, ErrorResult) {
    const auto runner = runnerWith({});
    const auto text = [&](std::string_view message) {
        const auto bytes = runner->errorResult(message);
        return std::string(bytes.begin(), bytes.end());
    };
    EXPECT_EQ(text("what \"is\" wrong"), R"({"error":"what \"is\" wrong"})");
    EXPECT_EQ(text(""), R"({"error":""})");
    EXPECT_EQ(text("\xFF"), "{\"error\":\"\uFFFD\"}");
    expectLogged(logger->take(), {logged::errorResult("what \"is\" wrong"), logged::errorResult(""),
                                  logged::errorResult("\uFFFD")});
}

TEST_F(RunnerTest, ThePlatformIdentifierIsTheKeyOfTheList) {
    for (const auto& [identifier, key] :
         {std::pair(""s, R"("")"s), std::pair("a.b/c"s, R"("a.b/c")"s),
          std::pair("mac\0x"s, R"("mac\u0000x")"s)}) {
        const auto runner = VELPlatformRunnerFactory::runner(
            identifier, {{"check", answering(true)}}, logger, platform);
        // What stands under "mac" is of no concern, however it looks.
        EXPECT_EQ(resultOf(*runner, R"({"mac": 5, )" + key + R"(: [{"type": "check"}]})")["checks"],
                  json(R"([{"type": "check", "pass": true}])"))
            << key;
        EXPECT_EQ(resultOf(*runner, "{" + key + ": 5}"),
                  VELValue({{"error", identifier + " is not an array"}}));
    }
}

// Loggers

TEST_F(RunnerTest, TheLatestRunnersLoggerServesAll) {
    const auto second = std::make_shared<RecordingLogger>();
    const auto older = runnerWith({});
    const auto newer = VELPlatformRunnerFactory::runner("mac", {}, second, platform);
    static_cast<void>(older->runPostureCheckFromDocumentString("{}"));
    static_cast<void>(newer->runPostureCheckFromDocumentString("{}"));
    expectLogged(logger->take(), {});
    EXPECT_EQ(second->take().size(), 4U);
    // A null logger switches logging off for all.
    const auto quiet = VELPlatformRunnerFactory::runner("mac", {}, nullptr, platform);
    for (const auto* runner : {older.get(), newer.get(), quiet.get()}) {
        static_cast<void>(runner->runPostureCheckFromDocumentString("{}"));
    }
    expectLogged(logger->take(), {});
    expectLogged(second->take(), {});
}

TEST_F(RunnerTest, TheLoggerOutlivesItsRunner) {
    runnerWith({}).reset();
    const auto quiet = runnerWith({});
    static_cast<void>(quiet->runPostureCheckFromDocumentString("{}"));
    EXPECT_EQ(logger->take().size(), 2U);
}

TEST_F(RunnerTest, TheHostsOwnCatalogueRunsOnThisMachine) {
    const VELPostureCheckRunner runner("windows", {{"check", answering(true)}}, nullptr);
    const VELValue result = resultOf(runner, R"({"windows": [{"type": "check"}]})");
    EXPECT_EQ(result["pass"], true);
    EXPECT_GE(result["metrics"]["total_ms"].get<double>(), 0.0);
}

TEST_F(RunnerTest, AToolUnderAPathThatIsNotUTF8LosesNoResult) {
    const auto failing =
        std::make_shared<ScriptedCheck>([](const VELDictionary&, std::optional<VELError>* error) {
            SetPostureCheckError(error, 3, "Task /opt/\xFF/tool exited with status code 1.");
            return false;
        });
    const auto foreign =
        std::make_shared<ScriptedCheck>([](const VELDictionary&, std::optional<VELError>* error) {
            *error = VELError::withLocalizedDescription("elsewhere", 1, "at /\xC3");
            return false;
        });
    const auto runner = runnerWith({{"failing", failing}, {"foreign", foreign}});
    const VELValue result = resultOf(
        *runner, R"({"mac": [{"type": "failing"}, {"type": "foreign"}, {"type": "none"}]})");
    EXPECT_EQ(result["checks"], json(R"([
        {"type": "failing", "error": "Task /opt/\ufffd/tool exited with status code 1."},
        {"type": "foreign", "error": "at /\ufffd"},
        {"type": "none", "error": "Unknown posture check type: none."}])"));
}

// Durations

TEST_F(RunnerTest, TimestampsAreSecondsOfTheTickCounter) {
    const auto runner = runnerWith({});
    EXPECT_EQ(runner->getTimestamp(), 0.0);
    platform->advanceTime(std::chrono::nanoseconds(1));
    EXPECT_EQ(runner->getTimestamp(), 1.0 / 1'000'000'000.0);
    platform->advanceTime(std::chrono::nanoseconds(1'234'567'890'123'456'788));
    EXPECT_EQ(runner->getTimestamp(), 1'234'567'890'123'456'789.0 / 1'000'000'000.0);
}

TEST_F(RunnerTest, DurationsAreMilliseconds) {
    const auto runner = runnerWith({{"lasting", lasting()}});
    EXPECT_EQ(runner->runPostureCheckFromDocumentString(
                  R"({"mac": [{"type": "lasting", "nanoseconds": 2500000},
                              {"type": "unknown"},
                              {"type": "lasting", "nanoseconds": 1}]})"),
              R"({"checks":[{"nanoseconds":2500000,"pass":true,"type":"lasting"},)"
              R"({"error":"Unknown posture check type: unknown.","type":"unknown"},)"
              R"({"nanoseconds":1,"pass":true,"type":"lasting"}],"metrics":{"details":[)"
              R"({"check":{"total_ms":2.5,"type":"lasting"}},)"
              R"({"check":{"total_ms":0.0,"type":"unknown"}},)"
              R"({"check":{"total_ms":9.99999999907325e-07,"type":"lasting"}}],)"
              R"("total_ms":2.5000009999999997},"pass":false})");
    // Two readings for each check, and none beside.
    EXPECT_EQ(platform->ticksCalls, 6U);
}

TEST_F(RunnerTest, RandomDurationsAddUpExactly) {
    const auto runner = runnerWith({{"lasting", lasting()}});
    std::mt19937_64 random(20260106);
    for (int round = 0; round < 300; ++round) {
        VELValue entries = VELValue::array();
        std::vector<double> expected;
        double seconds = runner->getTimestamp();
        auto ticks = platform->ticks().time_since_epoch().count();
        for (auto count = random() % 20; count > 0; --count) {
            const auto nanoseconds = static_cast<std::int64_t>(random() >> (random() % 40 + 20));
            entries.push_back({{"type", "lasting"}, {"nanoseconds", nanoseconds}});
            ticks += nanoseconds;
            const double end = static_cast<double>(ticks) / 1'000'000'000.0;
            expected.push_back((end - seconds) * 1000.0);
            seconds = end;
        }
        const VELValue result = resultOf(*runner, VELValue({{"mac", entries}}).dump());
        double total = 0.0;
        const VELValue& details = result["metrics"]["details"];
        ASSERT_EQ(details.size(), expected.size());
        for (std::size_t index = 0; index < expected.size(); ++index) {
            const auto duration = details[index]["check"]["total_ms"].get<double>();
            ASSERT_EQ(std::bit_cast<std::uint64_t>(duration),
                      std::bit_cast<std::uint64_t>(expected[index]));
            total += duration;
        }
        ASSERT_EQ(std::bit_cast<std::uint64_t>(result["metrics"]["total_ms"].get<double>()),
                  std::bit_cast<std::uint64_t>(total));
    }
}

// Threads

TEST_F(RunnerTest, EightThreadsOnOneRunner) {
    constexpr unsigned threadCount = 8;
    constexpr unsigned requestsPerThread = 100;
    platform->productVersionRecord = "14.5";
    platform->hardwareSerialNumber = "C02EXAMPLE";
    auto catalogue = macPostureCheckCatalogue(platform);
    const auto check = lasting();
    catalogue["lasting"] = check;
    catalogue["raises"] = raising(std::runtime_error("raised"));
    const auto runner = runnerWith(std::move(catalogue));
    const std::string request = R"({"mac": [{"type": "minimumOSVersion", "version": "14"},
        {"type": "lasting", "nanoseconds": 1000}, {"type": "raises"}, {"type": "none"}]})";
    const VELValue checks = json(R"([{"type": "minimumOSVersion", "version": "14", "pass": true},
        {"type": "lasting", "nanoseconds": 1000, "pass": true},
        {"type": "raises", "error": "raised"},
        {"type": "none", "error": "Unknown posture check type: none."}])");
    std::latch start(threadCount);
    std::atomic<unsigned> right = 0;
    std::vector<std::thread> threads;
    for (unsigned index = 0; index < threadCount; ++index) {
        threads.emplace_back([&] {
            start.arrive_and_wait();
            for (unsigned round = 0; round < requestsPerThread; ++round) {
                const VELValue result = resultOf(*runner, request);
                const VELValue identity =
                    resultOf(*runner, R"({"identity_params": ["device_serial_number"]})");
                if (result["checks"] == checks && result["pass"] == false &&
                    identity["identity_params"]["device_serial_number"] == "C02EXAMPLE") {
                    ++right;
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(right, threadCount * requestsPerThread);
    EXPECT_EQ(check->runs, threadCount * requestsPerThread);
    // Input, four starts, two lines of the version check, two errors, output; one for the identity.
    EXPECT_EQ(logger->take().size(), threadCount * requestsPerThread * 11U);
}

} // namespace
