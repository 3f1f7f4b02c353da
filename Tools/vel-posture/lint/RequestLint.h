// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Base/VELMoment.h"
#include "Tools/vel-posture/lint/Finding.h"
#include "vel_device_trust/VELPostureCheckRunner.h"
#include "vel_device_trust/VELValue.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What a request is read against.
struct LintRules {
    /// The runner's check types; its requests list their checks under `platformIdentifier`.
    std::string platformIdentifier;
    VELPostureCheckCatalogue catalogue;
    /// When certificates are to be valid.
    VELMoment now;
};

/// Whether a value is a list that holds an entry with a type.
bool isListOfChecks(const VELValue& value);

/// Likely mistakes in a request, in the order of the document: what is not read, what can only
/// fail or only pass, what ends in an error. No check is run and no machine is asked.
/// `request` is an object.
std::vector<Finding> findingsInRequest(const VELValue& request, const LintRules& rules);

/// The same for a document, with lines and columns; keys that are given twice are findings, too.
/// Returns nullopt if it cannot be read as an object; `failure` then says why, and where.
std::optional<std::vector<Finding>>
findingsInDocument(std::string_view document, const LintRules& rules, std::string* failure);
