// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Names of issuers and subjects, read from their DER encoding.
namespace vel::x509 {

/// A name's DER in the form in which issuers and subjects are compared: in values of the type
/// PrintableString, ASCII letters in upper case, spaces and tabs removed at both ends and inner
/// runs of them replaced by one space. Everything else stays as it is. Nothing: it is no
/// well-formed name, or has an empty relative name. The empty name is one.
std::optional<std::string> normalizedName(std::string_view name);

/// The text of a string value in UTF-8; one NUL at its end does not count. Nothing: it is of no
/// type of text, not valid in its type, or empty.
std::optional<std::string> textOfValue(std::uint8_t tag, std::string_view content);

/// The common names in the name, in its order; there may be none. Nothing: one has no text, or the
/// name is malformed.
std::optional<std::vector<std::string>> commonNamesOfName(std::string_view name);

/// The e-mail addresses in the name, in its order; one without a text is absent. Empty also when
/// the name is malformed.
std::vector<std::optional<std::string>> emailAddressesOfName(std::string_view name);

/// How many attributes the name has; 0 also when it is malformed.
std::size_t attributeCount(std::string_view name);

/// The short form of a name: its common names, else organizational units, else organizations, else
/// all other texts; those that stand last in the name first, with commas. A description follows a
/// common name in parentheses.
struct NameSummary {
    std::optional<std::string> text;
    bool isCommonName = false;
    std::optional<std::string> emailAddress; ///< the first one in the name
};
NameSummary nameSummary(std::string_view name);

} // namespace vel::x509
