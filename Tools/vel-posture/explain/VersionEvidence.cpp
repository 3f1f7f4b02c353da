// SPDX-License-Identifier: Apache-2.0
#include "Base/VELJSON.h"
#include "Base/VELText.h"
#include "Tools/vel-posture/explain/Explanation.h"

using Kind = CheckOutcome::Kind;

std::optional<Explanation> explainVersion(const VELDictionary& entry, Answers answers) {
    const VELValue& version = entry.at("version");
    if (!version.is_string()) {
        return wrongType("version", version, "a string");
    }
    const auto* answer = answerOf<vel::recorded::ProductVersion>(answers);
    if (answer == nullptr) {
        return std::nullopt;
    }
    const auto& wanted = version.get_ref<const std::string&>();
    Evidence evidence = {
        .code = "version-unknown", .expected = wanted, .source = "the product version"};
    if (!answer->version) {
        evidence.text = "found no product version, wanted at least " + named(wanted);
        return Explanation{Kind::fail, std::move(evidence)};
    }
    const std::string& found = *answer->version;
    const bool isPlain = wanted.find_first_not_of("0123456789.") == std::string::npos;
    const bool passes = vel::compareNumerically(wanted, found) <= 0;
    evidence.code = passes    ? "version-reached"
                    : isPlain ? "version-too-old"
                              : "version-not-comparable";
    evidence.found = found;
    evidence.text = "found " + named(found) + ", wanted at least " + named(wanted);
    if (!isPlain) {
        evidence.text += ", which is not digits and dots alone";
    } else if (!passes && wanted.starts_with(found)) {
        evidence.text += ": of the two the longer one is the later";
    }
    return Explanation{passes ? Kind::pass : Kind::fail, std::move(evidence)};
}
