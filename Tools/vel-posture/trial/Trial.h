// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Simulated/VELSimulatedPlatform.h"
#include "Tools/vel-posture/check/CheckOutcome.h"
#include "Tools/vel-posture/explain/Evidence.h"

#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

/// What one entry of a request comes to on a described Mac.
struct TriedCheck {
    CheckOutcome::Kind outcome = CheckOutcome::Kind::error;
    /// The error's text. Empty unless the entry is an error.
    std::string error;
    /// Why. The code alone, if no more was asked for.
    Evidence evidence;
};

/// What a request comes to on a described Mac.
struct TriedRequest {
    bool passes = false;
    /// One for each entry, in order.
    std::vector<TriedCheck> checks;
};

/// A request that is tried on many described Macs.
class Trial {
public:
    /// `name` is what reports call the request. Throws `ProgramFailure`, with the name, when
    /// `document` is no request for checks. One that lists none is tried too, and passes: that is
    /// told on standard error.
    Trial(const std::string& name, const std::string& document);

    enum class Explaining { inFull, byCode };

    /// Runs the request as the library does, without a log. The Mac keeps no state of it but what
    /// asking changes: ask a Mac once.
    [[nodiscard]] TriedRequest run(const std::shared_ptr<VELSimulatedPlatform>& machine,
                                   Explaining explaining) const;

    /// The type of each entry for people to read; "(no type)" where it has none.
    [[nodiscard]] const std::vector<std::string>& types() const { return _types; }

private:
    VELValue _request;
    std::vector<std::string> _types;
    /// The certificates that the request itself names.
    std::shared_ptr<VELParsedCertificates> _parsed = std::make_shared<VELParsedCertificates>();
};
