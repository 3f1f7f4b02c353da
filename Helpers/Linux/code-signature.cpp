// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELSignedProcess.h"
#include "Helpers/Linux/VELToolCommandLine.h"
#include "Helpers/Linux/VELWorkingPlaceFile.h"
#include "Platform/POSIX/VELDescriptor.h"
#include "Platform/X509/VELOpenSSL.h"

#include <algorithm>
#include <unistd.h>

namespace {

constexpr std::size_t maximumDigits = 10;
// The check that asks has a limit of 10 seconds.
constexpr auto timeLimit = std::chrono::seconds(4);

int fail(int status, const std::string& problem) {
    vel::diagnose("code-signature", problem);
    return status;
}

int extractCertificate(const vel::ToolValues& values) {
    const std::string& processID = values.at("PID");
    const bool isNumber =
        std::ranges::all_of(processID, [](char c) { return c >= '0' && c <= '9'; });
    if (!isNumber || processID.size() > maximumDigits) {
        return fail(2, "\"" + processID + "\" is no process ID");
    }
    // First of all, so that no certificate of another process is taken for this one's.
    const bool asksWhy = vel::isAskedWhy(values);
    if (!asksWhy && !vel::clearWorkingPlace()) {
        return fail(1, "descriptor 3 is not a file that can be written to");
    }
    vel::SignedProcessSources sources;
    sources.processFolder = vel::valueOr(values, "--proc", sources.processFolder);
    if (values.contains("--signers")) {
        sources.anchorFolder = values.at("--signers");
        sources.anchorOwner = ::geteuid();
    }
    if (asksWhy) {
        if (const std::string objection = vel::objectionToAllSigners(sources); !objection.empty()) {
            return vel::sayWhy("signers-missing", objection);
        }
    }
    const auto result = vel::signerOfProcessInTime(processID, sources, timeLimit);
    if (const auto* refusal = std::get_if<vel::SignatureRefusal>(&result)) {
        const std::string reason = "process " + processID + ": " + refusal->reason;
        return asksWhy ? vel::sayWhy("signature-refused", reason) : fail(1, reason);
    }
    if (asksWhy) {
        return vel::sayWhy(vel::answerIsKnown, "the signature can be verified");
    }
    if (!vel::writeWorkingPlace(std::get<vel::SignerCertificate>(result))) {
        return fail(1, "the certificate cannot be written");
    }
    return 0;
}

} // namespace

int main(int argumentCount, char** arguments) {
    const vel::ToolUsage usage = {
        .name = "code-signature",
        .purpose = "Verifies the signature of the executable that a process runs, a detached CMS\n"
                   "signature in EXECUTABLE.p7s, and writes the signer's certificate in DER into\n"
                   "the file that is open as descriptor 3, which is emptied first.",
        .arguments = {"--display", "--extract-certificates", "PID"},
        .options = {{"--proc", "The folder to read instead of /proc"},
                    {"--signers", "Where the certificates are that must vouch for the signer,\n"
                                  "                    instead of /etc/vel_device_trust/signers;\n"
                                  "                    they may belong to the user who asks"}},
        .saysWhy = true,
    };
    vel::x509::forgoConfiguration();
    return vel::runTool(usage, argumentCount, arguments, &extractCertificate);
}
