// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Linux/VELLinuxKeychain.h"
#include "Tests/Support/TemporaryFolder.h"

#include <string>

/// PKCS#11 tokens of the test's own, which SoftHSM serves to the children of this process as long
/// as this is in scope.
class MadeTokens {
public:
    MadeTokens();
    ~MadeTokens();
    MadeTokens(const MadeTokens&) = delete;
    MadeTokens& operator=(const MadeTokens&) = delete;

    /// Makes what the lines say; they are those of the token maker.
    void make(const std::string& lines) const;

    /// A line that puts bytes on a token as a certificate.
    [[nodiscard]] std::string certificateLine(const std::string& identifier,
                                              const std::string& der);

    /// The path of the module.
    static const std::string& module();

    /// Where the tokens are and where they are told of: another user needs both.
    [[nodiscard]] const std::string& storePath() const { return _store; }
    [[nodiscard]] const TemporaryFolder& folder() const { return _folder; }

private:
    TemporaryFolder _folder;
    std::string _store;
    int _files = 0;
};

/// The keychain of one module, asked through the helper of the build.
VELLinuxKeychain keychainOfModule(const std::string& path, VELX509Trust::Clock clock,
                                  const std::string& seconds = "8");

/// The path of the keychain's helper program.
std::string keychainHelperPath();
