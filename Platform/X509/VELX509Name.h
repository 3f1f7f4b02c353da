// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Certificates and names read from their DER encoding alone: no key is decoded and nothing is
/// verified.
namespace vel::x509 {

/// Where the parts of a certificate stand, each with its tag and length.
struct CertificateParts {
    std::string_view whole; ///< the certificate itself, without bytes that follow it
    std::string_view issuer;
    std::string_view subject;
    /// The content of the list of extensions; empty when there is none.
    std::string_view extensions;
};

/// The parts of the certificate at the start of `bytes`. Nothing: there is no well-formed one.
std::optional<CertificateParts> certificateParts(std::string_view bytes);

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

/// The common names of the subject of the certificate at the start of `bytes`. Nothing also when it
/// is none.
std::optional<std::vector<std::string>> commonNamesOfCertificate(std::string_view bytes);

/// What a name says shortly: its common names, else organizational units, else organizations, else
/// all other texts; those that stand last in the name first, with commas. A description follows a
/// common name in parentheses.
struct NameSummary {
    std::optional<std::string> text;
    bool isCommonName = false;
    std::optional<std::string> emailAddress; ///< the first one in the name
};
NameSummary nameSummary(std::string_view name);

/// Whether the list of extensions is well formed and has each type once.
enum class ExtensionList { wellFormed, malformed, duplicate };
ExtensionList extensionList(std::string_view extensions);

} // namespace vel::x509
