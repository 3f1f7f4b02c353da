// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tools/vel-posture/CommandLine.h"
#include "vel_device_trust/VELValue.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// A kind of finding. The codes are stable: scripts and configurations may name them.
struct FindingRule {
    std::string_view code;
    Severity severity;

    friend bool operator==(const FindingRule&, const FindingRule&) = default;
};

/// Errors can never work, warnings are likely mistakes.
namespace rule {
inline constexpr FindingRule noChecks{"no-checks", Severity::error};
inline constexpr FindingRule misnamedChecks{"misnamed-checks", Severity::error};
inline constexpr FindingRule ignoredChecks{"ignored-checks", Severity::error};
inline constexpr FindingRule refusedRequest{"refused-request", Severity::error};
inline constexpr FindingRule unknownType{"unknown-type", Severity::error};
inline constexpr FindingRule missingKey{"missing-key", Severity::error};
inline constexpr FindingRule wrongType{"wrong-type", Severity::error};
inline constexpr FindingRule neverPasses{"never-passes", Severity::error};
inline constexpr FindingRule unusableCertificate{"unusable-certificate", Severity::error};
inline constexpr FindingRule alwaysPasses{"always-passes", Severity::warning};
inline constexpr FindingRule broadPattern{"broad-pattern", Severity::warning};
inline constexpr FindingRule oddVersion{"odd-version", Severity::warning};
inline constexpr FindingRule oddName{"odd-name", Severity::warning};
inline constexpr FindingRule oddSigner{"odd-signer", Severity::warning};
inline constexpr FindingRule oddCertificate{"odd-certificate", Severity::warning};
inline constexpr FindingRule noEffect{"no-effect", Severity::warning};
inline constexpr FindingRule duplicateKey{"duplicate-key", Severity::warning};
inline constexpr FindingRule unreadKey{"unread-key", Severity::warning};
inline constexpr FindingRule resultKey{"result-key", Severity::warning};
inline constexpr FindingRule unknownIdentityValue{"unknown-identity-value", Severity::warning};
inline constexpr FindingRule emptyList{"empty-list", Severity::warning};
inline constexpr FindingRule repetition{"repetition", Severity::note};
inline constexpr FindingRule otherPlatform{"other-platform", Severity::note};
inline constexpr FindingRule moreFindings{"more-findings", Severity::error};
} // namespace rule

/// A likely mistake in a request. Control and format characters in its texts are escaped.
struct Finding {
    /// A path into the request, such as "mac[0].sha1".
    std::string place;
    /// Goes on from the place: "is empty: no certificate matches".
    std::string problem;
    std::string advice;
    FindingRule rule = rule::moreFindings;
    /// In the document, from 1; a column is a character. 0: not known.
    std::size_t line = 0;
    std::size_t column = 0;

    friend bool operator==(const Finding&, const Finding&) = default;
};

/// Where a value stands in a request, written as the library's own error texts write it:
/// "mac[2].processes[0].name". A key that is no plain name stands in brackets and quotes. What is
/// very long or very deep is cut short.
class Place {
public:
    Place() = default;

    [[nodiscard]] Place key(std::string_view name) const;
    [[nodiscard]] Place element(std::size_t index) const;
    [[nodiscard]] const std::string& text() const { return _text; }

private:
    [[nodiscard]] Place below(std::string_view text) const;

    std::string _text;
    std::size_t _depth = 0;
};

/// Findings in the order in which they were made. Of a great many the first ones are kept, and the
/// last finding then says how many are not.
class FindingList {
public:
    static constexpr std::size_t maximum = 1000;

    void add(const FindingRule& rule, const Place& place, std::string problem, std::string advice);

    [[nodiscard]] std::vector<Finding> take();

private:
    std::vector<Finding> _findings;
    std::size_t _dropped = 0;
};

/// What findings say of a request's own texts and values.
namespace finding {

/// `text` in quotes, as a terminal can show it, cut short.
std::string quoted(std::string_view text);

/// What kind of value this is: "a string", "null".
std::string_view kindOf(const VELValue& value);

/// "is a number, not a string".
std::string wrongKind(const VELValue& value, std::string_view wanted);

/// The different characters of `characters`, the first three by name or in quotes: `colons and
/// "g"`.
std::string charactersIn(std::u32string_view characters);

/// That the entry ends in an error with this text: `: the entry is an error ("...")`.
std::string entryIsAnError(std::string_view text);

/// "a, b and c".
std::string listed(const std::vector<std::string>& names);

/// `did you mean "name"?`
std::string didYouMean(std::string_view name);

} // namespace finding
