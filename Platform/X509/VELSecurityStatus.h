// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

/// The statuses of keychain and trust, and their texts.
namespace vel::security {

enum Status : std::int32_t {
    success = 0,
    parameter = -50,
    internalComponent = -2070,
    notAvailable = -25291,
    itemNotFound = -25300,
    createChainFailed = -25318,
    unknownCriticalExtension = -67603,
    noBasicConstraints = -67604,
    noBasicConstraintsAuthority = -67605,
    invalidKeyUsageForPolicy = -67608,
    invalidIdentifierLinkage = -67610,
    pathLengthExceeded = -67611,
    unknownCertificateExtension = -67618,
    invalidSubjectName = -67655,
    invalidName = -67689,
    unsupportedKeySize = -67735,
    invalidDigestAlgorithm = -67815,
    certificateExpired = -67818,
    invalidPolicyIdentifiers = -67835,
    notTrusted = -67843,
    certificateDuplicateExtension = -67903,
};

/// The status that stands for an error number of the operating system.
constexpr std::int32_t statusOfErrorNumber(int errorNumber) {
    return 100'000 + errorNumber;
}

/// The readable text of a status: its own, "UNIX[...]" with the text of an error number, or
/// "OSStatus <n>" when it is not known.
std::string textOfStatus(std::int32_t status);

} // namespace vel::security
