// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Recording/VELRecording.h"
#include "Tools/vel-posture/check/CheckOutcome.h"

#include <nlohmann/json.hpp>
#include <span>
#include <string>

/// Why an entry of a request has its outcome.
struct Evidence {
    /// Names the cause: lower-case words joined by hyphens, such as "volume-not-encrypted". Stable:
    /// it never changes its meaning.
    std::string code = {};
    /// A sentence or two for people: what was found, and where. UTF-8.
    std::string text = {};
    /// What the entry asks for, and what was found instead or as well; null where there is nothing
    /// to say.
    VELValue expected = nullptr;
    VELValue found = nullptr;
    /// What was asked: "the mount table", a tool, a file.
    std::string source = {};
};

/// Explains the outcome of an entry. `error` is the error's text, empty if the entry is no error.
/// `answers` are those that the platform gave for it, in order. A pure function: it asks nothing.
Evidence explain(const VELDictionary& entry, CheckOutcome::Kind outcome, const std::string& error,
                 std::span<const VELRecordedAnswer> answers);
