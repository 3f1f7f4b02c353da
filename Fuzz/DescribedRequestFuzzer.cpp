// SPDX-License-Identifier: Apache-2.0
#include "Classes/Mac/VELPostureCheckRunner+Mac.h"
#include "Fuzz/JSONMutation.h"
#include "Platform/Simulated/VELMachineDescription.h"

#include <nlohmann/json.hpp>

#include <string>
#include <utility>

namespace {

class LineCollector final : public VELHostLogger {
public:
    void logMessage(std::string_view message, std::int64_t level, const char* /*file*/,
                    const char* function, std::int32_t line) noexcept override {
        lines += std::to_string(level) + function + std::to_string(line);
        lines += std::string(message) + '\n';
    }

    std::string lines;
};

/// The result of a request to a described Mac, and the log.
std::pair<std::string, std::string> answer(const VELValue& machine, const std::string& request) {
    const auto logger = std::make_shared<LineCollector>();
    const auto runner = VELPlatformRunnerFactory::macPostureCheckRunner(
        logger, vel::machineFromValue(machine, nullptr));
    return {runner->runPostureCheckFromDocumentString(request), logger->lines};
}

/// Whether a Mac has anything that a check of this type could pass for.
bool hasGround(const VELValue& machine, const std::string& type) {
    const VELValue keychain = machine.value("keychain", VELValue::object());
    const VELValue none = VELValue::array();
    if (type == "certificatePresent") {
        return !keychain.value("certificates", none).empty();
    }
    if (type == "perDeviceCertificatePresent") {
        return !keychain.value("identities", none).empty();
    }
    if (type == "minimumOSVersion") {
        return machine.contains("productVersion");
    }
    if (type == "anyProcessRunning" || type == "joinedToDomain") {
        return !machine.value("tools", none).empty();
    }
    return type == "fullDiskEncryption" || type == "localFirewall";
}

} // namespace

/// The input is {"machine": a described Mac, "request": a request to it}. Equal Macs answer
/// equally, to the last figure and log line, and what passes has something to pass for.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto input = vel::readJSON(fuzzText(data, size), nullptr);
    if (!input || !input->is_object() || !input->contains("machine") ||
        !input->contains("request") || !vel::machineFromValue((*input)["machine"], nullptr)) {
        return 0;
    }
    const VELValue& machine = (*input)["machine"];
    const VELValue& request = (*input)["request"];
    const std::string document = vel::writeJSON(request, nullptr).value();
    const auto first = answer(machine, document);
    require(answer(machine, document) == first);

    const VELValue result = VELValue::parse(first.first);
    require(result.is_object());
    if (!result.contains("checks")) {
        require(!result.contains("pass"));
        return 0;
    }
    bool allPass = true;
    for (std::size_t index = 0; index < result["checks"].size(); ++index) {
        const VELValue& entry = result["checks"][index];
        const bool passes = entry.contains("pass") && entry["pass"] == true;
        allPass = allPass && passes;
        if (passes && !request["mac"][index].contains("pass")) {
            require(hasGround(machine, entry["type"].get<std::string>()));
        }
    }
    require(allPass || result["pass"] == false);
    return 0;
}
