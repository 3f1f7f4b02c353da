// SPDX-License-Identifier: Apache-2.0
#include "Classes/Mac/VELFirewallCheck.h"
#include "Tools/vel-posture/DisplayText.h"
#include "Tools/vel-posture/explain/ToolEvidence.h"

using namespace vel::recorded;
using Kind = CheckOutcome::Kind;

namespace {

constexpr const char* firewallTool = "/usr/libexec/ApplicationFirewall/socketfilterfw";
constexpr const char* store = "the stored state (globalstate of com.apple.alf)";

Explanation state(std::int64_t number, Evidence evidence) {
    const bool isOn = number > 0;
    evidence.code += isOn ? "-on" : "-off";
    evidence.text += isOn ? "the firewall is on" : "the firewall is off";
    evidence.text += " (state " + std::to_string(number) + ")";
    evidence.expected = "on";
    evidence.found = isOn ? "on" : "off";
    return {isOn ? Kind::pass : Kind::fail, std::move(evidence)};
}

/// What is stored, if that was asked for: it is no integer.
std::string unusableState(Answers answers) {
    for (const auto* stored : answersOf<PreferenceValue>(answers)) {
        if (stored->value) {
            return "the stored state is " + shownValue(*stored->value) + ", which is no integer";
        }
    }
    return "no state is stored";
}

} // namespace

std::optional<Explanation> explainFirewall(const VELDictionary& /*entry*/, Answers answers) {
    const Run* run = runOf(firewallTool, answers);
    if (run == nullptr) {
        return std::nullopt;
    }
    const auto* stored = answerOf<PreferenceInteger>(answers);
    const bool hasStored = stored != nullptr && stored->value.found;
    auto failure = failureOf(*run, "firewall-tool");
    if (failure) {
        failure = explainedByHelper(run->command, answers, *std::move(failure));
        failure->expected = "on";
        if (hasStored) {
            failure->text += "; the stored state, " + std::to_string(stored->value.value) +
                             ", does not count then";
        }
        return Explanation{Kind::error, *std::move(failure)};
    }
    const auto printed = printedBy(*run);
    if (const auto number = VELFirewallCheck::stateInOutput(printed.value_or(""))) {
        return state(*number, {.code = "firewall", .text = "", .source = run->launchPath});
    }
    if (stored == nullptr) {
        return std::nullopt;
    }
    const std::string program = printable(run->launchPath);
    if (hasStored || stored->value.value > 0) {
        return state(stored->value.value, {.code = "stored-firewall-state",
                                           .text = program + " printed no state; as stored, ",
                                           .source = store});
    }
    Evidence unknown = printed ? Evidence{.code = "firewall-state-unknown",
                                          .text = program + " printed no state",
                                          .source = run->launchPath}
                               : unreadableOutput(*run, "firewall-tool");
    unknown = explainedByHelper(run->command, answers, std::move(unknown));
    unknown.text += "; " + unusableState(answers);
    unknown.expected = "on";
    return Explanation{Kind::error, std::move(unknown)};
}
