// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELKeychain.h"

/// The keychains of the calling user, through Security: those in files on the search list, and the
/// one that protects its data by the user's login, which comes first. Asked without a time-out. An
/// answer that is not of the documented form is the status `internalComponent`.
class VELAppleKeychain final : public VELKeychain {
public:
    [[nodiscard]] CertificatesResult certificates(std::size_t limit) const override;
    [[nodiscard]] IdentitiesResult identities(const std::string& issuer) const override;
    [[nodiscard]] AllIdentitiesResult allIdentities() const override;

    /// In the language of the host.
    [[nodiscard]] std::string statusText(VELSecurityStatus status) const override;
};
