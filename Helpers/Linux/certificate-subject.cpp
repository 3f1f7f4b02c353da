// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELCertificateSubject.h"
#include "Helpers/Linux/VELToolCommandLine.h"
#include "Platform/POSIX/VELDescriptor.h"
#include "Platform/POSIX/VELFileReader.h"
#include "Platform/X509/VELOpenSSL.h"

#include <unistd.h>

namespace {

int printSubject(const vel::ToolValues& values) {
    const std::string& path = values.at("FILE");
    const auto fail = [&path](const std::string& problem) {
        vel::writeAll(STDERR_FILENO, "certificate-subject: " + path + " " + problem + "\n");
        return 1;
    };
    const vel::VELFileContents file = vel::readFile(path);
    if (file.status != vel::VELFileStatus::read) {
        return fail("cannot be read");
    }
    const auto subject = vel::certificateSubject(file.bytes);
    if (!subject) {
        return fail("is no certificate in DER");
    }
    return vel::writeAll(STDOUT_FILENO, "subject=" + *subject + "\n") == 0 ? 0 : 1;
}

} // namespace

int main(int argumentCount, char** arguments) {
    const vel::ToolUsage usage = {
        .name = "certificate-subject",
        .purpose = "Prints the subject of a certificate: subject=/CN=Agent/OU=TEAM42/O=Sample",
        .arguments = {"x509", "-inform", "DER", "-in", "FILE", "-subject", "-noout"},
        .options = {},
    };
    vel::x509::forgoConfiguration();
    return vel::runTool(usage, argumentCount, arguments, &printSubject);
}
