// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Base/VELMoment.h"
#include "Tools/vel-posture/lint/Finding.h"
#include "vel_device_trust/VELValue.h"

#include <span>
#include <string>
#include <string_view>

/// The value of one parameter of a check, to be looked at.
struct ParameterLint {
    const VELValue& value;
    Place place;
    VELMoment now;
    FindingList& findings;

    void report(const FindingRule& rule, std::string problem, std::string advice) const {
        findings.add(rule, place, std::move(problem), std::move(advice));
    }

    /// The text that the value is. Null, and reported, when it is no string: the entry is then an
    /// error with the text `error`.
    [[nodiscard]] const std::string* text(std::string_view error, std::string advice) const;
};

/// What is known of one parameter of a check type.
struct ParameterRules {
    std::string_view type;
    std::string_view parameter;
    /// A good value, as JSON.
    std::string_view example;
    void (*lint)(const ParameterLint& parameter);
};

/// One row for each parameter of the catalogue.
std::span<const ParameterRules> parameterRules();

/// Null if the parameter is not known.
const ParameterRules* rulesOfParameter(std::string_view type, std::string_view parameter);

void lintFingerprint(const ParameterLint& sha1);
void lintDomainPatterns(const ParameterLint& names);
void lintProcesses(const ParameterLint& processes);
void lintVersion(const ParameterLint& version);
void lintRootCertificate(const ParameterLint& certificate);
