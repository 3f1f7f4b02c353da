// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELCertificateSubject.h"
#include "Helpers/Linux/VELToolCommandLine.h"
#include "Helpers/Linux/VELWorkingPlaceFile.h"
#include "Platform/POSIX/VELDescriptor.h"
#include "Platform/X509/VELOpenSSL.h"

#include <unistd.h>

namespace {

int fail(const std::string& problem) {
    vel::diagnose("certificate-subject", "codesign0 " + problem);
    return 1;
}

int printSubject(const vel::ToolValues& /*values*/) {
    const auto der = vel::readWorkingPlace();
    if (!der) {
        return fail("cannot be read");
    }
    const auto subject = vel::certificateSubject(*der);
    if (!subject) {
        return fail("is no certificate in DER");
    }
    return vel::writeAll(STDOUT_FILENO, "subject=" + *subject + "/\n") == 0 ? 0 : 1;
}

} // namespace

int main(int argumentCount, char** arguments) {
    const vel::ToolUsage usage = {
        .name = "certificate-subject",
        .purpose =
            "Prints the subject of the certificate in the file that is open as descriptor 3:\n"
            "subject=/CN=Agent/OU=TEAM42/",
        .arguments = {"x509", "-inform", "DER", "-in", "codesign0", "-subject", "-noout"},
        .options = {},
    };
    vel::x509::forgoConfiguration();
    return vel::runTool(usage, argumentCount, arguments, &printSubject);
}
