// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELCertificateSubject.h"
#include "Helpers/Linux/VELToolCommandLine.h"
#include "Platform/X509/VELOpenSSL.h"

#include <cstddef>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr std::size_t maximumCertificateBytes = std::size_t{1} << 20U;

std::optional<std::string> readFile(const std::string& path) {
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (file < 0) {
        return std::nullopt;
    }
    auto content = vel::readAll(file, maximumCertificateBytes);
    ::close(file);
    return content;
}

int printSubject(const vel::ToolValues& values) {
    const std::string& path = values.at("FILE");
    const auto fail = [&path](const std::string& problem) {
        vel::writeAll(STDERR_FILENO, "certificate-subject: " + path + " " + problem + "\n");
        return 1;
    };
    const auto der = readFile(path);
    if (!der) {
        return fail("cannot be read");
    }
    const auto subject = vel::certificateSubject(*der);
    if (!subject) {
        return fail("is no certificate in DER");
    }
    return vel::writeAll(STDOUT_FILENO, "subject=" + *subject + "\n") ? 0 : 1;
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
