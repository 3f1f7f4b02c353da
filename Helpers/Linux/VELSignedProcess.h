// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Helpers/Linux/VELDetachedSignature.h"

#include <chrono>
#include <string>
#include <sys/types.h>
#include <variant>

namespace vel {

/// Where signatures and what they must lead to are found.
struct SignedProcessSources {
    std::string processFolder = "/proc";
    /// Certificates (PEM or DER, every file whose name does not begin with a dot) of which one must
    /// vouch for the signer. A file named "any" says that everybody may sign. Without the folder,
    /// or when somebody else than its owner may change it, nobody is trusted.
    std::string anchorFolder = "/etc/vel_device_trust/signers";
    /// Beside root, who the anchors, their folder and all folders above may belong to.
    uid_t anchorOwner = 0;
};

/// The signer of the executable that a process runs, by the signature in the file beside the
/// executable that bears its name and ".p7s". Refused when the process does not exist or may not be
/// looked at, when its executable was removed or replaced, has no signature, or has one that does
/// not fit the running image; or when its executable is larger than 512 MiB.
std::variant<SignerCertificate, SignatureRefusal>
signerOfProcess(const std::string& processID, const SignedProcessSources& sources);

/// Why nobody at all is trusted as a signer; empty: somebody is.
std::string objectionToAllSigners(const SignedProcessSources& sources);

/// The same as `signerOfProcess`, asked in a child process: the files may be in a file system of
/// somebody's own, which need not answer ever. Refused when they do not within `limit`.
std::variant<SignerCertificate, SignatureRefusal>
signerOfProcessInTime(const std::string& processID, const SignedProcessSources& sources,
                      std::chrono::milliseconds limit);

} // namespace vel
