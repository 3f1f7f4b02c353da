// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/check/JSONLogFile.h"

#include "Tests/Support/FileContent.h"
#include "Tests/Support/KeptDocuments.h"
#include "Tests/Support/RegularExpression.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Tools/vel-posture/ProgramFailure.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sys/stat.h>

#include <sstream>
#include <thread>

namespace {

/// Times as T, after a look at their form.
std::string withoutTimes(const std::string& log) {
    std::istringstream lines(log);
    for (std::string line; std::getline(lines, line);) {
        keepDocument("log-line", line);
    }
    return replacedAll(log, R"("\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z")", "T");
}

TEST(JSONLogFile, WritesALineAtOnce) {
    const TemporaryFolder folder;
    const std::string path = folder.path() + "/log";
    JSONLogFile log(path, "r1", 0);
    log.logMessage("say \"é\"\n\x1b", 1, "Classes/A.cpp", "-[A b]", 12);
    EXPECT_EQ(withoutTimes(contentOf(path)),
              "{\"level\":1,\"message\":\"say \\\"é\\\"\\n\\u001b\",\"file\":"
              "\"Classes/A.cpp\",\"function\":\"-[A b]\",\"line\":12,\"time\":T,\"run\":\"r1\"}\n");
    EXPECT_EQ(log.failure(), "");
    EXPECT_FALSE(log.isStandardError());
}

TEST(JSONLogFile, AppendsAndKeepsANewFilePrivate) {
    const TemporaryFolder folder;
    const std::string path = folder.path() + "/log";
    JSONLogFile(path, "r1", 0).logMessage("a", 0, "f", "g", 1);
    JSONLogFile(path, "r1", 0).logMessage("b", 3, "f", "g", 2);
    EXPECT_EQ(withoutTimes(contentOf(path)),
              "{\"level\":0,\"message\":\"a\",\"file\":\"f\",\"function\":\"g\",\"line\":1,"
              "\"time\":T,\"run\":\"r1\"}\n"
              "{\"level\":3,\"message\":\"b\",\"file\":\"f\",\"function\":\"g\",\"line\":2,"
              "\"time\":T,\"run\":\"r1\"}\n");
    struct stat status {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST(JSONLogFile, LeavesOutWhatIsBelowTheLevel) {
    const TemporaryFolder folder;
    const std::string path = folder.path() + "/log";
    JSONLogFile log(path, "r1", 2);
    for (std::int64_t level = 0; level < 4; ++level) {
        log.logMessage("m", level, "f", "g", 1);
    }
    EXPECT_EQ(withoutTimes(contentOf(path)),
              "{\"level\":2,\"message\":\"m\",\"file\":\"f\",\"function\":\"g\",\"line\":1,"
              "\"time\":T,\"run\":\"r1\"}\n"
              "{\"level\":3,\"message\":\"m\",\"file\":\"f\",\"function\":\"g\",\"line\":1,"
              "\"time\":T,\"run\":\"r1\"}\n");
}

TEST(JSONLogFile, SaysWhyItCannotBeOpened) {
    try {
        const JSONLogFile log("/nowhere/log", "r", 0);
        FAIL();
    } catch (const ProgramFailure& failure) {
        EXPECT_STREQ(failure.what(),
                     "cannot open the log \"/nowhere/log\": No such file or directory");
    }
}

TEST(JSONLogFile, RemembersAFailedWrite) {
    JSONLogFile log("/dev/full", "r", 0);
    EXPECT_EQ(log.failure(), "");
    log.logMessage("a", 1, "f", "g", 1);
    EXPECT_EQ(log.failure(), "cannot write the log \"/dev/full\": No space left on device");
}

TEST(JSONLogFile, KeepsLinesOfSeveralThreadsWhole) {
    const TemporaryFolder folder;
    const std::string path = folder.path() + "/log";
    constexpr int linesPerThread = 100;
    {
        JSONLogFile log(path, "r1", 0);
        const auto write = [&log](std::int64_t level) {
            for (int line = 0; line < linesPerThread; ++line) {
                log.logMessage(std::string(5000, 'm'), level, "f", "g", line);
            }
        };
        std::thread other(write, 0);
        write(1);
        other.join();
    }
    std::istringstream lines(contentOf(path));
    std::array<int, 2> next{};
    for (std::string line; std::getline(lines, line);) {
        const auto object = nlohmann::json::parse(line);
        EXPECT_EQ(object.at("line").get<int>(), next.at(object.at("level").get<std::size_t>())++);
    }
    EXPECT_EQ(next, (std::array<int, 2>{linesPerThread, linesPerThread}));
}

} // namespace
