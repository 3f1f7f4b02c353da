// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/what-if/WhatIf.h"

#include "Base/VELJSON.h"
#include "Platform/Simulated/VELMachineDescription.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <utility>

namespace {

/// A text as a JSON string. Few need the JSON library for it.
std::string quoted(const std::string& text) {
    const bool isPlain = std::ranges::all_of(text, [](char character) {
        return character >= ' ' && character <= '~' && character != '"' && character != '\\';
    });
    return isPlain ? '"' + text + '"' : vel::compactText(text);
}

/// The value of "checks".
std::string checksText(const TriedRequest& tried, const Trial& trial) {
    std::string list;
    for (std::size_t index = 0; index < tried.checks.size(); ++index) {
        const TriedCheck& check = tried.checks[index];
        list += list.empty() ? "{" : ",{";
        if (check.outcome == CheckOutcome::Kind::error) {
            list += R"("error":)" + quoted(check.error) + ",";
        }
        list += R"("evidence":)" + quoted(check.evidence.code);
        list += R"(,"outcome":)" + quoted(nameOf(check.outcome));
        list += R"(,"type":)" + quoted(trial.types()[index]) + "}";
    }
    return "[" + list + "]";
}

/// The value of "pass".
const char* passText(const TriedRequest& tried) {
    return tried.passes ? "true" : "false";
}

/// The value of "change".
const char* changeText(const TriedRequest& tried, const TriedRequest& old) {
    if (tried.passes == old.passes) {
        return "null";
    }
    return tried.passes ? R"("passes now")" : R"("fails now")";
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

// Put together here: a value of the JSON library for every machine would cost several times as
// much. Keys stand in the order in which the library writes them.
std::string WhatIf::text(const MachineAnswer& answer, std::size_t number) const {
    if (answer.failure) {
        return R"({"error":)" + quoted(*answer.failure) + R"(,"line":)" + std::to_string(number) +
               "}";
    }
    std::string json = "{";
    if (answer.old) {
        json += std::string(R"("change":)") + changeText(answer.tried, *answer.old) + ",";
    }
    json += R"("checks":)" + checksText(answer.tried, _request);
    json += R"(,"name":)" + (answer.name ? quoted(*answer.name) : "null");
    if (answer.old) {
        json += R"(,"old":{"checks":)" + checksText(*answer.old, *_old);
        json += std::string(R"(,"pass":)") + passText(*answer.old) + "}";
    }
    return json + R"(,"pass":)" + passText(answer.tried) + "}";
}
