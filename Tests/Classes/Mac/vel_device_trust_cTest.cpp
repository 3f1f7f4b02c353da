// SPDX-License-Identifier: Apache-2.0
#include "vel_device_trust/vel_device_trust_c.h"

#include "Classes/Mac/VELRunnerHandle.h"
#include "Tests/Support/AllocationCount.h"
#include "Tests/Support/EngineTest.h"
#include "vel_device_trust/vel_device_trust.h"

#include <cstring>
#include <thread>

namespace {

const std::string emptyResult =
    R"({"checks":[],"metrics":{"details":[],"total_ms":0.0},"pass":true})";

/// What a host in C would keep: the messages, and how often its context was given back.
struct Host {
    std::vector<LogLine> lines;
    int releases = 0;

    static void log(void* context, const char* message, size_t length, int64_t level,
                    const char* file, const char* function, int32_t line) {
        static_cast<Host*>(context)->lines.push_back(
            {level, std::string(message, length), function, file, line});
    }

    static void release(void* context) { ++static_cast<Host*>(context)->releases; }
};

std::string run(const vel_runner* runner, std::string_view request) {
    size_t length = 0;
    char* result = vel_runner_run(runner, request.data(), request.size(), &length);
    EXPECT_EQ(std::strlen(result), length);
    std::string text(result, length);
    vel_result_free(result);
    return text;
}

class CInterface : public EngineTest {
protected:
    [[nodiscard]] vel_runner runnerRaising(auto exception) const {
        return {runnerWith({{"raise", raising(exception)}})};
    }

    static constexpr std::string_view raiseRequest = R"({"mac": [{"type": "raise"}]})";
};

TEST_F(CInterface, RunsARequest) {
    const vel_runner runner{macRunner()};
    EXPECT_EQ(run(&runner, R"({"mac": []})"), emptyResult);
    EXPECT_EQ(run(&runner, R"({"identity_params": ["device_id"]})"),
              R"({"identity_params":{"device_id":""},"metrics":{"total_ms":0.0}})");
}

TEST_F(CInterface, AnswersForThisMachine) {
    vel_runner* runner = vel_runner_create(nullptr, nullptr, nullptr);
    const auto result = json(run(runner, R"({"mac": [{"type": "localfirewall"}]})"));
    EXPECT_EQ(result["checks"][0]["error"], "Unknown posture check type: localfirewall.");
    vel_runner_free(runner);
}

TEST_F(CInterface, TakesALengthOfNothing) {
    const vel_runner runner{macRunner()};
    char* result = vel_runner_run(&runner, R"({"mac": []} and more)", 11, nullptr);
    EXPECT_EQ(result, emptyResult);
    vel_result_free(result);
}

TEST_F(CInterface, WhatIsNoRequestIsAnErrorResult) {
    const vel_runner runner{macRunner()};
    for (const auto& [request, length] :
         {std::pair<const char*, size_t>{nullptr, 0}, std::pair<const char*, size_t>{"{}", 0}}) {
        char* result = vel_runner_run(&runner, request, length, nullptr);
        EXPECT_EQ(json(result), json(run(&runner, "")));
        EXPECT_EQ(json(result).size(), 1);
        EXPECT_TRUE(json(result)["error"].is_string());
        vel_result_free(result);
    }
    EXPECT_EQ(run(&runner, R"({"mac": {}})"), R"({"error":"mac is not an array"})");
    using namespace std::string_view_literals;
    EXPECT_TRUE(json(run(&runner, "{}\0"sv)).contains("error"));
}

TEST_F(CInterface, NullArgumentsAreErrorResults) {
    const vel_runner runner{macRunner()};
    size_t length = 0;
    char* result = vel_runner_run(&runner, nullptr, 1, &length);
    EXPECT_STREQ(result, R"({"error":"the request is null"})");
    EXPECT_EQ(length, 31);
    vel_result_free(result);

    result = vel_runner_run(nullptr, "{}", 2, &length);
    EXPECT_STREQ(result, R"({"error":"the runner is null"})");
    EXPECT_EQ(length, 30);
    vel_result_free(result);

    vel_result_free(nullptr);
    vel_runner_free(nullptr);
}

TEST_F(CInterface, AnExceptionOfAnyKindIsAnErrorResult) {
    const vel_runner runner = runnerRaising(42);
    logger->take();
    EXPECT_EQ(run(&runner, raiseRequest),
              R"({"error":"a check raised an exception of an unknown kind"})");
    const auto lines = logger->take();
    EXPECT_EQ(lines.back(), (LogLine{3, "Error: a check raised an exception of an unknown kind",
                                     "-[VELPostureCheckRunner errorResult:]"}));
}

TEST_F(CInterface, AnExceptionThatTheRunnerContainsStaysAtItsEntry) {
    const vel_runner runner = runnerRaising(std::runtime_error("out of order"));
    EXPECT_EQ(json(run(&runner, raiseRequest))["checks"],
              json(R"([{"type": "raise", "error": "out of order"}])"));
}

TEST_F(CInterface, HandsMessagesToTheHost) {
    Host host;
    vel_runner* runner = vel_runner_create(Host::log, &host, Host::release);
    EXPECT_EQ(run(runner, R"({"mac": []})"), emptyResult);
    const char* const function = "-[VELPostureCheckRunner runDeviceTrustCheckFromDictionary:]";
    EXPECT_EQ(host.lines, (std::vector<LogLine>{
                              {VEL_LOG_INFORMATION, R"(Input JSON {"mac":[]})", function},
                              {VEL_LOG_INFORMATION, "Output JSON " + emptyResult, function},
                          }));
    for (const LogLine& line : host.lines) {
        EXPECT_EQ(line.file, "Classes/Shared/VELPostureCheckRunner.cpp");
        EXPECT_GT(line.line, 0);
    }
    vel_runner_free(runner);
    VELDTLogger::setLogger(nullptr);
}

TEST_F(CInterface, GivesTheContextBackOnceWhenTheLoggerIsReplaced) {
    Host first;
    Host second;
    vel_runner* runner = vel_runner_create(Host::log, &first, Host::release);
    vel_runner_free(runner);
    EXPECT_EQ(first.releases, 0) << "the logger outlives its runner";

    runner = vel_runner_create(Host::log, &second, Host::release);
    EXPECT_EQ(first.releases, 1);
    run(runner, R"({"mac": []})");
    EXPECT_EQ(first.lines, std::vector<LogLine>());
    EXPECT_EQ(second.lines.size(), 2);

    vel_runner_free(vel_runner_create(nullptr, nullptr, nullptr));
    EXPECT_EQ(second.releases, 1) << "no logger switches logging off";
    run(runner, R"({"mac": []})");
    EXPECT_EQ(second.lines.size(), 2);
    vel_runner_free(runner);
    EXPECT_EQ(first.releases, 1);
    EXPECT_EQ(second.releases, 1);
}

TEST_F(CInterface, GivesTheContextBackAtOnceWithoutALogger) {
    Host host;
    vel_runner_free(vel_runner_create(nullptr, &host, Host::release));
    EXPECT_EQ(host.releases, 1);
}

TEST_F(CInterface, AHostThatThrowsFromItsLoggerLosesTheMessageAlone) {
    vel_runner* runner = vel_runner_create(
        [](void*, const char*, size_t, int64_t, const char*, const char*, int32_t) { throw 1; },
        nullptr, nullptr);
    EXPECT_EQ(run(runner, R"({"mac": []})"), emptyResult);
    vel_runner_free(runner);
}

TEST_F(CInterface, ServesSeveralThreads) {
    vel_runner* runner = vel_runner_create(nullptr, nullptr, nullptr);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([runner] {
            for (int round = 0; round < 50; ++round) {
                EXPECT_EQ(run(runner, R"({"mac": []})"), emptyResult);
                vel_runner_free(vel_runner_create(nullptr, nullptr, nullptr));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    vel_runner_free(runner);
}

TEST_F(CInterface, NamesItsVersion) {
    EXPECT_EQ("vel_device_trust " + std::string(vel_version()), vel_device_trustVersionString);
}

// ---- no more memory, at each allocation in turn

TEST_F(CInterface, NoMemoryForARunnerIsNoRunner) {
    if (!allocationsAreCounted()) {
        GTEST_SKIP() << "this build counts no allocations";
    }
    for (std::size_t successes = 0;; ++successes) {
        ASSERT_LT(successes, 1000);
        Host host;
        vel_runner* runner = nullptr;
        {
            const AllocationFailure failure(successes);
            runner = vel_runner_create(Host::log, &host, Host::release);
        }
        if (runner != nullptr) {
            EXPECT_GT(successes, 10);
            vel_runner_free(runner);
            VELDTLogger::setLogger(nullptr);
            EXPECT_EQ(host.releases, 1);
            break;
        }
        EXPECT_EQ(host.releases, 1) << "after " << successes << " allocations";
    }
}

TEST_F(CInterface, NoMemoryForALargeDocumentIsAnErrorResult) {
    if (!allocationsAreCounted()) {
        GTEST_SKIP() << "this build counts no allocations";
    }
    const vel_runner runner{VELPlatformRunnerFactory::macPostureCheckRunner(nullptr, platform)};
    constexpr std::size_t large = 1'000'000;
    const std::string request = R"({"mac": [{"type": ")" + std::string(large, 'x') + R"("}]})";
    const std::string result = run(&runner, request);
    ASSERT_EQ(json(result)["pass"], false);

    int failures = 0;
    std::string answer;
    for (std::size_t successes = 0; answer != result; ++successes) {
        ASSERT_LT(successes, 100);
        size_t length = 0;
        char* text = nullptr;
        {
            const AllocationFailure failure(successes, large);
            text = vel_runner_run(&runner, request.data(), request.size(), &length);
        }
        answer.assign(text, length);
        vel_result_free(text);
        if (answer == R"({"error":"out of memory"})") {
            ++failures;
        } else if (answer != result) {
            // Memory ran out inside the check, whose entry then says so.
            EXPECT_EQ(json(answer)["pass"], false);
            EXPECT_EQ(json(answer)["checks"][0]["error"], "std::bad_alloc");
        }
    }
    EXPECT_GT(failures, 2);
}

} // namespace
