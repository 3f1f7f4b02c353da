// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/X509/VELX509Certificate.h"

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

/// The certificates of a keychain, found by their subject. Immutable; safe on several threads.
class VELCertificatePool {
public:
    /// Bytes that are no certificate, and equal bytes, do not count.
    explicit VELCertificatePool(const std::vector<std::string>& certificates);

    /// The first certificates with the normalised subject `subject`, in order, without the one
    /// whose DER is `known`, which counts towards `limit`.
    [[nodiscard]] std::vector<std::shared_ptr<const VELX509Certificate>>
    certificatesOf(const std::string& subject, std::size_t limit,
                   std::string_view known = {}) const;

    /// The normalised subjects of the certificates with the normalised issuer `issuer`. They are
    /// valid as long as the pool.
    [[nodiscard]] std::vector<std::string_view> subjectsOf(std::string_view issuer) const;

private:
    // The names are the certificates' own.
    std::multimap<std::string_view, std::shared_ptr<const VELX509Certificate>> _bySubject;
    std::multimap<std::string_view, std::string_view> _subjectsByIssuer;
};

namespace vel::x509 {

/// The normalised names of issuers from which a chain of names leads to the name `wanted`: itself,
/// and those that are at most ten issuers in the pool (which may be null) below it. Names alone
/// count: nothing is verified.
std::set<std::string, std::less<>> issuersLeadingTo(const std::string& wanted,
                                                    const VELCertificatePool* pool);

} // namespace vel::x509
