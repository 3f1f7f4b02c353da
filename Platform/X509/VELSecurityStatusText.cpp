// SPDX-License-Identifier: Apache-2.0
#include "Platform/X509/VELSecurityStatusText.h"

#include <system_error>

namespace vel::security {
namespace {

using enum VELSecurityStatus;

struct StatusText {
    VELSecurityStatus status;
    const char* text;
};

constexpr StatusText texts[] = {
    {success, "No error."},
    {parameter, "One or more parameters passed to a function were not valid."},
    {internalComponent, "An internal component failed."},
    {notAvailable, "No keychain is available. You may need to restart your computer."},
    {itemNotFound, "The specified item could not be found in the keychain."},
    {createChainFailed, "One or more certificates required to validate this certificate cannot be "
                        "found."},
    {unknownCriticalExtension, "The certificate has a critical extension that is not "
                               "supported."},
    {noBasicConstraints, "No basic constraints were found."},
    {noBasicConstraintsAuthority, "The certificate of an issuer is not that of an authority."},
    {invalidKeyUsageForPolicy, "The key usage is not valid for the specified policy."},
    {invalidIdentifierLinkage, "The key identifiers of a certificate and its issuer differ."},
    {pathLengthExceeded, "The path length constraint was exceeded."},
    {unknownCertificateExtension, "An extension of the certificate cannot be read."},
    {invalidSubjectName, "The subject of the certificate is empty."},
    {unsupportedKeySize, "The key size is not supported."},
    {invalidDigestAlgorithm, "The digest algorithm of a signature is not valid."},
    {certificateExpired, "An expired certificate was detected."},
    {notTrusted, "The trust policy was not trusted."},
    {invalidName, "The certificate has a name that its issuers do not allow."},
    {invalidPolicyIdentifiers, "The certificate has a policy that its issuers do not allow."},
    {certificateDuplicateExtension, "The certificate has an extension twice."},
};

constexpr std::int32_t firstErrorStatus = integerOfStatus(statusOfErrorNumber(1));
constexpr std::int32_t lastErrorStatus = integerOfStatus(statusOfErrorNumber(4095));

} // namespace

std::string textOfStatus(VELSecurityStatus status) {
    for (const StatusText& known : texts) {
        if (known.status == status) {
            return known.text;
        }
    }
    const std::int32_t integer = integerOfStatus(status);
    if (integer >= firstErrorStatus && integer <= lastErrorStatus) {
        return "UNIX[" + std::generic_category().message(integer - firstErrorStatus + 1) + "]";
    }
    return "OSStatus " + std::to_string(integer);
}

} // namespace vel::security
