// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// The runner, and the names in identity documents.

#include "vel_device_trust/VELError.h"
#include "vel_device_trust/VELExport.h"
#include "vel_device_trust/VELHostLogger.h"
#include "vel_device_trust/VELPostureCheckItem.h"
#include "vel_device_trust/VELValue.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

class VELPlatform;

/// Top-level key of the identity request and of its result: "identity_params".
extern "C" VEL_EXPORT const char* const kIDParams;
/// Name of the hardware serial number in an identity request and its result:
/// "device_serial_number".
extern "C" VEL_EXPORT const char* const kMacSerialNumberKey;
/// Name of the device identifier in an identity request and its result: "device_id".
extern "C" VEL_EXPORT const char* const kDeviceIDKey;

/// The catalogue of a runner: check type name to the one object that serves it.
using VELPostureCheckCatalogue =
    std::map<std::string, std::shared_ptr<const VELPostureCheckItem>, std::less<>>;

/// Takes a request document, runs the checks that it lists, and returns the result document.
///
///     auto runner = VELPostureCheckRunner::macPostureCheckRunner(nullptr);
///     std::string result = runner->runPostureCheckFromDocumentString(
///         R"({"mac": [{"type": "minimumOSVersion", "version": "12.0"}]})");
///
/// A runner is immutable. Its operations run on the caller's thread, one check after another, and
/// may be called from several threads at once.
///
/// Documents are JSON in UTF-8. An invalid request, or a result that cannot be written, gives the
/// error result: an object with the single key "error". The document operations only throw if
/// memory runs out, or if a check throws something that is not derived from `std::exception`.
class VEL_EXPORT VELPostureCheckRunner {
public:
    /// A new runner for this machine with all check types of the library, whose requests list
    /// their checks under "mac". `logger` becomes the logger of the whole process, also for earlier
    /// runners; null switches logging off.
    [[nodiscard]] static std::unique_ptr<VELPostureCheckRunner>
    macPostureCheckRunner(std::shared_ptr<VELHostLogger> logger);

    /// A runner with the host's own catalogue. `platformIdentifier` is the top-level key under
    /// which its requests list their checks. `logger` as for `macPostureCheckRunner`. A null check
    /// object counts as a type that is not in the catalogue.
    VELPostureCheckRunner(std::string platformIdentifier, VELPostureCheckCatalogue postureChecks,
                          std::shared_ptr<VELHostLogger> logger);

    VELPostureCheckRunner(const VELPostureCheckRunner&) = delete;
    VELPostureCheckRunner& operator=(const VELPostureCheckRunner&) = delete;
    ~VELPostureCheckRunner();

    /// Runs the request and returns its result, both UTF-8 JSON.
    [[nodiscard]] std::string runPostureCheckFromDocumentString(std::string_view document) const;

    /// The same in bytes.
    [[nodiscard]] std::vector<std::uint8_t>
    runPostureCheckFromDocument(std::span<const std::uint8_t> document) const;

    /// Runs a parsed device-trust request and returns its result as a dictionary. Throws
    /// `std::invalid_argument`, before any check runs, when the request is malformed.
    [[nodiscard]] VELDictionary
    runDeviceTrustCheckFromDictionary(const VELDictionary& request) const;

    /// Answers a parsed identity request. Returns the empty dictionary if it has no
    /// "identity_params". Throws `std::invalid_argument`, before anything is read, if the request
    /// is malformed.
    [[nodiscard]] VELDictionary
    runGetIdentityParametersFromDictionary(const VELDictionary& request) const;

    /// Runs one check and returns whether the device passes it; if `error` was set, it has not
    /// passed. `type` is the entry's type name (null: it has none), `checkParams` the whole entry.
    /// An unknown type and a missing parameter are errors. Exceptions of the check reach the
    /// caller.
    bool runCheck(const VELValue* type, const VELDictionary& checkParams,
                  std::optional<VELError>* error) const;

    /// The error result with `message` (UTF-8; invalid bytes are replaced), as bytes; it is logged
    /// at level 3.
    [[nodiscard]] std::vector<std::uint8_t> errorResult(std::string_view message) const;

    /// Seconds since an arbitrary fixed origin, from a monotonic clock with nanosecond resolution.
    [[nodiscard]] double getTimestamp() const;

private:
    friend class VELPlatformRunnerFactory;

    // Answers an identity request that is not malformed. It comes with the catalogue.
    using IdentityProcedure = VELDictionary (*)(const VELDictionary& request,
                                                const VELPlatform& platform);

    VELPostureCheckRunner(std::string platformIdentifier, VELPostureCheckCatalogue postureChecks,
                          IdentityProcedure collectIdentity, std::shared_ptr<VELHostLogger> logger,
                          std::shared_ptr<const VELPlatform> platform);

    [[nodiscard]] std::string runDocument(std::string_view document) const;
    [[nodiscard]] std::string errorDocument(std::string_view message) const;
    [[nodiscard]] VELDictionary runChecks(VELDictionary request) const;

    std::string _platformIdentifier;
    VELPostureCheckCatalogue _postureChecks;
    IdentityProcedure _collectIdentity;
    std::shared_ptr<const VELPlatform> _platform;
};
