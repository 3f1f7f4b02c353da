// SPDX-License-Identifier: Apache-2.0
#include "Base/VELJSON.h"
#include "Base/VELText.h"
#include "Base/VELWildcard.h"
#include "Classes/Mac/VELDomainCheck.h"
#include "Tools/vel-posture/DisplayText.h"
#include "Tools/vel-posture/explain/ToolEvidence.h"

using Kind = CheckOutcome::Kind;

namespace {

constexpr const char* domainTool = "/usr/sbin/dsconfigad";

Explanation explainPatterns(const VELValue& names, const std::string& domain, Evidence evidence) {
    evidence.found = domain;
    const std::string bound = "bound to " + named(domain);
    std::vector<std::string> refused;
    bool hasValid = false;
    for (std::size_t index = 0; index < names.size(); ++index) {
        if (!names[index].is_string()) {
            return wrongType("names[" + std::to_string(index) + "]", names[index], "a string");
        }
        const auto& pattern = names[index].get_ref<const std::string&>();
        const bool isValid =
            !pattern.empty() && VELDomainCheck::isValidDomainWildcardString(pattern);
        if (isValid && vel::matchesWildcard(pattern, domain)) {
            evidence.code = "domain-matches";
            evidence.text = bound + ", which matches " + named(pattern);
            return {Kind::pass, std::move(evidence)};
        }
        hasValid = hasValid || isValid;
        refused.push_back(named(pattern) + (isValid           ? ""
                                            : pattern.empty() ? " (matches nothing)"
                                                              : " (not a valid pattern)"));
    }
    evidence.code = refused.empty() ? "domain-patterns-missing"
                    : hasValid      ? "domain-does-not-match"
                                    : "domain-patterns-invalid";
    evidence.text = bound + (refused.empty() ? "; \"names\" has no pattern"
                                             : ", which does not match " + sentence(refused));
    return {Kind::fail, std::move(evidence)};
}

} // namespace

std::optional<Explanation> explainDomain(const VELDictionary& entry, Answers answers) {
    const auto* run = runOf(domainTool, answers);
    if (run == nullptr) {
        return std::nullopt;
    }
    const VELValue& names = entry.at("names");
    if (auto failure = failureOf(*run, "domain-tool")) {
        failure = explainedByHelper(run->command, answers, *std::move(failure));
        failure->expected = names;
        return Explanation{Kind::error, *std::move(failure)};
    }
    Evidence evidence = {.expected = names, .found = nullptr, .source = run->launchPath};
    const auto printed = printedBy(*run);
    if (!printed) {
        Evidence unreadable = unreadableOutput(*run, "domain-tool");
        unreadable.expected = names;
        return Explanation{Kind::fail, std::move(unreadable)};
    }
    if (printed->empty()) {
        evidence.code = "domain-not-bound";
        evidence.text = "bound to no domain: " + printable(run->launchPath) + " printed nothing";
        return Explanation{Kind::fail,
                           explainedByHelper(run->command, answers, std::move(evidence))};
    }
    std::optional<VELError> error;
    const auto domain = VELDomainCheck::domainInPropertyList(*printed, &error);
    if (error) {
        evidence.code = "domain-output-malformed";
        evidence.text = "what " + printable(run->launchPath) +
                        " printed is no property list: " + printable(error->description());
        return Explanation{Kind::error, std::move(evidence)};
    }
    if (!domain) {
        evidence.code = "domain-not-in-output";
        evidence.text =
            "bound to no domain: what " + printable(run->launchPath) + " printed names none";
        return Explanation{Kind::fail, std::move(evidence)};
    }
    if (!names.is_array()) {
        return wrongType("names", names, "an array");
    }
    return explainPatterns(names, *domain, std::move(evidence));
}
