// SPDX-License-Identifier: Apache-2.0
#include "Base/VELJSON.h"
#include "Classes/Mac/VELPostureCheckRunner+Mac.h"
#include "Platform/Simulated/VELSimulatedPlatform.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

const VELPostureCheckRunner& simulatedRunner() {
    static const auto runner = [] {
        const auto platform = std::make_shared<VELSimulatedPlatform>();
        platform->productVersionRecord = "14.5";
        platform->hardwareSerialNumber = "C02EXAMPLE";
        return VELPlatformRunnerFactory::macPostureCheckRunner(nullptr, platform);
    }();
    return *runner;
}

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

} // namespace

/// Whatever the request holds, the result is one of the three result documents.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto result = simulatedRunner().runPostureCheckFromDocumentString(
        {reinterpret_cast<const char*>(data), size});
    const auto document = vel::readJSON(result, nullptr);
    require(document && document->is_object());
    const bool isError = document->size() == 1 && document->contains("error");
    const bool isIdentity = document->size() == 2 && document->contains(kIDParams);
    const bool isDeviceTrust = document->size() == 3 && (*document)["pass"].is_boolean() &&
                               (*document)["checks"].is_array();
    require(isError || isIdentity || isDeviceTrust);
    return 0;
}
