// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/explain/ExplainedResult.h"

#include "Base/VELJSON.h"
#include "Tools/vel-posture/RequestSource.h"
#include "Tools/vel-posture/check/CheckOutcome.h"

std::map<std::size_t, std::vector<VELRecordedAnswer>>
answersByEntry(std::vector<VELRecordedAnswer> answers) {
    std::map<std::size_t, std::vector<VELRecordedAnswer>> byEntry;
    for (VELRecordedAnswer& answer : answers) {
        if (answer.entry) {
            byEntry[*answer.entry].push_back(std::move(answer));
        }
    }
    return byEntry;
}

std::vector<Evidence> evidenceOfResult(const VELValue& result, const VELValue& request,
                                       std::vector<VELRecordedAnswer> answers) {
    std::vector<Evidence> evidence;
    if (!isDeviceTrustResult(result)) {
        return evidence;
    }
    auto byEntry = answersByEntry(std::move(answers));
    const VELValue* entries = vel::valueUnder(platformIdentifier, request);
    for (const CheckOutcome& outcome : checkOutcomes(result, request)) {
        const std::size_t index = evidence.size();
        evidence.push_back(
            explain(entries->at(index), outcome.kind, outcome.error, byEntry[index]));
    }
    return evidence;
}

nlohmann::ordered_json jsonOfEvidence(const Evidence& evidence) {
    return {{"code", evidence.code},
            {"text", evidence.text},
            {"expected", nlohmann::ordered_json(evidence.expected)},
            {"found", nlohmann::ordered_json(evidence.found)},
            {"source", evidence.source}};
}

std::string explainedDocument(const std::string& resultDocument,
                              const std::vector<Evidence>& evidence) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const Evidence& each : evidence) {
        list.push_back(jsonOfEvidence(each));
    }
    return R"({"result":)" + resultDocument + R"(,"evidence":)" +
           list.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "}";
}
