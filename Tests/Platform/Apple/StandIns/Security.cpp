// SPDX-License-Identifier: Apache-2.0
//
// The keychain of the described Mac, and trust as the described Mac evaluates it.
#include "Tests/Platform/Apple/StandIns/StandInMac.h"
#include "Tests/Platform/Apple/StandIns/StandInObjects.h"
#include "Tests/Platform/Apple/StandIns/StandInValues.h"

#include <CommonCrypto/CommonDigest.h>
#include <Security/Security.h>

#include <algorithm>
#include <cstring>
#include <mutex>
#include <utility>
#include <vector>

namespace {

using standin::contentOf;
using standin::copyData;
using standin::copyString;
using standin::FallibleCall;

const VELSimulatedPlatform& described() {
    return StandInMac::current().described;
}

class Certificate final : public standin::Object {
public:
    static constexpr char name[] = "SecCertificate";
    explicit Certificate(std::shared_ptr<const VELCertificate> parsed)
        : certificate(std::move(parsed)) {}
    [[nodiscard]] const char* type() const override { return name; }
    const std::shared_ptr<const VELCertificate> certificate;
};

class Identity final : public standin::Object {
public:
    static constexpr char name[] = "SecIdentity";
    explicit Identity(std::unique_ptr<VELIdentity> found) : identity(std::move(found)) {}
    [[nodiscard]] const char* type() const override { return name; }
    const std::unique_ptr<VELIdentity> identity;
};

class Policy final : public standin::Object {
public:
    static constexpr char name[] = "SecPolicy";
    [[nodiscard]] const char* type() const override { return name; }
};

class Trust final : public standin::Object {
public:
    static constexpr char name[] = "SecTrust";
    explicit Trust(std::unique_ptr<VELTrust> made) : trust(std::move(made)) {}
    [[nodiscard]] const char* type() const override { return name; }
    const std::unique_ptr<VELTrust> trust;
    bool systemAnchorsCount = false;
};

const VELCertificate& certificateOf(SecCertificateRef certificate) {
    return *contentOf<Certificate>(certificate).certificate;
}

CFDataRef copyOptionalData(const std::optional<std::string>& bytes) {
    return bytes ? copyData(*bytes) : nullptr;
}

/// A list of what is in `references`, which it takes over.
CFArrayRef listOf(std::vector<CFTypeRef> references) {
    const CFArrayRef list =
        CFArrayCreate(kCFAllocatorDefault, references.data(),
                      static_cast<CFIndex>(references.size()), &kCFTypeArrayCallBacks);
    std::ranges::for_each(references, CFRelease);
    return list;
}

CFDictionaryRef dictionaryOf(CFTypeRef key, CFTypeRef value) {
    return CFDictionaryCreate(kCFAllocatorDefault, &key, &value, 1, &kCFTypeDictionaryKeyCallBacks,
                              &kCFTypeDictionaryValueCallBacks);
}

OSStatus copyCertificates(std::size_t limit, CFTypeRef* result) {
    const auto found = described().keychain().certificates(limit);
    if (found.status != VELSecurityStatus::success) {
        return vel::integerOfStatus(found.status);
    }
    std::vector<CFTypeRef> list;
    for (const std::string& bytes : found.certificates) {
        list.push_back(copyData(bytes));
    }
    const auto& further = StandInMac::current().furtherCertificates;
    for (std::size_t index = 0; index < std::min(limit, further.size()); ++index) {
        list.push_back(copyData(further[index]));
    }
    *result = limit == 1 ? list.front() : listOf(std::move(list));
    return errSecSuccess;
}

class CertificateOfIdentity final : public VELIdentity {
public:
    explicit CertificateOfIdentity(std::shared_ptr<const VELCertificate> certificate)
        : _certificate(std::move(certificate)) {}
    [[nodiscard]] CertificateResult copyCertificate() const override {
        return {VELSecurityStatus::success, _certificate};
    }

private:
    std::shared_ptr<const VELCertificate> _certificate;
};

VELKeychain::IdentitiesResult allIdentities() {
    const auto all = described().keychain().allIdentities();
    VELKeychain::IdentitiesResult found = {all.status, {}};
    for (const std::string& der : all.certificates) {
        // Bytes that are no certificate are no identity on a Mac.
        if (auto certificate = described().certificates().parseCertificate(der)) {
            found.identities.push_back(
                std::make_unique<CertificateOfIdentity>(std::move(certificate)));
        }
    }
    return found;
}

OSStatus copyIdentities(VELKeychain::IdentitiesResult found, CFTypeRef* result) {
    if (found.status != VELSecurityStatus::success) {
        return vel::integerOfStatus(found.status);
    }
    std::vector<CFTypeRef> list;
    for (auto& identity : found.identities) {
        list.push_back(standin::makeReference<SecIdentityRef, Identity>(std::move(identity)));
    }
    *result = listOf(std::move(list));
    return errSecSuccess;
}

void keepQuery(const VELValue& query) {
    static std::mutex mutex;
    const std::scoped_lock lock(mutex);
    StandInMac::current().queries.push_back(query);
}

/// Answers three forms of query: certificates as data up to a limit, all identities of one issuer
/// that are valid now, and all identities.
OSStatus answer(CFDictionaryRef query, CFTypeRef* result) {
    VELValue readable = standin::readable(query);
    keepQuery(readable);
    const VELValue limit = readable.value("kSecMatchLimit", VELValue());
    readable.erase("kSecMatchLimit");
    if (limit.is_number_integer() && limit.get<std::int64_t>() > 0 &&
        readable == VELValue{{"kSecClass", "kSecClassCertificate"}, {"kSecReturnData", true}}) {
        return copyCertificates(limit.get<std::size_t>(), result);
    }
    const auto* issuers = static_cast<CFArrayRef>(CFDictionaryGetValue(query, kSecMatchIssuers));
    readable.erase("kSecMatchIssuers");
    const VELValue validIdentities = {{"kSecClass", "kSecClassIdentity"},
                                      {"kSecMatchValidOnDate", nullptr},
                                      {"kSecReturnRef", true}};
    if (limit == "kSecMatchLimitAll" && issuers != nullptr && CFArrayGetCount(issuers) == 1 &&
        readable == validIdentities) {
        const auto* issuer = static_cast<CFDataRef>(CFArrayGetValueAtIndex(issuers, 0));
        return copyIdentities(described().keychain().identities(standin::bytesOf(issuer)), result);
    }
    if (limit == "kSecMatchLimitAll" &&
        readable == VELValue{{"kSecClass", "kSecClassIdentity"}, {"kSecReturnRef", true}}) {
        return copyIdentities(allIdentities(), result);
    }
    return errSecParam;
}

/// The status of a call that was made to fail.
OSStatus statusOf(const FallibleCall& call) {
    return call.failsWithoutStatus() ? errSecSuccess : errSecAllocate;
}

CFErrorRef copyError(const VELError& error) {
    const CFStringRef domain = copyString(error.domain());
    const CFStringRef text = copyString(error.message());
    const CFDictionaryRef information = dictionaryOf(kCFErrorLocalizedDescriptionKey, text);
    const CFErrorRef copy =
        CFErrorCreate(kCFAllocatorDefault, domain, static_cast<CFIndex>(error.code()), information);
    CFRelease(information);
    CFRelease(text);
    CFRelease(domain);
    return copy;
}

} // namespace

extern "C" {

const CFStringRef kSecClass = CFSTR("kSecClass");
const CFStringRef kSecClassCertificate = CFSTR("kSecClassCertificate");
const CFStringRef kSecClassIdentity = CFSTR("kSecClassIdentity");
const CFStringRef kSecMatchLimit = CFSTR("kSecMatchLimit");
const CFStringRef kSecMatchLimitAll = CFSTR("kSecMatchLimitAll");
const CFStringRef kSecMatchIssuers = CFSTR("kSecMatchIssuers");
const CFStringRef kSecMatchValidOnDate = CFSTR("kSecMatchValidOnDate");
const CFStringRef kSecReturnData = CFSTR("kSecReturnData");
const CFStringRef kSecReturnRef = CFSTR("kSecReturnRef");
const CFStringRef kSecOIDCommonName = CFSTR("2.5.4.3");
const CFStringRef kSecPropertyKeyValue = CFSTR("value");

CFTypeID SecCertificateGetTypeID() {
    return standin::typeID<Certificate>();
}

CFTypeID SecIdentityGetTypeID() {
    return standin::typeID<Identity>();
}

CFTypeID SecPolicyGetTypeID() {
    return standin::typeID<Policy>();
}

CFTypeID SecTrustGetTypeID() {
    return standin::typeID<Trust>();
}

CFStringRef SecCopyErrorMessageString(OSStatus status, void* /*reserved*/) {
    const FallibleCall call("SecCopyErrorMessageString");
    if (call.fails()) {
        return nullptr;
    }
    return copyString(described().keychain().statusText(VELSecurityStatus{status}));
}

OSStatus SecItemCopyMatching(CFDictionaryRef query, CFTypeRef* result) {
    const FallibleCall call("SecItemCopyMatching", standin::withStatus);
    if (call.fails()) {
        return statusOf(call);
    }
    const auto& answers = StandInMac::current().answers;
    if (const auto odd = answers.find("SecItemCopyMatching"); odd != answers.end()) {
        *result = odd->second();
        return errSecSuccess;
    }
    return answer(query, result);
}

SecCertificateRef SecCertificateCreateWithData(CFAllocatorRef /*allocator*/, CFDataRef data) {
    const FallibleCall call("SecCertificateCreateWithData");
    auto parsed = described().certificates().parseCertificate(standin::bytesOf(data));
    if (call.fails() || parsed == nullptr) {
        return nullptr;
    }
    return standin::makeReference<SecCertificateRef, Certificate>(std::move(parsed));
}

CFDataRef SecCertificateCopyData(SecCertificateRef certificate) {
    const FallibleCall call("SecCertificateCopyData");
    const std::string& der = certificateOf(certificate).der();
    return call.fails() ? nullptr : copyData(der);
}

CFStringRef SecCertificateCopySubjectSummary(SecCertificateRef certificate) {
    const FallibleCall call("SecCertificateCopySubjectSummary");
    const auto summary = certificateOf(certificate).subjectSummary();
    return call.fails() || !summary ? nullptr : copyString(*summary);
}

CFDataRef SecCertificateCopyNormalizedSubjectSequence(SecCertificateRef certificate) {
    const FallibleCall call("SecCertificateCopyNormalizedSubjectSequence");
    const auto subject = certificateOf(certificate).normalizedSubject();
    return call.fails() ? nullptr : copyOptionalData(subject);
}

CFDictionaryRef SecCertificateCopyValues(SecCertificateRef certificate, CFArrayRef keys,
                                         CFErrorRef* /*error*/) {
    const FallibleCall call("SecCertificateCopyValues");
    const auto names = certificateOf(certificate).commonNames();
    if (standin::readable(keys) != VELValue::array({"2.5.4.3"})) {
        standin::abortOn("values of a certificate other than its common names");
    }
    if (call.fails()) {
        return nullptr;
    }
    const auto& answers = StandInMac::current().answers;
    if (const auto odd = answers.find("SecCertificateCopyValues"); odd != answers.end()) {
        return static_cast<CFDictionaryRef>(odd->second());
    }
    // There is no entry for a subject without common names, nor for one that cannot be decoded.
    const VELValue values = names && !names->empty()
                                ? VELValue{{"2.5.4.3", {{"label", "CN"}, {"value", *names}}}}
                                : VELValue::object();
    return static_cast<CFDictionaryRef>(standin::copyValue(values));
}

OSStatus SecIdentityCopyCertificate(SecIdentityRef identity, SecCertificateRef* certificate) {
    const FallibleCall call("SecIdentityCopyCertificate", standin::withStatus);
    const auto copied = contentOf<Identity>(identity).identity->copyCertificate();
    if (call.fails()) {
        return statusOf(call);
    }
    if (copied.status == VELSecurityStatus::success) {
        *certificate = standin::makeReference<SecCertificateRef, Certificate>(copied.certificate);
    }
    return vel::integerOfStatus(copied.status);
}

SecPolicyRef SecPolicyCreateBasicX509() {
    const FallibleCall call("SecPolicyCreateBasicX509");
    return call.fails() ? nullptr : standin::makeReference<SecPolicyRef, Policy>();
}

OSStatus SecTrustCreateWithCertificates(CFTypeRef certificates, CFTypeRef policies,
                                        SecTrustRef* trust) {
    const FallibleCall call("SecTrustCreateWithCertificates", standin::withStatus);
    contentOf<Policy>(policies);
    auto made =
        described().certificates().createTrust(contentOf<Certificate>(certificates).certificate);
    if (call.fails()) {
        return statusOf(call);
    }
    if (made.status == VELSecurityStatus::success) {
        *trust = standin::makeReference<SecTrustRef, Trust>(std::move(made.trust));
    }
    return vel::integerOfStatus(made.status);
}

OSStatus SecTrustSetAnchorCertificates(SecTrustRef trust, CFArrayRef anchors) {
    const FallibleCall call("SecTrustSetAnchorCertificates");
    auto& content = contentOf<Trust>(trust);
    if (CFArrayGetCount(anchors) != 1) {
        standin::abortOn("other than one anchor");
    }
    const auto& anchor = contentOf<Certificate>(CFArrayGetValueAtIndex(anchors, 0)).certificate;
    if (call.fails()) {
        return errSecAllocate;
    }
    content.systemAnchorsCount = false;
    return vel::integerOfStatus(content.trust->setOnlyAnchor(anchor));
}

OSStatus SecTrustSetAnchorCertificatesOnly(SecTrustRef trust, Boolean only) {
    contentOf<Trust>(trust).systemAnchorsCount = only == 0;
    return errSecSuccess;
}

bool SecTrustEvaluateWithError(SecTrustRef trust, CFErrorRef* error) {
    const FallibleCall call("SecTrustEvaluateWithError");
    const auto& content = contentOf<Trust>(trust);
    std::optional<VELError> failure;
    const bool isTrusted = content.trust->evaluate(&failure) || content.systemAnchorsCount;
    if (call.fails()) {
        return false;
    }
    if (error != nullptr) {
        *error = isTrusted ? nullptr : copyError(*failure);
    }
    return isTrusted;
}

unsigned char* CC_SHA1(const void* data, CC_LONG length, unsigned char* digest) {
    const std::string made =
        described().certificates().sha1({static_cast<const char*>(data), length});
    std::memcpy(digest, made.data(), made.size());
    return digest;
}

} // extern "C"
