// SPDX-License-Identifier: Apache-2.0
#pragma once

// NOLINTBEGIN

extern "C" {

CFStringRef SecCopyErrorMessageString(OSStatus status, void* reserved);

extern const CFStringRef kSecClass;
extern const CFStringRef kSecClassCertificate;
extern const CFStringRef kSecClassIdentity;
extern const CFStringRef kSecMatchLimit;
extern const CFStringRef kSecMatchLimitAll;
extern const CFStringRef kSecMatchIssuers;
extern const CFStringRef kSecMatchValidOnDate;
extern const CFStringRef kSecReturnData;
extern const CFStringRef kSecReturnRef;
OSStatus SecItemCopyMatching(CFDictionaryRef query, CFTypeRef* result);

extern const CFStringRef kSecOIDCommonName;
extern const CFStringRef kSecPropertyKeyValue;
CFTypeID SecCertificateGetTypeID(void);
SecCertificateRef SecCertificateCreateWithData(CFAllocatorRef allocator, CFDataRef data);
CFDataRef SecCertificateCopyData(SecCertificateRef certificate);
CFStringRef SecCertificateCopySubjectSummary(SecCertificateRef certificate);
CFDataRef SecCertificateCopyNormalizedSubjectSequence(SecCertificateRef certificate);
CFDictionaryRef SecCertificateCopyValues(SecCertificateRef certificate, CFArrayRef keys,
                                         CFErrorRef* error);

CFTypeID SecIdentityGetTypeID(void);
OSStatus SecIdentityCopyCertificate(SecIdentityRef identity, SecCertificateRef* certificate);

CFTypeID SecPolicyGetTypeID(void);
SecPolicyRef SecPolicyCreateBasicX509(void);

CFTypeID SecTrustGetTypeID(void);
OSStatus SecTrustCreateWithCertificates(CFTypeRef certificates, CFTypeRef policies,
                                        SecTrustRef* trust);
OSStatus SecTrustSetAnchorCertificates(SecTrustRef trust, CFArrayRef anchors);
OSStatus SecTrustSetAnchorCertificatesOnly(SecTrustRef trust, Boolean only);
bool SecTrustEvaluateWithError(SecTrustRef trust, CFErrorRef* error)
    __attribute__((warn_unused_result));

} // extern "C"

// NOLINTEND
