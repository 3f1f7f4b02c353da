// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/X509/VELX509Keychain.h"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vel {

/// What the keychain helper printed: the DER of all certificates, and of each whether it is an
/// identity.
struct TokenContents {
    std::vector<std::string> certificates;
    std::vector<bool> isIdentity;
};

/// Nothing when the text is not whole and well formed.
std::optional<TokenContents> readTokenContents(std::string_view text);

} // namespace vel

/// The user's PKCS#11 tokens as keychains, read by a helper program: a module that hangs or crashes
/// costs the helper. A helper that cannot be started is the status of no keychain; one that fails,
/// that of an internal component; one that takes too long, that of a time-out.
class VELLinuxKeychain final : public VELX509Keychain {
public:
    struct Helper {
        std::string path; ///< empty: the one of this installation, looked for when it is asked
        std::vector<std::string> arguments = {};
        /// The helper's own limit is shorter: this one is for a machine that is too slow for it.
        std::chrono::nanoseconds timeOut = std::chrono::seconds(10);
    };

    /// The helper of this installation, and the machine's clock.
    VELLinuxKeychain();
    VELLinuxKeychain(Helper helper, VELX509Trust::Clock clock = VELX509Trust::now);

    /// In the order of token serial number, CKA_ID and DER.
    [[nodiscard]] CertificatesResult certificates(std::size_t limit) const override;
    [[nodiscard]] IdentitiesResult identities(const std::string& issuer) const override;
    [[nodiscard]] AllIdentitiesResult allIdentities() const override;

private:
    /// A status, and the contents when it is `success`.
    VELSecurityStatus read(vel::TokenContents& contents) const;

    Helper _helper;
};
