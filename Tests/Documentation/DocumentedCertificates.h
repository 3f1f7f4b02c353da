// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Simulated/VELSimulatedKeychain.h"
#include "Tests/Support/CertificateWorkshop.h"
#include "vel_device_trust/VELValue.h"

#include <map>
#include <string>
#include <vector>

/// The roots, intermediates and identities of which the documents speak in words.
class DocumentedCertificates {
public:
    DocumentedCertificates();

    /// Puts into the keychain what `words` say that it holds. Throws std::out_of_range for words
    /// that nobody knows.
    void fill(VELSimulatedKeychain& keychain, const std::string& words) const;

    /// The parameter "cert" of which `words` speak, or that they are, as a code span of JSON.
    [[nodiscard]] VELValue valueOf(const std::string& words) const;

    /// Names of identities that are found and not trusted, each for another reason.
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
