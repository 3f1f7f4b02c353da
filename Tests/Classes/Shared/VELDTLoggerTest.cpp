// SPDX-License-Identifier: Apache-2.0
#include "Classes/Shared/VELDTLogger.h"

#include "Tests/Support/AllocationCount.h"
#include "Tests/Support/EngineTest.h"
#include "Tests/Support/LogStatement.h"
#include "vel_device_trust/VELError.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <atomic>
#include <latch>
#include <limits>
#include <string>
#include <thread>

namespace {

constexpr const char* function = "+[Sender send]";

class VELDTLoggerTest : public EngineTest {
protected:
    VELDTLoggerTest() { VELDTLogger::setLogger(logger); }

    /// The message that `format` and the arguments become.
    template <typename... Arguments>
    std::string message(VELLogFormat<std::type_identity_t<Arguments>...> format,
                        const Arguments&... arguments) {
        VELDTLogger::logMessageWithLevel(VELLogLevel::trace, function, format, arguments...);
        const auto lines = logger->take();
        EXPECT_EQ(lines.size(), 1U);
        return lines.empty() ? "nothing was logged" : lines.front().message;
    }
};

/// Counts how often it is described.
struct Described {
    unsigned* count;
    [[nodiscard]] std::string description() const {
        ++*count;
        return "described";
    }
};

TEST_F(VELDTLoggerTest, HandsOnWhatTheCallerPasses) {
    const std::int32_t before = __LINE__;
    VELDTLogger::logMessageWithLevel(std::numeric_limits<std::int64_t>::min(), function,
                                     "Nothing beside");
    const std::int32_t after = __LINE__;
    VELDTLogger::logMessageWithLevel(77, function, "%@", std::string("only"));
    const auto lines = logger->take();
    EXPECT_EQ(lines, (std::vector<LogLine>{
                         {std::numeric_limits<std::int64_t>::min(), "Nothing beside", function},
                         {77, "only", function}}));
    EXPECT_EQ(lines[0].file, "Tests/Classes/Shared/VELDTLoggerTest.cpp");
    EXPECT_GT(lines[0].line, before);
    EXPECT_LT(lines[0].line, after);
    EXPECT_TRUE(standsWhereItSays(lines[0], "Nothing beside"));
    EXPECT_TRUE(standsWhereItSays(lines[1], "%@"));
}

TEST_F(VELDTLoggerTest, Objects) {
    EXPECT_EQ(message("<%@>", std::string("text")), "<text>");
    EXPECT_EQ(message("<%@>", std::string_view("view")), "<view>");
    EXPECT_EQ(message("<%@>", VELError("d", 2, VELValue::object())),
              "<Error Domain=d Code=2 UserInfo={}>");
    unsigned count = 0;
    EXPECT_EQ(message("%@ %@", Described{&count}, Described{&count}), "described described");
    EXPECT_EQ(count, 2U);
}

TEST_F(VELDTLoggerTest, ValuesOfEveryKind) {
    EXPECT_EQ(message("%@", VELValue("a \"b\" \n")), "a \"b\" \n");
    EXPECT_EQ(message("%@", VELValue(nullptr)), "null");
    EXPECT_EQ(message("%@", VELValue(true)), "true");
    EXPECT_EQ(message("%@", VELValue(-1)), "-1");
    EXPECT_EQ(message("%@", VELValue(std::numeric_limits<std::uint64_t>::max())),
              "18446744073709551615");
    EXPECT_EQ(message("%@", VELValue(0.1)), "0.1");
    EXPECT_EQ(message("%@", VELValue::parse(R"([1, "x", null])")), R"([1,"x",null])");
    EXPECT_EQ(message("%@", VELValue::parse(R"({"b": {}, "a": []})")), R"({"a":[],"b":{}})");
    EXPECT_EQ(message("%@", VELValue::array({"\xFF"})), "[\"\uFFFD\"]");
}

TEST_F(VELDTLoggerTest, Bytes) {
    EXPECT_EQ(message("%@", std::vector<std::uint8_t>{0x00, 0x0F, 0xA5, 0xFF}), "000fa5ff");
    EXPECT_EQ(message("<%@>", std::vector<std::uint8_t>{}), "<>");
    const std::array<std::uint8_t, 2> bytes = {0xDE, 0xAD};
    EXPECT_EQ(message("%@", std::span<const std::uint8_t>(bytes)), "dead");
}

TEST_F(VELDTLoggerTest, WhatIsMissing) {
    EXPECT_EQ(message("<%@>", std::optional<std::string>()), "<(null)>");
    EXPECT_EQ(message("<%@>", std::optional<std::string>("")), "<>");
    EXPECT_EQ(message("<%@>", std::optional<VELError>()), "<(null)>");
    EXPECT_EQ(message("<%@>", std::optional<VELError>(VELError("d", 1, VELValue::object()))),
              "<Error Domain=d Code=1 UserInfo={}>");
    const VELValue* none = nullptr;
    EXPECT_EQ(message("<%@>", none), "<(null)>");
    const VELValue null;
    EXPECT_EQ(message("<%@>", &null), "<null>");
    const std::string text = "text";
    EXPECT_EQ(message("<%@>", &text), "<text>");
    const char* noText = nullptr;
    EXPECT_EQ(message("<%s>", noText), "<(null)>");
}

TEST_F(VELDTLoggerTest, NumbersAndTexts) {
    EXPECT_EQ(message("%ld", std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
    EXPECT_EQ(message("%ld", 5L), "5");
    EXPECT_EQ(message("%lu", std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
    EXPECT_EQ(message("%lu", std::size_t{0}), "0");
    EXPECT_EQ(message("%d", std::numeric_limits<std::int32_t>::min()), "-2147483648");
    EXPECT_EQ(message("%hhd %hhd", true, false), "1 0");
    EXPECT_EQ(message("%hhd", static_cast<signed char>(-128)), "-128");
    EXPECT_EQ(message("%s", "literal"), "literal");
    const char* pointer = "pointer";
    EXPECT_EQ(message("%s", pointer), "pointer");
    EXPECT_EQ(message("%s|%s", std::string("string"), std::string_view("view")), "string|view");
    EXPECT_EQ(message("%ldth of %lu: %s%d%@.", 1L, 2UL, "three", 4, std::string("five")),
              "1th of 2: three4five.");
}

TEST_F(VELDTLoggerTest, AnArgumentIsNoFormat) {
    EXPECT_EQ(message("%@ %s", std::string("%@ %ld %n"), "100%"), "%@ %ld %n 100%");
}

TEST_F(VELDTLoggerTest, AMessageIsAlwaysUTF8) {
    EXPECT_EQ(message("<%@>", std::string("a\xFFz")), "<a\uFFFDz>");
    EXPECT_EQ(message("%s", "\xE2\x82"), "\uFFFD\uFFFD");
    EXPECT_EQ(message("%@", VELValue("\xED\xA0\x80")), "\uFFFD\uFFFD\uFFFD");
    EXPECT_EQ(message("%@", VELError("\xC0", 0, {{"k", "\xC1"}})),
              "Error Domain=\uFFFD Code=0 UserInfo={\"k\":\"\uFFFD\"}");
    EXPECT_EQ(message("\u00E9%@", std::string("\0", 1)), std::string("\u00E9\0", 3));
}

TEST_F(VELDTLoggerTest, WithoutALoggerNothingIsFormatted) {
    VELDTLogger::setLogger(nullptr);
    unsigned count = 0;
    const Described described{&count};
    const VELValue document = VELValue::parse(R"({"a": [1, 2, 3]})");
    const std::string text(1000, 'x');
    const std::size_t before = allocationCount();
    for (int round = 0; round < 100; ++round) {
        VELDTLogger::logMessageWithLevel(VELLogLevel::error, function, "%@ %@ %@ %s %ld", described,
                                         document, text, "literal", 5L);
    }
    EXPECT_EQ(allocationCount(), before);
    EXPECT_EQ(count, 0U);

    VELDTLogger::setLogger(logger);
    VELDTLogger::logMessageWithLevel(VELLogLevel::error, function, "%@", described);
    EXPECT_EQ(count, 1U);
    EXPECT_EQ(logger->take().size(), 1U);
    if (allocationsAreCounted()) {
        EXPECT_GT(allocationCount(), before);
    }
}

TEST_F(VELDTLoggerTest, ReplacingReleasesThePreviousLogger) {
    const std::weak_ptr<RecordingLogger> first = [] {
        auto made = std::make_shared<RecordingLogger>();
        VELDTLogger::setLogger(made);
        return std::weak_ptr(made);
    }();
    EXPECT_FALSE(first.expired());
    VELDTLogger::setLogger(nullptr);
    EXPECT_TRUE(first.expired());
}

/// Uses the library while it is told something, and while it goes.
class ReentrantLogger final : public VELHostLogger {
public:
    explicit ReentrantLogger(std::shared_ptr<RecordingLogger> next) : _next(std::move(next)) {}
    ~ReentrantLogger() override {
        VELDTLogger::logMessageWithLevel(VELLogLevel::information, function, "released");
    }

    void logMessage(std::string_view message, std::int64_t, const char*, const char*,
                    std::int32_t) noexcept override {
        VELDTLogger::setLogger(_next);
        VELDTLogger::logMessageWithLevel(VELLogLevel::warning, function, "was told: %@", message);
    }

private:
    std::shared_ptr<RecordingLogger> _next;
};

TEST_F(VELDTLoggerTest, ALoggerMayUseTheLibrary) {
    VELDTLogger::setLogger(std::make_shared<ReentrantLogger>(logger));
    VELDTLogger::logMessageWithLevel(VELLogLevel::trace, function, "first");
    EXPECT_EQ(logger->take(),
              (std::vector<LogLine>{{2, "was told: first", function}, {1, "released", function}}));
    VELDTLogger::setLogger(std::make_shared<ReentrantLogger>(logger));
    VELDTLogger::setLogger(logger);
    EXPECT_EQ(logger->take(), (std::vector<LogLine>{{1, "released", function}}));
}

class CountingLogger final : public VELHostLogger {
public:
    explicit CountingLogger(std::atomic<unsigned>& count) : _count(count) {}
    ~CountingLogger() override { _alive = false; }

    void logMessage(std::string_view message, std::int64_t, const char*, const char*,
                    std::int32_t) noexcept override {
        if (_alive && message == "thread message") {
            ++_count;
        }
    }

private:
    std::atomic<unsigned>& _count;
    bool _alive = true;
};

TEST_F(VELDTLoggerTest, ReplacedWhileEightThreadsLog) {
    constexpr unsigned threadCount = 8;
    constexpr unsigned messagesPerThread = 2'000;
    std::atomic<unsigned> count = 0;
    std::atomic<unsigned> working = threadCount;
    std::latch start(threadCount + 1);
    VELDTLogger::setLogger(std::make_shared<CountingLogger>(count));
    std::vector<std::thread> threads;
    for (unsigned index = 0; index < threadCount; ++index) {
        threads.emplace_back([&] {
            start.arrive_and_wait();
            for (unsigned round = 0; round < messagesPerThread; ++round) {
                VELDTLogger::logMessageWithLevel(VELLogLevel::trace, function, "thread %s",
                                                 "message");
            }
            --working;
        });
    }
    start.arrive_and_wait();
    while (working > 0) {
        VELDTLogger::setLogger(std::make_shared<CountingLogger>(count));
        std::this_thread::yield();
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    // Each message went to one logger, to one that was there.
    EXPECT_EQ(count, threadCount * messagesPerThread);
}

TEST_F(VELDTLoggerTest, SwitchedOffAndOnWhileThreadsLog) {
    std::atomic<unsigned> count = 0;
    std::atomic<bool> done = false;
    std::vector<std::thread> threads;
    for (int index = 0; index < 4; ++index) {
        threads.emplace_back([&] {
            while (!done) {
                VELDTLogger::logMessageWithLevel(VELLogLevel::trace, function, "thread message");
            }
        });
    }
    for (int round = 0; round < 100; ++round) {
        VELDTLogger::setLogger(std::make_shared<CountingLogger>(count));
        std::this_thread::yield();
        VELDTLogger::setLogger(nullptr);
    }
    done = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    const unsigned final = count;
    VELDTLogger::logMessageWithLevel(VELLogLevel::trace, function, "thread message");
    EXPECT_EQ(count, final);
}

} // namespace
