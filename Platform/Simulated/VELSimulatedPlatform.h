// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Simulated/VELSimulatedDisks.h"
#include "Platform/Simulated/VELSimulatedKeychain.h"
#include "Platform/Simulated/VELSimulatedTask.h"
#include "Platform/Simulated/VELSimulatedTime.h"
#include "Platform/VELPlatform.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Preferences in plain data, and how often they were asked.
class VELSimulatedPreferences final : public VELPreferences {
public:
    /// Application ID to key to value.
    using Store = std::map<std::string, std::map<std::string, VELValue, std::less<>>, std::less<>>;

    Store machine;
    Store user;

    mutable std::atomic<unsigned> copyValueCalls = 0;
    mutable std::atomic<unsigned> appIntegerValueCalls = 0;

    [[nodiscard]] std::optional<VELValue> copyValue(std::string_view key,
                                                    std::string_view applicationID,
                                                    VELPreferencesScope scope) const override;

    /// Looks for the user first, then machine-wide.
    [[nodiscard]] IntegerValue appIntegerValue(std::string_view key,
                                               std::string_view applicationID) const override;
};

/// A whole Mac in plain data: what its public members say is what it answers, and it counts what it
/// is asked. It does no input or output. Fill it before it is asked; asking is safe from several
/// threads.
class VELSimulatedPlatform final : public VELPlatform {
public:
    /// Absent: the platform's "absent".
    std::optional<std::string> productVersionRecord;
    std::optional<std::string> hardwareSerialNumber;
    /// How long reading the serial number takes, in virtual nanoseconds.
    std::uint64_t serialNumberDuration = 0;
    VELSimulatedPreferences preferenceStore;
    VELSimulatedFiles fileStore;
    VELSimulatedDisks disks;
    VELSimulatedKeychain keychainStore;

    /// The runs of tools. Those with the same command are used up in order; the last one serves
    /// every further run. A command without a run can not be launched.
    std::vector<VELSimulatedRun> tools;

    /// Time is virtual and each thread has its own.
    VELSimulatedTime time;

    mutable VELSimulatedTaskRecord taskRecord;

    mutable std::atomic<unsigned> ticksCalls = 0;
    mutable std::atomic<unsigned> productVersionCalls = 0;
    mutable std::atomic<unsigned> serialNumberCalls = 0;

    /// Moves the calling thread's time on, and runs the blocks that become due on the way.
    void advanceTime(std::uint64_t nanoseconds) const;

    [[nodiscard]] std::uint64_t ticks() const override;
    [[nodiscard]] std::optional<std::string> productVersion() const override;
    [[nodiscard]] std::optional<std::string> serialNumber() const override;
    [[nodiscard]] const VELPreferences& preferences() const override;
    [[nodiscard]] const VELFiles& files() const override;
    [[nodiscard]] const VELDiskArbitration& diskArbitration() const override;
    [[nodiscard]] const VELKeychain& keychain() const override;

    /// The tool's own path.
    [[nodiscard]] std::string toolPath(std::string_view tool) const override;
    [[nodiscard]] std::shared_ptr<VELTask> task(std::string launchPath,
                                                std::vector<std::string> arguments) const override;
    [[nodiscard]] const VELWorkQueue& workQueue() const override;
};
