// SPDX-License-Identifier: Apache-2.0
#include "Classes/Mac/VELCheckpointEncryptionCheck.h"
#include "Fuzz/FuzzInput.h"
#include "Platform/Simulated/VELSimulatedPlatform.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

/// Whatever the status file holds, the answer is a pass, a plain no or code 11.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto platform = std::make_shared<VELSimulatedPlatform>();
    platform->fileStore.contents["/Library/Application Support/Checkpoint/FDE/fdeencstatus.plist"] =
        std::string(fuzzText(data, size));
    std::optional<VELError> error;
    const bool passes =
        VELCheckpointEncryptionCheck(platform).isCheckpointEncryptionEnabled(&error);
    if (error && (passes || error->code() != 11)) {
        std::abort();
    }
    return 0;
}
