// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELPlatform.h"
#include "vel_device_trust/VELPostureCheckItem.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// "joinedToDomain": passes when the machine is bound to an Active Directory domain that one of the
/// wildcard patterns under "names" (an array of strings) fits.
class VELDomainCheck final : public VELPostureCheckItem {
public:
    explicit VELDomainCheck(std::shared_ptr<const VELPlatform> platform);

    [[nodiscard]] std::optional<std::vector<std::string>> requiredParameters() const override;

    /// Throws `std::invalid_argument` when it comes to a pattern that is not a string, or the
    /// patterns are not an array; not when the machine has no domain, or an earlier pattern fits.
    bool runCheckWithParameters(const VELDictionary& parameters,
                                std::optional<VELError>* error) const override;

    /// The domain that the machine is bound to. Returns nullopt if it is bound to none, if the tool
    /// failed (error code 2 or 3), or if the tool's output is not a property list (the error of
    /// `vel::readPropertyList`).
    std::optional<std::string> computerDomainError(std::optional<VELError>* error) const;

    /// The domain in what the tool printed: "Active Directory Domain" of "General Info". Absent: no
    /// such entry, or one that is not a string; not a property list (as above). May be empty.
    static std::optional<std::string> domainInPropertyList(std::string_view output,
                                                           std::optional<VELError>* error);

    /// Whether a pattern holds nothing but letters, marks and numbers of any script and ".*-_". The
    /// empty one is valid.
    static bool isValidDomainWildcardString(std::string_view pattern);

    /// The pattern as a regular expression, without anchors.
    static std::string convertWildcardToRegex(std::string_view pattern);

    /// Whether the pattern is valid and fits anywhere in the domain, ignoring case. The empty
    /// pattern fits nowhere. `error` is never written.
    static bool doesWildcard(std::string_view pattern, std::string_view domain,
                             std::optional<VELError>* error);

private:
    std::shared_ptr<const VELPlatform> _platform;
};
