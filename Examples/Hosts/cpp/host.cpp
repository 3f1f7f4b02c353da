// SPDX-License-Identifier: Apache-2.0

// A host in C++: opens its data only if this machine passes the request in the file that it is
// given.
//
//     host REQUEST.json
//
// Exit status: 0 passed, 1 did not pass, 2 could not be asked.

#include <vel_device_trust/vel_device_trust.h>

#include <nlohmann/json.hpp>

#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>

namespace {

/// Prints warnings and errors; the other levels are for troubleshooting.
class ErrorLogger final : public VELHostLogger {
public:
    void logMessage(std::string_view message, std::int64_t level, const char*, const char*,
                    std::int32_t) noexcept override {
        if (level >= VELLogLevel::warning) {
            std::cerr << "log: " << message << '\n';
        }
    }
};

void printCheck(const VELValue& check) {
    std::cout << check.value("type", "(no type)") << ": ";
    // An entry of the request can have a "pass" of its own: look for the error first.
    if (const auto error = check.find("error"); error != check.end()) {
        std::cout << "error: " << *error << '\n';
    } else {
        std::cout << (check.at("pass") == true ? "pass" : "fail") << '\n';
    }
}

} // namespace

int main(int argumentCount, char** arguments) {
    std::ifstream file(argumentCount == 2 ? arguments[1] : "");
    std::ostringstream request;
    if (!(request << file.rdbuf())) {
        std::cerr << "usage: host REQUEST.json\n";
        return 2;
    }
    const auto runner =
        VELPostureCheckRunner::macPostureCheckRunner(std::make_shared<ErrorLogger>());
    const auto result = VELValue::parse(runner->runPostureCheckFromDocumentString(request.str()));
    if (!result.contains("checks")) {
        std::cerr << "not answered: " << result << '\n';
        return 2;
    }
    for (const VELValue& check : result["checks"]) {
        printCheck(check);
    }
    // A request without checks passes: before giving access, make sure that there were some.
    const bool passed = result["pass"] == true && !result["checks"].empty();
    std::cout << (passed ? "PASSED" : "NOT PASSED") << '\n';
    return passed ? 0 : 1;
}
