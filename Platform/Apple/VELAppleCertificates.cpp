// SPDX-License-Identifier: Apache-2.0
#include "Platform/Apple/VELAppleCertificates.h"

#include "Platform/Apple/VELAppleCertificate.h"
#include "Platform/Apple/VELAppleTrust.h"
#include "Platform/Apple/VELCFValue.h"

#include <CommonCrypto/CommonDigest.h>

#include <utility>

namespace {

std::shared_ptr<const VELAppleCertificate> parse(std::string_view der) {
    const auto data = vel::dataOfBytes(der);
    if (!data) {
        return nullptr;
    }
    return VELAppleCertificate::make(VELCFReference<SecCertificateRef>::adopt(
        ::SecCertificateCreateWithData(kCFAllocatorDefault, data.get())));
}

} // namespace

std::shared_ptr<const VELCertificate>
VELAppleCertificates::parseCertificate(std::string_view der) const {
    return parse(der);
}

std::optional<std::vector<std::string>>
VELAppleCertificates::commonNames(std::string_view der) const {
    const auto certificate = parse(der);
    return certificate ? certificate->commonNames() : std::nullopt;
}

VELCertificates::TrustResult
VELAppleCertificates::createTrust(std::shared_ptr<const VELCertificate> certificate) const {
    const auto* parsed = dynamic_cast<const VELAppleCertificate*>(certificate.get());
    if (parsed == nullptr) {
        return {VELSecurityStatus::parameter, nullptr};
    }
    const auto policy = VELCFReference<SecPolicyRef>::adopt(::SecPolicyCreateBasicX509());
    if (!policy) {
        return {VELSecurityStatus::allocate, nullptr};
    }
    VELCFReference<SecTrustRef> trust;
    const VELSecurityStatus status{
        ::SecTrustCreateWithCertificates(parsed->object(), policy.get(), trust.out())};
    if (status != VELSecurityStatus::success) {
        return {status, nullptr};
    }
    if (!trust) {
        return {VELSecurityStatus::internalComponent, nullptr};
    }
    return {status, std::make_unique<VELAppleTrust>(std::move(trust))};
}

std::string VELAppleCertificates::sha1(std::string_view bytes) const {
    std::string digest(CC_SHA1_DIGEST_LENGTH, '\0');
    ::CC_SHA1(bytes.data(), static_cast<CC_LONG>(bytes.size()),
              reinterpret_cast<unsigned char*>(digest.data()));
    return digest;
}
