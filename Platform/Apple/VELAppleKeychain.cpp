// SPDX-License-Identifier: Apache-2.0
#include "Platform/Apple/VELAppleKeychain.h"

#include "Platform/Apple/VELAppleCertificate.h"
#include "Platform/Apple/VELCFValue.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <utility>

namespace {

class Identity final : public VELIdentity {
public:
    explicit Identity(VELCFReference<SecIdentityRef> identity) : _identity(std::move(identity)) {}

    [[nodiscard]] CertificateResult copyCertificate() const override {
        VELCFReference<SecCertificateRef> certificate;
        const VELSecurityStatus status{
            ::SecIdentityCopyCertificate(_identity.get(), certificate.out())};
        if (status != VELSecurityStatus::success) {
            return {status, nullptr};
        }
        auto parsed = VELAppleCertificate::make(std::move(certificate));
        if (!parsed) {
            return {VELSecurityStatus::internalComponent, nullptr};
        }
        return {status, std::move(parsed)};
    }

private:
    VELCFReference<SecIdentityRef> _identity;
};

struct SearchResult {
    VELSecurityStatus status;
    VELCFReference<CFTypeRef> items; // set when the status is 0
};

/// `query` may be none, for want of memory.
SearchResult search(const VELCFReference<CFDictionaryRef>& query) {
    if (!query) {
        return {VELSecurityStatus::allocate, {}};
    }
    VELCFReference<CFTypeRef> items;
    const VELSecurityStatus status{::SecItemCopyMatching(query.get(), items.out())};
    if (status != VELSecurityStatus::success) {
        return {status, {}};
    }
    if (!items) {
        return {VELSecurityStatus::internalComponent, {}};
    }
    return {status, std::move(items)};
}

/// Hands each found item, lent, to `take`. False: one is refused, or there is no list of them.
template <typename Take> bool takeEach(CFTypeRef items, std::size_t limit, Take take) {
    if (limit == 1 && !vel::isOfType(items, ::CFArrayGetTypeID())) {
        return take(items); // no list when one item at most is asked for
    }
    if (!vel::isOfType(items, ::CFArrayGetTypeID())) {
        return false;
    }
    const auto list = static_cast<CFArrayRef>(items);
    // Each kind of keychain obeys the limit for itself.
    const auto count = std::min(static_cast<std::size_t>(::CFArrayGetCount(list)), limit);
    for (std::size_t index = 0; index < count; ++index) {
        if (!take(::CFArrayGetValueAtIndex(list, static_cast<CFIndex>(index)))) {
            return false;
        }
    }
    return true;
}

VELKeychain::IdentitiesResult foundIdentities(const VELCFReference<CFDictionaryRef>& query) {
    const auto [status, items] = search(query);
    if (status != VELSecurityStatus::success) {
        return {status, {}};
    }
    std::vector<std::unique_ptr<VELIdentity>> identities;
    constexpr std::size_t noLimit = std::numeric_limits<std::size_t>::max();
    const bool taken = takeEach(items.get(), noLimit, [&](CFTypeRef item) {
        if (!vel::isOfType(item, ::SecIdentityGetTypeID())) {
            return false;
        }
        auto* identity = static_cast<SecIdentityRef>(const_cast<void*>(item));
        identities.push_back(
            std::make_unique<Identity>(VELCFReference<SecIdentityRef>::retain(identity)));
        return true;
    });
    if (!taken) {
        return {VELSecurityStatus::internalComponent, {}};
    }
    if (identities.empty()) {
        return {VELSecurityStatus::itemNotFound, {}};
    }
    return {status, std::move(identities)};
}

VELCFReference<CFNumberRef> numberOf(std::size_t count) {
    constexpr std::size_t maximum = std::numeric_limits<std::int64_t>::max();
    const auto value = static_cast<std::int64_t>(std::min(count, maximum));
    return VELCFReference<CFNumberRef>::adopt(
        ::CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &value));
}

} // namespace

VELKeychain::CertificatesResult VELAppleKeychain::certificates(std::size_t limit) const {
    const auto number = numberOf(limit);
    const auto [status, items] = search(vel::dictionaryOf({{kSecClass, kSecClassCertificate},
                                                           {kSecMatchLimit, number.get()},
                                                           {kSecReturnData, kCFBooleanTrue}}));
    if (status != VELSecurityStatus::success) {
        return {status, {}};
    }
    std::vector<std::string> certificates;
    const bool taken = takeEach(items.get(), limit, [&](CFTypeRef item) {
        auto bytes = vel::bytesOfObject(item);
        if (bytes) {
            certificates.push_back(*std::move(bytes));
        }
        return bytes.has_value();
    });
    if (!taken) {
        return {VELSecurityStatus::internalComponent, {}};
    }
    if (certificates.empty()) {
        return {VELSecurityStatus::itemNotFound, {}};
    }
    return {status, std::move(certificates)};
}

VELKeychain::IdentitiesResult VELAppleKeychain::identities(const std::string& issuer) const {
    const auto subject = vel::dataOfBytes(issuer);
    const auto issuers = vel::arrayOfOne(subject.get());
    // A null date stands for the present.
    return foundIdentities(vel::dictionaryOf({{kSecClass, kSecClassIdentity},
                                              {kSecMatchLimit, kSecMatchLimitAll},
                                              {kSecReturnRef, kCFBooleanTrue},
                                              {kSecMatchIssuers, issuers.get()},
                                              {kSecMatchValidOnDate, kCFNull}}));
}

VELKeychain::AllIdentitiesResult VELAppleKeychain::allIdentities() const {
    const VELMoment now =
        std::chrono::floor<std::chrono::microseconds>(std::chrono::system_clock::now());
    const IdentitiesResult found =
        foundIdentities(vel::dictionaryOf({{kSecClass, kSecClassIdentity},
                                           {kSecMatchLimit, kSecMatchLimitAll},
                                           {kSecReturnRef, kCFBooleanTrue}}));
    AllIdentitiesResult result = {found.status, {}, now};
    for (const auto& identity : found.identities) {
        const auto copied = identity->copyCertificate();
        if (copied.status != VELSecurityStatus::success) {
            return {copied.status, {}, now};
        }
        result.certificates.push_back(copied.certificate->der());
    }
    return result;
}

std::string VELAppleKeychain::statusText(VELSecurityStatus status) const {
    const auto code = static_cast<OSStatus>(status);
    const auto text =
        VELCFReference<CFStringRef>::adopt(::SecCopyErrorMessageString(code, nullptr));
    return vel::textOfObject(text.get()).value_or("OSStatus " + std::to_string(code));
}
