// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// The errors that the library itself creates.

#include "vel_device_trust/VELError.h"
#include "vel_device_trust/VELExport.h"

#include <cstdint>
#include <optional>
#include <string>

/// The domain of every error that the library itself creates: "com.vel.posturecheck".
extern "C" VEL_EXPORT const char* const kVELPostureCheckErrorDomain;

/// The userInfo key of the message text of every such error:
/// "com.vel.posturecheck.unlocalized-description". The message is not localised.
extern "C" VEL_EXPORT const char* const kUnlocalizedDescriptionKey;

/// Codes of that domain. Their numbers are stable; 4, 9 and 10 are not assigned.
enum VELPostureCheckErrorCode : std::int64_t {
    /// The firewall state could not be determined. Checks of hosts use it for any other failure.
    VELPostureCheckErrorGeneral = 0,
    /// A check entry names a type that is not in the catalogue.
    VELPostureCheckErrorUnknownCheckType = 1,
    /// A command-line tool could not be started.
    VELPostureCheckErrorTaskLaunch = 2,
    /// A command-line tool ended with a non-zero status.
    VELPostureCheckErrorTaskExitStatus = 3,
    /// The keychain query for certificates failed.
    VELPostureCheckErrorKeychain = 5,
    /// A required parameter, or the name of a process, is missing.
    VELPostureCheckErrorMissingParameter = 6,
    /// A parameter has the wrong type.
    VELPostureCheckErrorInvalidParameter = 7,
    /// A named process runs, but its code-signing subject does not match.
    VELPostureCheckErrorCodeSigningMismatch = 8,
    /// The disk-encryption status file is not in the expected format.
    VELPostureCheckErrorStatusFileFormat = 11,
};

/// Reports that a check could not be carried out: stores an error of the library's domain with
/// `code` and `message` (UTF-8; invalid bytes are replaced when it is shown) through `error`,
/// replacing what was there, and then logs "Error: %@" with it at level 3. With a null `error` it
/// does nothing and logs nothing. Thread-safe.
VEL_EXPORT void SetPostureCheckError(std::optional<VELError>* error, std::int64_t code,
                                     std::string message);
