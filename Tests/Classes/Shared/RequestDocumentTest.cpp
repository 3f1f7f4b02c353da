// SPDX-License-Identifier: Apache-2.0
#include "Base/VELJSON.h"
#include "Tests/Support/EngineTest.h"
#include "Tests/Support/KeptDocuments.h"
#include "Tests/Support/LogExpectations.h"
#include "Tests/Support/Sanitized.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <array>
#include <bit>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <random>

namespace {

using namespace std::string_literals;
using testing::StartsWith;

/// Requests to a runner whose one check type is "check", which passes.
class RequestDocument : public EngineTest {
protected:
    /// The result, as text.
    std::string run(std::string_view request) {
        return keepResult(runner->runPostureCheckFromDocumentString(request));
    }

    VELValue result(std::string_view request) { return VELValue::parse(run(request)); }

    /// What becomes of one entry: the text of its result entry, parsed.
    VELValue entryResult(const std::string& entry) {
        return result(R"({"mac":[)" + entry + "]}")["checks"][0];
    }

    void expectOneErrorLine(const std::string& text) {
        expectLogged(logger->take(), {logged::errorResult(text)});
        EXPECT_EQ(check->runs, 0U);
        EXPECT_EQ(platform->serialNumberCalls + platform->preferenceStore.copyValueCalls, 0U);
        EXPECT_EQ(platform->ticksCalls, 0U);
    }

    const std::shared_ptr<ScriptedCheck> check = answering(true);
    const std::unique_ptr<VELPostureCheckRunner> runner = runnerWith({{"check", check}});
};

TEST_F(RequestDocument, MalformedDocumentsAreFoundBeforeAnyCheckRuns) {
    struct Row {
        const char* request;
        const char* error;
    };
    const Row rows[] = {
        {"[]", "the request is not an object"},
        {"null", "the request is not an object"},
        {"true", "the request is not an object"},
        {"5", "the request is not an object"},
        {R"("mac")", "the request is not an object"},
        {R"([{"mac":[{"type":"check"}]}])", "the request is not an object"},
        {R"({"mac":null})", "mac is not an array"},
        {R"({"mac":{}})", "mac is not an array"},
        {R"({"mac":{"type":"check"}})", "mac is not an array"},
        {R"({"mac":"check"})", "mac is not an array"},
        {R"({"mac":5})", "mac is not an array"},
        {R"({"mac":false})", "mac is not an array"},
        {R"({"mac":[null]})", "mac[0] is not an object"},
        {R"({"mac":[{"type":"check"},{"type":"check"},"check"]})", "mac[2] is not an object"},
        {R"({"mac":[{"type":"check"},[],5]})", "mac[1] is not an object"},
        {R"({"mac":[{"type":"check"},[{"type":"check"}]]})", "mac[1] is not an object"},
        {R"({"mac":[{"type":"check"}],"mac":7})", "mac is not an array"},
        {R"({"identity_params":null})", "identity_params is not an array"},
        {R"({"identity_params":{}})", "identity_params is not an array"},
        {R"({"identity_params":"device_id"})", "identity_params is not an array"},
        {R"({"identity_params":0,"mac":[{"type":"check"}]})", "identity_params is not an array"},
        {R"({"identity_params":[null]})", "identity_params[0] is not a string"},
        {R"({"identity_params":["device_id","device_serial_number",["device_id"]]})",
         "identity_params[2] is not a string"},
        {R"({"identity_params":["device_id",{}]})", "identity_params[1] is not a string"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(run(row.request), VELValue({{"error", row.error}}).dump()) << row.request;
        expectOneErrorLine(row.error);
    }
}

TEST_F(RequestDocument, AnIdentityRequestDoesNotLookAtTheChecks) {
    EXPECT_EQ(run(R"({"identity_params":[],"mac":5})"),
              R"({"identity_params":{},"metrics":{"total_ms":0.0}})");
}

TEST_F(RequestDocument, WhatIsNoJSONIsTheErrorResult) {
    for (const std::string& request : {""s,
                                       " "s,
                                       "{"s,
                                       "}"s,
                                       "nonsense"s,
                                       "{\"mac\":[{\"type\":\"check\"},]}"s,
                                       "{\"mac\":[{\"type\":\"check\"}],}"s,
                                       "{\"mac\":[{\"type\":\"check\"}]} x"s,
                                       "{\"mac\":[{\"type\":\"check\"}]}{}"s,
                                       "{\"mac\":[{\"type\":\"check\"}]}\0"s,
                                       "{\"mac\":[{\"type\":\"check\"}]}\0 {"s,
                                       "\0"s,
                                       "{\"mac\":[{\"type\":\"che\0ck\"}]}"s,
                                       "/* c */{\"mac\":[{\"type\":\"check\"}]}"s,
                                       "{\"mac\":[{\"type\":\"check\"}]} // c"s,
                                       "{\"mac\":[{\"type\":\"check\",\"a\":NaN}]}"s,
                                       "{\"mac\":[{\"type\":\"check\",\"a\":Infinity}]}"s,
                                       "{\"mac\":[{\"type\":\"check\",\"a\":1e400}]}"s,
                                       "{\"mac\":[{\"type\":\"check\",\"a\":-1e400}]}"s,
                                       "{\"mac\":[{\"type\":\"check\",\"a\":\"\\ud800\"}]}"s,
                                       "{\"mac\":[{\"type\":\"check\",\"a\":\"\\udc00\\ud800\"}]}"s,
                                       "{\"mac\":[{\"type\":\"check\",\"\\udfff\":1}]}"s,
                                       "{\"mac\":[{\"type\":\"check\",\"a\":\"\xFF\"}]}"s,
                                       "{\"mac\":[{\"type\":\"check\",\"a\":\"\xED\xA0\x80\"}]}"s,
                                       "{\"mac\":[{\"type\":\"check\",\"a\":\"\xC0\x80\"}]}"s,
                                       "\xFF\xFE{\0}\0"s,
                                       "\xEF\xBB\xBF\xEF\xBB\xBF{}"s}) {
        std::optional<VELError> error;
        EXPECT_FALSE(vel::readJSON(request, &error)) << testing::PrintToString(request);
        ASSERT_TRUE(error);
        EXPECT_EQ(run(request), VELValue({{"error", error->message()}}).dump())
            << testing::PrintToString(request);
        expectOneErrorLine(error->message());
    }
    EXPECT_EQ(run("{\"mac\": x"),
              R"({"error":"parse error at line 1, column 9: syntax error while parsing value - )"
              R"(invalid literal; last read: '\"mac\": x'"})");
}

TEST_F(RequestDocument, AByteOrderMarkMayStandInFront) {
    EXPECT_EQ(result("\xEF\xBB\xBF{\"mac\":[{\"type\":\"check\"}]}")["pass"], true);
    EXPECT_EQ(check->runs, 1U);
}

TEST_F(RequestDocument, OfEqualKeysTheLastOneCounts) {
    EXPECT_EQ(result(R"({"mac":5,"mac":[{"type":"none"}],"mac":[{"type":"check"}]})")["checks"],
              json(R"([{"type":"check","pass":true}])"));
    EXPECT_EQ(entryResult(R"({"type":"none","a":{"b":1},"type":"check","a":{"c":2}})"),
              json(R"({"type":"check","a":{"c":2},"pass":true})"));
    platform->hardwareSerialNumber = "C02EXAMPLE";
    EXPECT_EQ(run(R"({"identity_params":5,"identity_params":["device_serial_number"]})"),
              R"({"identity_params":{"device_serial_number":"C02EXAMPLE"},)"
              R"("metrics":{"total_ms":0.0}})");
}

TEST_F(RequestDocument, AnEntryKeepsEveryKey) {
    const std::string members[] = {
        R"("":0)",
        R"("\u0000":"\u0000")",
        R"("a\"b\\c/d\n":"\"\\/\n")",
        R"("é":"é")",
        "\"\U0001F600\":\"\U0001F600\"",
        "\"\u2028\":\"\uFFFF\"",
        R"("com.vel.posturecheck.unlocalized-description":"x")",
        R"("identity_params":["device_id"])",
        R"("mac":[{"type":"check"}])",
        R"("checks":[])",
        R"("metrics":{"total_ms":-1})",
        R"("total_ms":"never")",
        R"("null":null)",
        R"("deep":[[[[{"a":[{}]}]]]])",
        "\"long\":\"" + std::string(100'000, 'x') + "\"",
        "\"" + std::string(100'000, 'k') + "\":1",
    };
    for (const std::string& member : members) {
        const std::string entry = R"({"type":"check",)" + member + "}";
        VELValue expected = json(entry);
        expected["pass"] = true;
        EXPECT_EQ(entryResult(entry).dump(), expected.dump());
    }
}

TEST_F(RequestDocument, AnEntrysOwnPassAndErrorStayUnlessWritten) {
    EXPECT_EQ(entryResult(R"({"type":"check","pass":"mine","error":"mine"})"),
              json(R"({"type":"check","pass":true,"error":"mine"})"));
    EXPECT_EQ(entryResult(R"({"type":"none","pass":true,"error":["mine"]})"),
              json(R"({"type":"none","pass":true,"error":"Unknown posture check type: none."})"));
}

TEST_F(RequestDocument, NumbersAreCopiedExactly) {
    for (const char* number :
         {"-9223372036854775808", "9223372036854775807", "9223372036854775808",
          "18446744073709551615", "9007199254740993", "0", "-1", "0.1", "-0.0", "5e-324",
          "2.225073858507201e-308", "2.2250738585072014e-308", "1.7976931348623157e+308",
          "-1.7976931348623157e+308", "1.0", "123456789012345.67"}) {
        const std::string text = run(R"({"mac":[{"number":)" + std::string(number) + "}]}");
        EXPECT_THAT(text, testing::HasSubstr("\"number\":" + std::string(number) + "}"));
    }
    EXPECT_EQ(entryResult(R"({"number":18446744073709551616})")["number"].get<double>(), 0x1p64);
    EXPECT_TRUE(std::signbit(entryResult(R"({"number":-0})")["number"].get<double>()));
}

TEST_F(RequestDocument, RandomDoublesAreCopiedBitForBit) {
    std::mt19937_64 random(20260107);
    std::array<char, 64> text{};
    for (int round = 0; round < 100; ++round) {
        std::string numbers;
        std::vector<std::uint64_t> expected;
        while (expected.size() < 100) {
            const std::uint64_t bits = random();
            if (!std::isfinite(std::bit_cast<double>(bits))) {
                continue;
            }
            std::snprintf(text.data(), text.size(), "%.17g", std::bit_cast<double>(bits));
            numbers += (expected.empty() ? "" : ",") + std::string(text.data());
            expected.push_back(bits);
        }
        const VELValue copies = entryResult(R"({"type":"check","numbers":[)" + numbers + "]}");
        for (std::size_t index = 0; index < expected.size(); ++index) {
            const VELValue& copy = copies["numbers"][index];
            // A double without fraction is written as an integer by the loop above.
            ASSERT_EQ(std::bit_cast<std::uint64_t>(copy.get<double>()), expected[index]);
        }
    }
}

TEST_F(RequestDocument, Depth) {
    const auto request = [](std::size_t depth) {
        // The request, its list and its entry are three levels.
        return R"({"mac":[{"type":"check","a":)" + std::string(depth - 3, '[') +
               std::string(depth - 3, ']') + "}]}";
    };
    EXPECT_THAT(run(request(512)), StartsWith("{\"checks\":[{\"a\":" + std::string(509, '[')));
    EXPECT_EQ(check->runs, 1U);
    check->runs = 0;
    logger->take();
    platform->ticksCalls = 0;
    for (const std::size_t depth : {std::size_t{513}, std::size_t{1'000'000}}) {
        const std::string text = "arrays and objects are nested deeper than 512 at byte 538";
        EXPECT_EQ(run(request(depth)), VELValue({{"error", text}}).dump());
        expectOneErrorLine(text);
    }
    EXPECT_EQ(run(std::string(1'000'000, '[')),
              R"({"error":"arrays and objects are nested deeper than 512 at byte 513"})");
}

TEST_F(RequestDocument, ADeepTypeIsCopiedIntoTheMetrics) {
    const std::string type = std::string(509, '[') + std::string(509, ']');
    const std::string text = run(R"({"mac":[{"type":)" + type + "}]}");
    EXPECT_THAT(text, testing::HasSubstr(R"({"check":{"total_ms":0.0,"type":)" + type + "}}"));
}

TEST_F(RequestDocument, ManyEntries) {
    VELDTLogger::setLogger(nullptr);
    const std::string entry =
        R"({"type":"check","list":[0.1,")" + std::string(1000, 't') + R"(",null,{"a":-7}]})";
    std::string request = R"({"mac":[)" + entry;
    std::size_t count = 1;
    for (; request.size() < largeInput; ++count) {
        request += "," + entry;
    }
    const VELValue document = result(request + "]}");
    EXPECT_EQ(document["pass"], true);
    EXPECT_EQ(document["checks"].size(), count);
    EXPECT_EQ(document["metrics"]["details"].size(), count);
    VELValue expected = json(entry);
    expected["pass"] = true;
    EXPECT_EQ(document["checks"].back(), expected);
    EXPECT_EQ(check->runs, count);
}

TEST_F(RequestDocument, ALongString) {
    VELDTLogger::setLogger(nullptr);
    const std::string value(largeInput, 'v');
    EXPECT_EQ(entryResult(R"({"type":"check","a":")" + value + "\"}")["a"].get<std::string>(),
              value);
}

TEST_F(RequestDocument, AnErrorTextStaysShort) {
    const std::string text = run(R"({"mac":[{"type":"check","a":")" + std::string(100'000, 'v'));
    EXPECT_THAT(text, StartsWith(R"({"error":"parse error at line 1, column 100030: )"));
    EXPECT_LT(text.size(), 400U);
}

/// Sets a locale for the process; puts back what was there.
class HostLocale {
public:
    explicit HostLocale(const std::string& name) : _previous(std::setlocale(LC_ALL, nullptr)) {
        const std::string full = name + ".UTF-8";
        _isSet = std::setlocale(LC_ALL, full.c_str()) != nullptr || setMadeLocale(name, full);
    }
    HostLocale(const HostLocale&) = delete;
    HostLocale& operator=(const HostLocale&) = delete;
    ~HostLocale() {
        std::setlocale(LC_ALL, _previous.c_str());
        unsetenv("LOCPATH");
        std::filesystem::remove_all(_folder);
    }

    [[nodiscard]] bool isSet() const { return _isSet; }

private:
    /// Compiles the locale, where the machine has only its source.
    bool setMadeLocale(const std::string& name, const std::string& full) {
        std::string path = (std::filesystem::temp_directory_path() / "vel-locale-XXXXXX").string();
        if (mkdtemp(path.data()) == nullptr) {
            return false;
        }
        _folder = path;
        // Its status also tells of mere warnings.
        const std::string command = "localedef -c -i " + name + " -f UTF-8 " + path + "/" + full +
                                    " >/dev/null 2>&1 || true";
        if (std::system(command.c_str()) != 0) { // NOLINT(cert-env33-c)
            return false;
        }
        setenv("LOCPATH", path.c_str(), 1);
        return std::setlocale(LC_ALL, full.c_str()) != nullptr;
    }

    std::string _previous;
    std::filesystem::path _folder;
    bool _isSet = false;
};

class HostLocales : public RequestDocument, public ::testing::WithParamInterface<const char*> {};

/// A point, a comma, and a sign of two bytes.
INSTANTIATE_TEST_SUITE_P(OfEachDecimalPoint, HostLocales,
                         ::testing::Values("en_US", "de_DE", "ps_AF"),
                         [](const auto& tested) { return std::string(tested.param); });

TEST_P(HostLocales, ChangeNothing) {
    const HostLocale locale(GetParam());
    if (!locale.isSet()) {
        GTEST_SKIP() << GetParam() << " is not installed and localedef cannot make it";
    }
    const std::string decimalPoint = std::localeconv()->decimal_point;
    const std::map<std::string, std::string> points = {
        {"en_US", "."}, {"de_DE", ","}, {"ps_AF", "\u066B"}};
    ASSERT_EQ(decimalPoint, points.at(GetParam()));
    const auto slow =
        std::make_shared<ScriptedCheck>([this](const VELDictionary&, std::optional<VELError>*) {
            platform->advanceTime(std::chrono::nanoseconds(1'500'000));
            return true;
        });
    EXPECT_EQ(runnerWith({{"slow", slow}})
                  ->runPostureCheckFromDocumentString(
                      R"({"mac":[{"type":"slow","a":1234567.25,"b":1e-3,"c":1234567890}]})"),
              R"({"checks":[{"a":1234567.25,"b":0.001,"c":1234567890,"pass":true,)"
              R"("type":"slow"}],"metrics":{"details":[{"check":{"total_ms":1.5,)"
              R"("type":"slow"}}],"total_ms":1.5},"pass":true})");
    EXPECT_EQ(std::localeconv()->decimal_point, decimalPoint);
    EXPECT_THAT(run(R"({"mac":[{"a":1,5}]})"), StartsWith(R"({"error":"parse error at line 1)"));
}

} // namespace
