// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Recording/VELRecording.h"
#include "Tools/vel-posture/explain/Evidence.h"

#include <cstddef>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

/// The answers to each entry, in order; those that belong to no entry are left out.
std::map<std::size_t, std::vector<VELRecordedAnswer>>
answersByEntry(std::vector<VELRecordedAnswer> answers);

/// Why each entry of a device-trust result has its outcome, in order; empty for any other result.
/// `request` is what was answered, `answers` what the platform was asked for it.
std::vector<Evidence> evidenceOfResult(const VELValue& result, const VELValue& request,
                                       std::vector<VELRecordedAnswer> answers);

/// The JSON object of an entry's evidence.
nlohmann::ordered_json jsonOfEvidence(const Evidence& evidence);

/// The document {"result": ..., "evidence": [...]}, the result byte for byte as it is given.
std::string explainedDocument(const std::string& resultDocument,
                              const std::vector<Evidence>& evidence);
