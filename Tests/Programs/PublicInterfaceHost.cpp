// SPDX-License-Identifier: Apache-2.0

// A host that sees the shared library and its public headers alone, with a check of its own. Exits
// with 0 when everything it uses is exported and answers as documented; else says what did not.

#include "vel_device_trust/vel_device_trust.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>

namespace {

int failures = 0;

void expect(bool condition, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "not so: %s\n", what);
        ++failures;
    }
}

#define EXPECT(condition) expect(condition, #condition)

class CountingLogger final : public VELHostLogger {
public:
    void logMessage(std::string_view, std::int64_t, const char*, const char*,
                    std::int32_t) noexcept override {
        ++messages;
    }

    int messages = 0;
};

class RefusingCheck final : public VELPostureCheckItem {
public:
    bool runCheckWithParameters(const VELDictionary& parameters,
                                std::optional<VELError>* error) const override {
        SetPostureCheckError(error, VELPostureCheckErrorGeneral,
                             parameters["reason"].get<std::string>());
        return false;
    }

    std::optional<std::vector<std::string>> requiredParameters() const override {
        return {{"reason"}};
    }
};

/// An exception of a library that both sides have compiled in.
class ThrowingCheck final : public VELPostureCheckItem {
public:
    bool runCheckWithParameters(const VELDictionary& parameters,
                                std::optional<VELError>*) const override {
        return parameters["type"].get<bool>();
    }
};

void useExceptions() {
    const VELPostureCheckRunner runner("here", {{"throw", std::make_shared<ThrowingCheck>()}},
                                       nullptr);
    const auto result = VELValue::parse(
        runner.runPostureCheckFromDocumentString(R"({"here": [{"type": "throw"}]})"));
    EXPECT(result["checks"][0]["error"] ==
           "[json.exception.type_error.302] type must be boolean, but is string");

    const VELValue type = "throw";
    bool isCaught = false;
    try {
        runner.runCheck(&type, {{"type", "throw"}}, nullptr);
    } catch (const VELValue::type_error& error) {
        isCaught = error.id == 302;
    }
    EXPECT(isCaught);

    isCaught = false;
    try {
        static_cast<void>(runner.runDeviceTrustCheckFromDictionary({{"here", 1}}));
    } catch (const std::invalid_argument&) {
        isCaught = true;
    }
    EXPECT(isCaught);
}

void useRunner() {
    const auto logger = std::make_shared<CountingLogger>();
    const VELPostureCheckRunner runner("here", {{"refuse", std::make_shared<RefusingCheck>()}},
                                       logger);
    const auto result = VELValue::parse(runner.runPostureCheckFromDocumentString(
        R"({"here": [{"type": "refuse", "reason": "closed"}]})"));
    EXPECT(result["pass"] == false);
    EXPECT(result["checks"][0]["error"] == "closed");
    EXPECT(logger->messages == 4);

    std::optional<VELError> error;
    const VELValue type = "refuse";
    EXPECT(!runner.runCheck(&type, VELValue::object(), &error));
    EXPECT(error && error->code() == VELPostureCheckErrorMissingParameter);
    EXPECT(error &&
           error->message() == R"(Required parameter "reason" missing from check type "refuse".)");
    EXPECT(runner.getTimestamp() > 0.0);
}

void useMacRunner() {
    const auto runner = VELPostureCheckRunner::macPostureCheckRunner(nullptr);
    const std::string request = R"({"mac": []})";
    const auto bytes = runner->runPostureCheckFromDocument(
        {reinterpret_cast<const std::uint8_t*>(request.data()), request.size()});
    EXPECT(VELValue::parse(bytes)["pass"] == true);
    EXPECT(runner->runDeviceTrustCheckFromDictionary(VELValue::object())["checks"].empty());
    EXPECT(runner->runGetIdentityParametersFromDictionary(VELValue::object()).empty());
    EXPECT(VELValue::parse(runner->errorResult("why")) == VELValue({{"error", "why"}}));
}

void useConstants() {
    EXPECT(vel_device_trustVersionNumber == 1.0);
    EXPECT(std::string(vel_device_trustVersionString).starts_with("vel_device_trust 1."));
    EXPECT(std::string(kVELPostureCheckErrorDomain) == "com.vel.posturecheck");
    EXPECT(std::string(kUnlocalizedDescriptionKey) ==
           "com.vel.posturecheck.unlocalized-description");
    EXPECT(std::string(kIDParams) == "identity_params");
    EXPECT(std::string(kMacSerialNumberKey) == "device_serial_number");
    EXPECT(std::string(kDeviceIDKey) == "device_id");
}

} // namespace

int main() {
    useConstants();
    useRunner();
    useExceptions();
    useMacRunner();
    return failures == 0 ? 0 : 1;
}
