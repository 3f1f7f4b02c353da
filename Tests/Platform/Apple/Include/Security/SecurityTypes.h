// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CoreFoundation/CoreFoundation.h>

// NOLINTBEGIN

using SecCertificateRef = struct __SecCertificate*;
using SecIdentityRef = struct __SecIdentity*;
using SecPolicyRef = struct __SecPolicy*;
using SecTrustRef = struct __SecTrust*;

enum : OSStatus {
    errSecSuccess = 0,
    errSecParam = -50,
    errSecAllocate = -108,
    errSecInternalComponent = -2070,
    errSecItemNotFound = -25300,
};

// NOLINTEND
