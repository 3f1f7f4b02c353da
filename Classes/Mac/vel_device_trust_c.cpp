// SPDX-License-Identifier: Apache-2.0
#include "vel_device_trust/vel_device_trust_c.h"

#include "Classes/Mac/VELRunnerHandle.h"

#include <cstdlib>
#include <exception>
#include <new>
#include <string>
#include <string_view>
#include <utility>

namespace {

// What is answered when there is no memory for an answer: never freed.
char outOfMemory[] = R"({"error":"out of memory"})";

char* resultOf(std::string_view document, size_t* length) noexcept {
    char* result = copyForHost(document);
    if (result == nullptr) {
        result = outOfMemory;
        document = outOfMemory;
    }
    if (length != nullptr) {
        *length = document.size();
    }
    return result;
}

std::string errorDocument(const VELPostureCheckRunner& runner, std::string_view message) {
    const auto bytes = runner.errorResult(message);
    return {bytes.begin(), bytes.end()};
}

std::string runRequest(const VELPostureCheckRunner& runner, const char* request, size_t length) {
    if (request == nullptr && length != 0) {
        return errorDocument(runner, "the request is null");
    }
    try {
        return runner.runPostureCheckFromDocumentString(
            length == 0 ? std::string_view() : std::string_view(request, length));
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& exception) {
        return errorDocument(runner, exception.what());
    } catch (...) {
        return errorDocument(runner, "a check raised an exception of an unknown kind");
    }
}

} // namespace

vel_runner* vel_runner_create(vel_log_function log, void* context, vel_release_function release) {
    try {
        // First, so that the context is released even if there is no memory for the rest.
        auto logger = callbackLogger(log, context, release);
        return new vel_runner{VELPostureCheckRunner::macPostureCheckRunner(std::move(logger))};
    } catch (...) {
        return nullptr;
    }
}

void vel_runner_free(vel_runner* runner) {
    delete runner;
}

char* vel_runner_run(const vel_runner* runner, const char* request, size_t request_length,
                     size_t* result_length) {
    if (runner == nullptr) {
        return resultOf(R"({"error":"the runner is null"})", result_length);
    }
    try {
        return resultOf(runRequest(*runner->runner, request, request_length), result_length);
    } catch (...) {
        return resultOf(outOfMemory, result_length);
    }
}

void vel_result_free(char* result) {
    if (result != outOfMemory) {
        std::free(result);
    }
}

const char* vel_version(void) {
    return VEL_PROJECT_VERSION;
}
