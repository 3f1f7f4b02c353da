// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tests/Platform/Apple/AppleOnStandIns.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// The Mac's platform over the stand-ins, but for tools, queue and clock: those are the described
/// Mac's own, whose time is virtual.
class AppleInVirtualTime final : public VELPlatform {
public:
    explicit AppleInVirtualTime(std::shared_ptr<VELSimulatedPlatform> described)
        : machine(std::move(described)) {
        machine.writeFiles();
    }

    AppleOnStandIns machine;

    [[nodiscard]] VELTimePoint ticks() const override { return described().ticks(); }
    [[nodiscard]] std::optional<std::string> productVersion() const override {
        return apple().productVersion();
    }
    [[nodiscard]] std::optional<std::string> serialNumber() const override {
        return apple().serialNumber();
    }
    [[nodiscard]] const VELPreferences& preferences() const override {
        return apple().preferences();
    }
    [[nodiscard]] const VELFiles& files() const override { return apple().files(); }
    [[nodiscard]] const VELDiskArbitration& diskArbitration() const override {
        return apple().diskArbitration();
    }
    [[nodiscard]] const VELKeychain& keychain() const override { return apple().keychain(); }
    [[nodiscard]] const VELCertificates& certificates() const override {
        return apple().certificates();
    }
    [[nodiscard]] std::shared_ptr<const VELWorkingPlace> openWorkingPlace() const override {
        return described().openWorkingPlace();
    }
    [[nodiscard]] std::shared_ptr<VELTask>
    task(std::string_view tool, std::vector<std::string> arguments,
         std::shared_ptr<const VELWorkingPlace> place) const override {
        return described().task(tool, std::move(arguments), std::move(place));
    }
    [[nodiscard]] const VELWorkQueue& workQueue() const override { return described().workQueue(); }

private:
    [[nodiscard]] const VELPlatform& apple() const { return machine.platform(); }
    [[nodiscard]] const VELPlatform& described() const { return machine.mac.described; }
};
