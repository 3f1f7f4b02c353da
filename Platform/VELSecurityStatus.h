// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

/// A status of the platform's security services: its own integer. Any 32-bit value may occur; named
/// are those that the library makes or looks for itself.
enum class VELSecurityStatus : std::int32_t {
    success = 0,
    parameter = -50,
    allocate = -108,
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

namespace vel {

/// The platform's integer.
constexpr std::int32_t integerOfStatus(VELSecurityStatus status) {
    return static_cast<std::int32_t>(status);
}

/// The status that stands for an error number of the operating system.
constexpr VELSecurityStatus statusOfErrorNumber(int errorNumber) {
    return VELSecurityStatus{100'000 + errorNumber};
}

} // namespace vel
