// SPDX-License-Identifier: Apache-2.0

// A test of a host in C++: what it shows on Macs in states that the test describes. It needs
// neither a Mac nor root.

#include <vel_device_trust_described/vel_device_trust_described.h>

#include <nlohmann/json.hpp>

#include <iostream>
#include <string>

namespace {

/// What the host under test shows to its user. In a real project this is the host's own code, which
/// is handed a runner: of this machine by the program, of a described Mac by the test.
std::string screenText(const VELPostureCheckRunner& runner) {
    const auto result = VELValue::parse(runner.runPostureCheckFromDocumentString(
        R"({"mac": [{"type": "localFirewall"}, {"type": "minimumOSVersion", "version": "14.0"}]})"));
    if (!result.contains("checks")) {
        return "Cannot check this computer.";
    }
    for (const VELValue& check : result["checks"]) {
        if (check.contains("error") || check["pass"] != true) {
            return "Not allowed: " + check["type"].get<std::string>();
        }
    }
    return "Welcome";
}

int failures = 0;

void expectScreen(const std::string& expected, std::string_view description) {
    std::string error;
    const auto runner = describedMacPostureCheckRunner(description, nullptr, &error);
    const std::string shown = runner != nullptr ? screenText(*runner) : "no such Mac: " + error;
    if (shown != expected) {
        std::cerr << "expected \"" << expected << "\", but it shows \"" << shown << "\"\n";
        ++failures;
    }
}

} // namespace

int main() {
    expectScreen("Welcome", R"({"productVersion": "14.5", "tools": [{
        "command": ["/usr/libexec/ApplicationFirewall/socketfilterfw", "--getglobalstate"],
        "output": "Firewall is enabled. (State = 1)\n"}]})");
    expectScreen("Not allowed: localFirewall", R"({"productVersion": "14.5", "tools": [{
        "command": ["/usr/libexec/ApplicationFirewall/socketfilterfw", "--getglobalstate"],
        "output": "Firewall is disabled. (State = 0)\n"}]})");
    // A tool that hangs is terminated after ten seconds of virtual time: the test does not wait.
    expectScreen("Not allowed: localFirewall", R"({"productVersion": "14.5", "tools": [{
        "command": ["/usr/libexec/ApplicationFirewall/socketfilterfw", "--getglobalstate"],
        "seconds": 60}]})");
    std::cout << (failures == 0 ? "passed" : "failed") << '\n';
    return failures == 0 ? 0 : 1;
}
