// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/lint/RequestLint.h"

#include "Base/VELJSON.h"
#include "Classes/Mac/VELPostureCheckRunner+Mac.h"
#include "Fuzz/JSONMutation.h"
#include "Platform/Simulated/VELSimulatedPlatform.h"
#include "Tools/vel-posture/DisplayText.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace {

/// A Mac on which every check that is asked well comes to an answer, but for the firewall's, for
/// processes with a signer, and for certificates.
std::shared_ptr<VELSimulatedPlatform> boundMac() {
    auto platform = std::make_shared<VELSimulatedPlatform>();
    platform->productVersionRecord = "12.1";
    platform->keychainStore.certificateList = {""};
    platform->tools = {
        {.command = {"/usr/sbin/dsconfigad", "-show", "-xml"},
         .output = "<plist><dict><key>General Info</key><dict><key>Active Directory Domain</key>"
                   "<string>corp.sample.test</string></dict></dict></plist>"},
        {.command = {"/bin/ps", "-axc"}, .output = "  412 ??         0:03.71 SampleAgent\n"}};
    return platform;
}

/// What the library says of parameters that it cannot take.
bool blamesParameters(const std::string& error) {
    return error.starts_with("Unknown posture check type: ") ||
           error.starts_with("Required parameter \"") ||
           error.starts_with("Invalid version type") || error.starts_with("Process name missing") ||
           error.ends_with(" is not a string") || error.ends_with(" is not an array") ||
           error.ends_with(" is not an object");
}

void requireInOrder(std::string_view document) {
    const auto runner = VELPlatformRunnerFactory::macPostureCheckRunner(nullptr, boundMac());
    const VELValue result = VELValue::parse(runner->runPostureCheckFromDocumentString(document));
    require(!result.contains("error"));
    if (result.contains("checks")) {
        require(!result.at("checks").empty());
        for (const VELValue& entry : result.at("checks")) {
            require(!blamesParameters(entry.value("error", "")));
        }
    }
}

void requireShowable(const Finding& finding) {
    for (const std::string* text : {&finding.place, &finding.problem, &finding.advice}) {
        require(!text->empty() && text->size() < 4096 && *text == printable(*text));
    }
}

} // namespace

/// Findings are short and safe to show, the same for the document and for its value but for keys
/// given twice, and what has none meets no error of its parameters.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const LintRules rules = {
        "mac", macPostureCheckCatalogue(std::make_shared<VELSimulatedPlatform>()),
        VELMoment(std::chrono::sys_days(std::chrono::year(2030) / 1 / 1))};
    const std::string_view document = fuzzText(data, size);
    std::string failure;
    const auto findings = findingsInDocument(document, rules, &failure);
    const auto request = vel::readJSON(document, nullptr);
    require(findings.has_value() == (request && request->is_object()));
    require(findings.has_value() == failure.empty());
    if (!findings) {
        return 0;
    }
    for (const Finding& finding : *findings) {
        requireShowable(finding);
    }
    require(findingsInRequest(*request, rules).size() <= findings->size());
    if (findings->empty()) {
        requireInOrder(document);
    }
    return 0;
}
