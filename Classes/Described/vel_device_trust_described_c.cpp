// SPDX-License-Identifier: Apache-2.0
#include "vel_device_trust_described/vel_device_trust_described_c.h"

#include "Classes/Mac/VELRunnerHandle.h"
#include "vel_device_trust_described/vel_device_trust_described.h"

#include <memory>
#include <string>
#include <string_view>
#include <utility>

vel_runner* vel_described_runner_create(const char* description, size_t description_length,
                                        vel_log_function log, void* context,
                                        vel_release_function release, char** error) {
    if (error != nullptr) {
        *error = nullptr;
    }
    try {
        auto logger = callbackLogger(log, context, release);
        auto handle = std::make_unique<vel_runner>(); // first: the logger is replaced last
        std::string text;
        handle->runner = describedMacPostureCheckRunner(
            description_length == 0 ? std::string_view()
                                    : std::string_view(description, description_length),
            std::move(logger), &text);
        if (handle->runner != nullptr) {
            return handle.release();
        }
        if (error != nullptr) {
            *error = copyForHost(text);
        }
    } catch (...) { // NOLINT(bugprone-empty-catch): no memory, for which there is no text
    }
    return nullptr;
}
