// SPDX-License-Identifier: Apache-2.0
#include "Classes/Mac/VELPostureCheckRunner+Mac.h"
#include "Fuzz/JSONMutation.h"
#include "Platform/Simulated/VELMachineDescription.h"
#include "Tools/vel-posture/what-if/WhatIfSummary.h"

#include <nlohmann/json.hpp>

#include <string>

namespace {

/// Every check type, none of which passes on a Mac of which nothing is known.
const std::string request = R"({"mac": [{"type": "localFirewall"}, {"type": "fullDiskEncryption"},
    {"type": "certificatePresent", "sha1": "2774A94419C84D2C25A5502D8B53226A8757101D"},
    {"type": "minimumOSVersion", "version": "13"},
    {"type": "anyProcessRunning",
     "processes": [{"name": "SampleAgent", "signingCertificateSubjectOU": "TEAM42"}]},
    {"type": "joinedToDomain", "names": ["*.sample.test"]},
    {"type": "perDeviceCertificatePresent", "cert":
     "MIIBqzCCAVCgAwIBAgIUJW0TWaYvV3f82KdFCrBpO4IRMMkwCgYIKoZIzj0EAwIwMzEUMBIGA1UECgwLU2FtcGxlIENvcnAxGzAZBgNVBAMMElNhbXBsZSBEZXZpY2UgUm9vdDAeFw0yMDAxMDEwMDAwMDBaFw00NTAxMDEwMDAwMDBaMDMxFDASBgNVBAoMC1NhbXBsZSBDb3JwMRswGQYDVQQDDBJTYW1wbGUgRGV2aWNlIFJvb3QwWTATBgcqhkjOPQIBBggqhkjOPQMBBwNCAAQEPGOubWCXm1YY/FfB138/NISmwXZyfty7+9RIIN4A3lczUCcZz8hRKWH5xzmIDpjj8rx0PUajL0zGmbvtiSZ4o0IwQDAPBgNVHRMBAf8EBTADAQH/MA4GA1UdDwEB/wQEAwIBBjAdBgNVHQ4EFgQUsnaka4wT6fGZZfUA8o4nyw/0/UAwCgYIKoZIzj0EAwIDSQAwRgIhAM+6rbBPpfCLVJIZf6Jf2WQsgCI/gbH54nCVDTGM5DKpAiEAtqKhHfj/pyp2SILbWF+W3VKHVvACdUr9R7VHwjVTDBU="}]})";

} // namespace

/// A line that is no machine description is reported and never passes; any other one gets the
/// verdict that the library gives. The answer is one line of JSON.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const WhatIf whatIf(Trial("request", request), Trial("request", request));
    const std::string_view line = fuzzText(data, size);
    const MachineAnswer answer = whatIf.answer(line);
    const std::string text = whatIf.text(answer, 3);
    require(text.find('\n') == std::string::npos);
    const VELValue value = VELValue::parse(text);

    const auto machine = vel::machineFromDescription(line, nullptr);
    require((machine == nullptr) == answer.failure.has_value());
    WhatIfSummary summary(whatIf);
    summary.add(answer, 3);
    if (machine == nullptr) {
        require(!answer.passes() && !answer.failure->empty() && value.at("line") == 3);
        require(summary.badLines() == 1 && summary.machines() == 0 && summary.now().passed == 0);
        return 0;
    }
    const auto runner = VELPlatformRunnerFactory::macPostureCheckRunner(nullptr, machine);
    const VELValue result = VELValue::parse(runner->runPostureCheckFromDocumentString(request));
    require(result.at("pass") == answer.passes() && value.at("pass") == answer.passes());
    require(answer.old->passes == answer.passes() && value.at("change") == nullptr);
    require(value.at("checks").size() == result.at("checks").size());
    require(!summaryText(summary, {}).empty() && !summaryHTML(summary).empty());
    return 0;
}
