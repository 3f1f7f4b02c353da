// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Helpers/Linux/VELDetachedSignature.h"

#include <string>
#include <variant>

namespace vel {

/// Where signatures and what they must lead to are found.
struct SignedProcessSources {
    std::string processFolder = "/proc";
    /// Certificates (PEM or DER, every file whose name does not begin with a dot) of which one must
    /// vouch for the signer. Where the folder does not exist, anybody may sign.
    std::string anchorFolder = "/etc/vel_device_trust/signers";
};

/// The certificates of the signature of the executable that a process runs, which is the file
/// beside the executable that bears its name and ".p7s". Refused when the process does not exist or
/// may not be looked at, when its executable was removed or replaced, has no signature, or has one
/// that does not fit the running image.
std::variant<SignerCertificates, SignatureRefusal>
signerOfProcess(const std::string& processID, const SignedProcessSources& sources);

} // namespace vel
