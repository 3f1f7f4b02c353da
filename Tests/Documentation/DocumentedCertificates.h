// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Simulated/VELSimulatedKeychain.h"
#include "Tests/Support/CertificateWorkshop.h"
#include "vel_device_trust/VELValue.h"

#include <map>
#include <string>
#include <vector>

/// The roots, intermediates and identities that the documents describe in words.
class DocumentedCertificates {
public:
    DocumentedCertificates();

    /// Fills the keychain with what `words` describe. Throws std::out_of_range for unknown words.
    void fill(VELSimulatedKeychain& keychain, const std::string& words) const;

    /// The parameter "cert" that `words` describe or, in a code span, give as JSON.
    [[nodiscard]] VELValue valueOf(const std::string& words) const;

    /// Names of identities that match and are not trusted, each for a different reason.
    [[nodiscard]] std::vector<std::string> untrustedIdentities() const;
    void fillWithUntrusted(VELSimulatedKeychain& keychain, const std::string& name) const;

private:
    struct Holding {
        std::vector<std::string> identities;
        std::vector<std::string> certificates;
    };

    static void fill(VELSimulatedKeychain& keychain, const Holding& holding);

    CertificateWorkshop _workshop;
    std::string _root;
    std::string _otherRoot;
    std::map<std::string, Holding> _holdings;
    std::map<std::string, Holding> _untrusted;
};
