// SPDX-License-Identifier: Apache-2.0
#include "Fuzz/FuzzInput.h"
#include "Platform/X509/VELCertificateParts.h"
#include "Platform/X509/VELNameConstraints.h"
#include "Platform/X509/VELOpenSSL.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string_view>

namespace {

using namespace vel::x509;

bool isWithin(std::string_view part, std::string_view whole) {
    return part.empty() || (part.data() >= whole.data() &&
                            part.data() + part.size() <= whole.data() + whole.size());
}

std::optional<VELMoment> momentOf(const ASN1_TIME* time) {
    std::tm parts = {};
    if (ASN1_TIME_to_tm(time, &parts) != 1) {
        return std::nullopt;
    }
    using namespace std::chrono;
    const year_month_day date(year(parts.tm_year + 1900),
                              month(static_cast<unsigned>(parts.tm_mon + 1)),
                              day(static_cast<unsigned>(parts.tm_mday)));
    return sys_days(date) + hours(parts.tm_hour) + minutes(parts.tm_min) + seconds(parts.tm_sec);
}

/// The years 1950 to 1969, which the platform does not know.
bool isKnownYear(VELMoment moment) {
    using namespace std::chrono;
    return moment < sys_days(year(1950) / January / 1) - days(10) ||
           moment > sys_days(year(1970) / January / 1) + days(10);
}

void checkMoment(VELMoment own, const ASN1_TIME* time) {
    const auto theirs = momentOf(time);
    require(!theirs || *theirs == own || !isKnownYear(*theirs));
}

void checkExtensions(const CertificateExtensions& extensions, std::string_view whole) {
    require(isWithin(extensions.subjectKeyIdentifier, whole));
    require(isWithin(extensions.authorityKeyIdentifier, whole));
    require(isWithin(extensions.alternativeNames, whole));
    require(!extensions.basicConstraints || !extensions.basicConstraints->pathLength ||
            *extensions.basicConstraints->pathLength <= 0xFFFF'FFFFU);
}

/// Where both readers read something, they read the same.
void checkAgainstOpenSSL(const CertificateParts& parts, X509* certificate) {
    checkMoment(parts.notBefore, X509_get0_notBefore(certificate));
    checkMoment(parts.notAfter, X509_get0_notAfter(certificate));
    require(parts.version == X509_get_version(certificate) + 1);
    const CertificateExtensions& extensions = parts.extensions;
    const std::uint32_t flags = X509_get_extension_flags(certificate);
    if ((flags & EXFLAG_INVALID) != 0 || extensions.hasUnreadable || extensions.hasDuplicate) {
        return;
    }
    require((extensions.basicConstraints && extensions.basicConstraints->isAuthority) ==
            ((flags & EXFLAG_CA) != 0));
    require(extensions.keyUsage.has_value() == ((flags & EXFLAG_KUSAGE) != 0));
    const bool mayBeIssuer = (X509_get_key_usage(certificate) & KU_KEY_CERT_SIGN) != 0;
    require(!extensions.keyUsage ||
            ((*extensions.keyUsage >> keyCertSign & 1U) != 0) == mayBeIssuer);
}

} // namespace

/// Whatever the bytes hold, the reader answers within them, answers the same again, and agrees with
/// OpenSSL on what both can read.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes = fuzzText(data, size);
    static_cast<void>(certificateExtensions(bytes));
    const auto parts = certificateParts(bytes);
    if (!parts) {
        return 0;
    }
    require(bytes.starts_with(parts->whole));
    require(isWithin(parts->issuer, parts->whole) && isWithin(parts->subject, parts->whole));
    checkExtensions(parts->extensions, parts->whole);
    const auto again = certificateParts(parts->whole);
    require(again && again->whole == parts->whole && again->notAfter == parts->notAfter);
    if (const auto& subtrees = parts->extensions.nameSubtrees) {
        require(areSubtreesSupported(*subtrees) == areSubtreesSupported(*subtrees));
        require(allowsNames(*subtrees, *parts) == allowsNames(*subtrees, *again));
    }
    if (const auto decoded = decodedCertificate(parts->whole)) {
        const ErrorQueueScope errors;
        checkAgainstOpenSSL(*parts, decoded.get());
    }
    require(ERR_peek_error() == 0);
    return 0;
}
