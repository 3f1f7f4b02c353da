// SPDX-License-Identifier: Apache-2.0
#include "vel_device_trust_described/vel_device_trust_described.h"
#include "vel_device_trust_described/vel_device_trust_described_c.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

constexpr std::string_view description = R"({"productVersion": "14.5", "serialNumber": "C02EXAMPLE",
    "tools": [{"command": ["/usr/libexec/ApplicationFirewall/socketfilterfw", "--getglobalstate"],
               "seconds": 60}]})";

class KeepingLogger final : public VELHostLogger {
public:
    void logMessage(std::string_view message, std::int64_t level, const char*, const char*,
                    std::int32_t) noexcept override {
        lines.push_back(std::to_string(level) + " " + std::string(message));
    }

    std::vector<std::string> lines;
};

/// What a host in C would keep.
struct CHost {
    int messages = 0;
    int releases = 0;

    static void log(void* context, const char*, std::size_t, std::int64_t, const char*, const char*,
                    std::int32_t) {
        ++static_cast<CHost*>(context)->messages;
    }
    static void release(void* context) { ++static_cast<CHost*>(context)->releases; }
};

std::string taken(char* text) {
    const std::string copy = text;
    vel_result_free(text);
    return copy;
}

TEST(DescribedMac, AnswersRequestsInItsOwnTime) {
    std::string error = "unchanged";
    const auto logger = std::make_shared<KeepingLogger>();
    const auto runner = describedMacPostureCheckRunner(description, logger, &error);
    ASSERT_NE(runner, nullptr);
    EXPECT_EQ(error, "unchanged");
    EXPECT_EQ(runner->runPostureCheckFromDocumentString(R"({"mac": [{"type": "localFirewall"}]})"),
              R"({"checks":[{"error":"Error getting firewall state.","type":"localFirewall"}],)"
              R"("metrics":{"details":[{"check":{"total_ms":10000.0,"type":"localFirewall"}}],)"
              R"("total_ms":10000.0},"pass":false})");
    EXPECT_EQ(logger->lines.back().substr(0, 13), "1 Output JSON");
    static_cast<void>(describedMacPostureCheckRunner("{}", nullptr, nullptr)); // stops logging
}

TEST(DescribedMac, HasAnIdentity) {
    const auto runner = describedMacPostureCheckRunner(description, nullptr, nullptr);
    ASSERT_NE(runner, nullptr);
    EXPECT_EQ(
        runner->runPostureCheckFromDocumentString(
            R"({"identity_params": ["device_serial_number"]})"),
        R"({"identity_params":{"device_serial_number":"C02EXAMPLE"},"metrics":{"total_ms":0.0}})");
}

TEST(DescribedMac, SaysWhatIsWrongWithItsDescription) {
    const auto logger = std::make_shared<KeepingLogger>();
    std::string error;
    EXPECT_EQ(describedMacPostureCheckRunner(R"({"mounts": {}})", logger, &error), nullptr);
    EXPECT_EQ(error, "mounts is not a list");
    EXPECT_EQ(describedMacPostureCheckRunner(R"({"mounts": {}})", logger, nullptr), nullptr);
    EXPECT_EQ(logger.use_count(), 1);
}

TEST(DescribedMac, IsARunnerOfTheCInterface) {
    CHost host;
    char* error = nullptr;
    vel_runner* runner = vel_described_runner_create(description.data(), description.size(),
                                                     CHost::log, &host, CHost::release, &error);
    ASSERT_NE(runner, nullptr);
    EXPECT_EQ(error, nullptr);
    const std::string_view request = R"({"identity_params": ["device_serial_number"]})";
    EXPECT_EQ(taken(vel_runner_run(runner, request.data(), request.size(), nullptr)),
              R"({"identity_params":{"device_serial_number":"C02EXAMPLE"},"metrics":)"
              R"({"total_ms":0.0}})");
    EXPECT_GT(host.messages, 0);
    vel_runner_free(runner);

    runner = vel_described_runner_create("{}", 2, nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(host.releases, 1);
    vel_runner_free(runner);
}

TEST(DescribedMac, SaysInCWhatIsWrongWithItsDescription) {
    CHost host;
    char* error = nullptr;
    EXPECT_EQ(
        vel_described_runner_create(R"({"x": 1})", 8, CHost::log, &host, CHost::release, &error),
        nullptr);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(taken(error), R"(unknown key "x")");
    EXPECT_EQ(host.releases, 1);

    error = nullptr;
    EXPECT_EQ(vel_described_runner_create(nullptr, 0, nullptr, nullptr, nullptr, &error), nullptr);
    ASSERT_NE(error, nullptr);
    EXPECT_NE(taken(error), "");
    EXPECT_EQ(vel_described_runner_create("[]", 2, nullptr, nullptr, nullptr, nullptr), nullptr);
}

} // namespace
