// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/lint/ParameterLint.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <utility>

namespace {

constexpr std::array rows = {
    ParameterRules{"anyProcessRunning", "processes", R"([{"name": "SampleAgent"}])", lintProcesses},
    ParameterRules{"certificatePresent", "sha1", R"("da39a3ee5e6b4b0d3255bfef95601890afd80709")",
                   lintFingerprint},
    ParameterRules{"joinedToDomain", "names", R"(["*.sample.test"])", lintDomainPatterns},
    ParameterRules{"minimumOSVersion", "version", R"("14.5")", lintVersion},
    ParameterRules{"perDeviceCertificatePresent", "cert", R"("MIIB...")", lintRootCertificate},
};

} // namespace

const std::string* ParameterLint::text(std::string_view error, std::string advice) const {
    const auto* text = value.get_ptr<const std::string*>();
    if (text == nullptr) {
        report(rule::wrongType,
               finding::wrongKind(value, "a string") + finding::entryIsAnError(error),
               std::move(advice));
    }
    return text;
}

std::span<const ParameterRules> parameterRules() {
    return rows;
}

const ParameterRules* rulesOfParameter(std::string_view type, std::string_view parameter) {
    const auto* const row = std::find_if(rows.begin(), rows.end(), [&](const ParameterRules& each) {
        return each.type == type && each.parameter == parameter;
    });
    return row == rows.end() ? nullptr : row;
}
