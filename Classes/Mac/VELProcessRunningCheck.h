// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Base/VELProcessListing.h"
#include "Platform/VELPlatform.h"
#include "vel_device_trust/VELPostureCheckItem.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// "anyProcessRunning": passes when one of the processes under "processes" (an array of objects) is
/// running: one whose name ends with "name" (a string), ignoring case, and whose leaf signing
/// certificate carries the subject organisational unit "signingCertificateSubjectOU" (a string),
/// when that is given.
class VELProcessRunningCheck final : public VELPostureCheckItem {
public:
    explicit VELProcessRunningCheck(std::shared_ptr<const VELPlatform> platform);

    [[nodiscard]] std::optional<std::vector<std::string>> requiredParameters() const override;

    /// Throws `std::invalid_argument` when it comes to a parameter of the wrong type.
    bool runCheckWithParameters(const VELDictionary& parameters,
                                std::optional<VELError>* error) const override;

    /// Whether an entry of `processes` is satisfied; the first that is decides, and clears `error`.
    /// Always false if `error` already holds an error. Errors: code 6 for an entry without
    /// "name", which ends the search; code 8 for a running process that has another signer or
    /// whose signature cannot be read; codes 2 and 3 for a tool that failed. Throws
    /// `std::invalid_argument` for a parameter of the wrong type, at its first use.
    bool isAnyValidProcessRunning(const VELArray& processes, std::optional<VELError>* error) const;

    /// Whether a process of that name is in the listing and, when an OU is given, is signed with
    /// it; then `error` is cleared. Each process is examined until one is, in the order of the
    /// listing; but while `error` holds an error, no signature can be read.
    bool isProcessRunningWithName(std::string_view name,
                                  const std::optional<std::string>& signingCertificateSubjectOU,
                                  std::string_view psOutput, std::optional<VELError>* error) const;

    /// The IDs of the processes of that name, in the order of the listing, as
    /// `vel::ProcessListing::processIDs`.
    static std::vector<std::int64_t> processIDsForProcessWithName(std::string_view name,
                                                                  std::string_view psOutput);

    /// The OU of the leaf signing certificate of a process. Absent: a tool failed (error code 2 or
    /// 3); or `error` holds an error already; or the certificate has no OU.
    std::optional<std::string> signingCertSubjectOUForProcess(std::int64_t processID,
                                                              std::optional<VELError>* error) const;

    /// The OU in a subject line whose attributes are introduced by slashes: the text between the
    /// first "/OU=" and the next slash; may be empty. Absent: no "/OU=", or no slash after it.
    static std::optional<std::string> subjectOUInSubjectLine(std::string_view line);

private:
    struct Entry;

    [[nodiscard]] bool isRunning(const Entry& entry, const vel::ProcessListing& listing,
                                 std::optional<VELError>* error) const;
    std::optional<std::string> run(const char* tool, std::vector<std::string> arguments,
                                   std::shared_ptr<const VELWorkingPlace> place,
                                   std::optional<VELError>* error) const;

    std::shared_ptr<const VELPlatform> _platform;
};
