// SPDX-License-Identifier: Apache-2.0
#include "Base/VELJSON.h"
#include "Classes/Mac/VELPostureCheckRunner+Mac.h"
#include "Fuzz/JSONMutation.h"
#include "Platform/Simulated/VELSimulatedPlatform.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace {

const VELPostureCheckRunner& simulatedRunner() {
    static const auto runner = [] {
        const auto platform = std::make_shared<VELSimulatedPlatform>();
        platform->productVersionRecord = "14.5";
        platform->hardwareSerialNumber = "C02EXAMPLE";
        platform->preferenceStore.user["com.vel.deviceId"]["deviceId"] = "device";
        return VELPlatformRunnerFactory::macPostureCheckRunner(nullptr, platform);
    }();
    return *runner;
}

/// What a device-trust result owes to its request, beside its form.
void requireFits(const VELValue& result, const VELValue& request) {
    const VELValue& details = result["metrics"]["details"];
    const std::size_t count = request.contains("mac") ? request["mac"].size() : 0;
    require(result["checks"].size() == count && details.size() == count);
    double total = 0.0;
    bool allPass = true;
    bool anyError = false;
    for (std::size_t index = 0; index < count; ++index) {
        const VELValue& entry = request["mac"][index];
        const VELValue& checked = result["checks"][index];
        for (const auto& [key, value] : entry.items()) {
            require(key == "pass" || key == "error" || checked[key] == value);
        }
        total += details[index]["check"]["total_ms"].get<double>();
        allPass = allPass && checked.contains("pass") && checked["pass"] == true;
        anyError = anyError || checked.contains("error");
    }
    require(result["metrics"]["total_ms"].get<double>() == total);
    // An entry may bring a "pass" or an "error" of its own: neither decides then.
    require(allPass || result["pass"] == false);
    require(!allPass || anyError || result["pass"] == true);
}

} // namespace

/// Whatever the request holds, the result is one of the three result documents.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = fuzzText(data, size);
    // The result may be nested two levels deeper than any request, by the type in the metrics.
    const VELValue result =
        VELValue::parse(simulatedRunner().runPostureCheckFromDocumentString(text), nullptr, false);
    const auto request = vel::readJSON(text, nullptr);
    require(!request || VELValue::accept(text));
    require(result.is_object());
    const bool isError =
        result.size() == 1 && result.contains("error") && result["error"].is_string();
    require(request || isError);
    if (!isError) {
        const bool isIdentity = request->contains(kIDParams);
        require(isIdentity ? result.size() == 2 && result[kIDParams].is_object()
                           : result.size() == 3 && result["pass"].is_boolean());
        if (!isIdentity) {
            requireFits(result, *request);
        }
    }
    return 0;
}
