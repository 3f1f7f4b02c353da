// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Simulated/VELSimulatedPlatform.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// The Mac that the stand-ins for its services answer for: one at a time.
class StandInMac {
public:
    explicit StandInMac(
        std::shared_ptr<VELSimulatedPlatform> mac = std::make_shared<VELSimulatedPlatform>());
    StandInMac(const StandInMac&) = delete;
    StandInMac& operator=(const StandInMac&) = delete;
    ~StandInMac();

    /// The one that there is. Ends the program when there is none.
    static StandInMac& current();

    /// What preferences, registry, disks, mount table, keychain and trust answer from.
    VELSimulatedPlatform& described;

    /// Certificates of a second kind of keychain. Each kind obeys a query's limit by itself.
    std::vector<std::string> furtherCertificates;

    /// What the call of this name answers instead: a new reference to an object of CoreFoundation,
    /// or NULL. Calls: "CFPreferencesCopyValue", "CFPreferencesGetAppIntegerValue" (the stored
    /// object), "IORegistryEntryCreateCFProperty", "SecItemCopyMatching" (with success),
    /// "SecCertificateCopyValues".
    std::map<std::string, std::function<const void*()>> answers;

    /// The counter of the processor. Absent: it follows the real clock.
    std::optional<std::uint64_t> absoluteTime;

    /// Each query of the keychain, its keys by their names on a Mac, data as hexadecimal text.
    std::vector<VELValue> queries;

    /// One call that put a block off.
    struct DeferredBlock {
        std::uint64_t when;   ///< as `dispatch_time` answered it
        std::intptr_t queue;  ///< the global queue's identifier
        std::uintptr_t flags; ///< and its flags
    };
    std::vector<DeferredBlock> deferredBlocks;

    /// The delay of each moment asked of `dispatch_time`, in nanoseconds.
    std::vector<std::int64_t> delays;

    /// What is out and not given back: the types of objects, and "io_object_t" for each port.
    [[nodiscard]] static std::vector<std::string> leftAlive();

private:
    std::shared_ptr<VELSimulatedPlatform> _described;
};
