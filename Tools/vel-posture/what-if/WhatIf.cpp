// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/what-if/WhatIf.h"

#include "Base/VELJSON.h"
#include "Platform/Simulated/VELMachineDescription.h"

#include <nlohmann/json.hpp>

#include <utility>

namespace {

VELValue valueOf(const TriedRequest& tried, const Trial& trial) {
    VELArray checks = VELValue::array();
    for (std::size_t index = 0; index < tried.checks.size(); ++index) {
        const TriedCheck& check = tried.checks[index];
        VELDictionary& value = checks.emplace_back(VELValue::object());
        value["type"] = trial.types()[index];
        value["outcome"] = nameOf(check.outcome);
        value["evidence"] = check.evidence.code;
        if (check.outcome == CheckOutcome::Kind::error) {
            value["error"] = check.error;
        }
    }
    VELDictionary value = VELValue::object();
    value["pass"] = tried.passes;
    value["checks"] = std::move(checks);
    return value;
}

VELValue changeOf(const TriedRequest& tried, const TriedRequest& old) {
    if (tried.passes == old.passes) {
        return nullptr;
    }
    return tried.passes ? "passes now" : "fails now";
}

} // namespace

MachineAnswer WhatIf::answer(std::string_view line) const {
    MachineAnswer answer;
    std::optional<VELError> readingError;
    const auto description = vel::readJSON(line, &readingError);
    std::string failure;
    auto machine = description ? vel::machineFromValue(*description, &failure) : nullptr;
    if (machine == nullptr) {
        answer.failure = description ? std::move(failure) : readingError->message();
        return answer;
    }
    if (const VELValue* name = vel::valueUnder("name", *description)) {
        answer.name = name->get<std::string>();
    }
    answer.tried = _request.run(machine, Trial::Explaining::byCode);
    if (_old) {
        // Asking has used runs of tools up, so the old request gets a Mac of its own.
        answer.old =
            _old->run(vel::machineFromValue(*description, nullptr), Trial::Explaining::byCode);
    }
    return answer;
}

std::string WhatIf::text(const MachineAnswer& answer, std::size_t number) const {
    VELDictionary value = VELValue::object();
    if (answer.failure) {
        value["line"] = number;
        value["error"] = *answer.failure;
        return vel::compactText(value);
    }
    value = valueOf(answer.tried, _request);
    value["name"] = answer.name ? VELValue(*answer.name) : VELValue();
    if (answer.old) {
        value["old"] = valueOf(*answer.old, *_old);
        value["change"] = changeOf(answer.tried, *answer.old);
    }
    return vel::compactText(value);
}
