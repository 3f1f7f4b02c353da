// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Simulated/VELSimulatedCertificates.h"
#include "Platform/Simulated/VELSimulatedDisks.h"
#include "Platform/Simulated/VELSimulatedFiles.h"
#include "Platform/Simulated/VELSimulatedKeychain.h"
#include "Platform/Simulated/VELSimulatedPreferences.h"
#include "Platform/Simulated/VELSimulatedTask.h"
#include "Platform/Simulated/VELSimulatedTime.h"
#include "Platform/VELPlatform.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// A whole Mac in plain data: what its public members say is what it answers, and it counts what it
/// is asked. It does no input or output. Fill it before it is asked; asking is safe from several
/// threads.
class VELSimulatedPlatform final : public VELPlatform {
public:
    /// Absent: the platform's "absent".
    std::optional<std::string> productVersionRecord;
    std::optional<std::string> hardwareSerialNumber;
    /// How long reading the serial number takes, in virtual time.
    std::chrono::nanoseconds serialNumberDuration{};
    VELSimulatedPreferences preferenceStore;
    VELSimulatedFiles fileStore;
    VELSimulatedDisks disks;
    VELSimulatedKeychain keychainStore;
    VELSimulatedCertificates certificateStore{keychainStore};

    /// The runs of tools. Those with the same command are used up in order; the last one serves
    /// every further run. A command without a run cannot be launched.
    std::vector<VELSimulatedRun> tools;

    /// Whether working places can be made.
    bool workingPlacesAvailable = true;

    /// Time is virtual and each thread has its own.
    VELSimulatedTime time;

    mutable VELSimulatedTaskRecord taskRecord;

    mutable std::atomic<unsigned> ticksCalls = 0;
    mutable std::atomic<unsigned> productVersionCalls = 0;
    mutable std::atomic<unsigned> serialNumberCalls = 0;

    /// Moves the calling thread's time on, and runs the blocks that become due on the way.
    void advanceTime(std::chrono::nanoseconds duration) const;

    [[nodiscard]] VELTimePoint ticks() const override;
    [[nodiscard]] std::optional<std::string> productVersion() const override;
    [[nodiscard]] std::optional<std::string> serialNumber() const override;
    [[nodiscard]] const VELPreferences& preferences() const override;
    [[nodiscard]] const VELFiles& files() const override;
    [[nodiscard]] const VELDiskArbitration& diskArbitration() const override;
    [[nodiscard]] const VELKeychain& keychain() const override;

    [[nodiscard]] const VELCertificates& certificates() const override;
    [[nodiscard]] std::shared_ptr<const VELWorkingPlace> openWorkingPlace() const override;

    /// The launch path is the tool's own.
    [[nodiscard]] std::shared_ptr<VELTask>
    task(std::string_view tool, std::vector<std::string> arguments,
         std::shared_ptr<const VELWorkingPlace> place) const override;
    [[nodiscard]] const VELWorkQueue& workQueue() const override;
};
