// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

/// The extensions of a certificate, in the forms that the platform reads
/// (Documentation/certificate-forms.md).
namespace vel::x509 {

struct BasicConstraints {
    bool isAuthority = false;
    std::optional<std::uint32_t> pathLength;
};

/// A name constraints extension: the contents of its two lists of subtrees, empty when absent.
struct NameSubtrees {
    std::string_view permitted;
    std::string_view excluded;
    bool isCritical = false;
};

/// What the evaluation of a chain needs of a certificate's extensions. An extension that cannot be
/// read is as if absent, beside `hasUnreadable`.
struct CertificateExtensions {
    bool hasUnreadable = false; ///< a known extension that is not critical has another form
    bool hasDuplicate = false;
    bool hasUnknownCritical = false;
    std::optional<BasicConstraints> basicConstraints;
    /// Bit n is the named bit n: digitalSignature is bit 0, keyCertSign bit 5.
    std::optional<std::uint16_t> keyUsage;
    std::string_view subjectKeyIdentifier;   ///< empty when absent
    std::string_view authorityKeyIdentifier; ///< empty when absent
    std::string_view alternativeNames;       ///< the general names; empty when absent
    bool hasCriticalAlternativeNames = false;
    std::optional<NameSubtrees> nameSubtrees;
};

inline constexpr unsigned keyCertSign = 5;

/// Reads the content of the list of extensions. Nothing: it is malformed or empty, or a known
/// critical extension cannot be read.
std::optional<CertificateExtensions> certificateExtensions(std::string_view list);

} // namespace vel::x509
