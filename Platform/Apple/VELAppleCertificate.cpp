// SPDX-License-Identifier: Apache-2.0
#include "Platform/Apple/VELAppleCertificate.h"

#include "Platform/Apple/VELCFValue.h"

#include <utility>

namespace {

/// Absent: null, no array, or one with something other than texts.
std::optional<std::vector<std::string>> textsOfObject(CFTypeRef object) {
    if (!vel::isOfType(object, ::CFArrayGetTypeID())) {
        return std::nullopt;
    }
    const auto array = static_cast<CFArrayRef>(object);
    std::vector<std::string> texts;
    for (CFIndex index = 0; index < ::CFArrayGetCount(array); ++index) {
        auto text = vel::textOfObject(::CFArrayGetValueAtIndex(array, index));
        if (!text) {
            return std::nullopt;
        }
        texts.push_back(*std::move(text));
    }
    return texts;
}

} // namespace

VELAppleCertificate::VELAppleCertificate(VELCFReference<SecCertificateRef> certificate,
                                         std::string der)
    : _certificate(std::move(certificate)), _der(std::move(der)) {}

std::shared_ptr<const VELAppleCertificate>
VELAppleCertificate::make(VELCFReference<SecCertificateRef> certificate) {
    if (!certificate) {
        return nullptr;
    }
    const auto data = VELCFReference<CFDataRef>::adopt(::SecCertificateCopyData(certificate.get()));
    auto der = vel::bytesOfObject(data.get());
    if (!der) {
        return nullptr;
    }
    return std::shared_ptr<const VELAppleCertificate>(
        new VELAppleCertificate(std::move(certificate), *std::move(der)));
}

const std::string& VELAppleCertificate::der() const {
    return _der;
}

std::optional<std::vector<std::string>> VELAppleCertificate::commonNames() const {
    const auto keys = vel::arrayOfOne(kSecOIDCommonName);
    if (!keys) {
        return std::nullopt;
    }
    const auto values = VELCFReference<CFDictionaryRef>::adopt(
        ::SecCertificateCopyValues(_certificate.get(), keys.get(), nullptr));
    if (!values) {
        return std::nullopt;
    }
    const CFTypeRef entry = ::CFDictionaryGetValue(values.get(), kSecOIDCommonName);
    if (!vel::isOfType(entry, ::CFDictionaryGetTypeID())) {
        return std::nullopt;
    }
    return textsOfObject(
        ::CFDictionaryGetValue(static_cast<CFDictionaryRef>(entry), kSecPropertyKeyValue));
}

std::optional<std::string> VELAppleCertificate::normalizedSubject() const {
    const auto subject = VELCFReference<CFDataRef>::adopt(
        ::SecCertificateCopyNormalizedSubjectSequence(_certificate.get()));
    return vel::bytesOfObject(subject.get());
}

std::optional<std::string> VELAppleCertificate::subjectSummary() const {
    const auto summary =
        VELCFReference<CFStringRef>::adopt(::SecCertificateCopySubjectSummary(_certificate.get()));
    return vel::textOfObject(summary.get());
}
