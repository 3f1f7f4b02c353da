// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "vel_device_trust/VELValue.h"

#include <string>
#include <vector>

/// What became of one entry of a request.
struct CheckOutcome {
    enum class Kind { pass, fail, error };

    Kind kind = Kind::error;
    double milliseconds = 0;
    /// The entry's type for people to read; "(no type)" where it has none.
    std::string type;
    /// What tells the entry from others of its type: its "id", "name" or "title", else its first
    /// parameter, such as "version: 14.5". Empty if it has no parameter. Shortened.
    std::string identification;
    /// All parameters, such as "comment: none yet, version: 99.0". Shortened.
    std::string parameters;
    /// The error's text. Empty unless the entry is an error.
    std::string error;
};

/// A value of a result as reports show it: a string without quotes, any other value as JSON.
std::string shown(const VELValue& value);

/// "pass", "fail" or "error".
const char* nameOf(CheckOutcome::Kind kind);

bool isDeviceTrustResult(const VELValue& result);
bool isErrorResult(const VELValue& result);

/// Whether `result` is a device-trust result without checks.
bool ranNoCheck(const VELValue& result);

/// The outcomes of a device-trust result, in order. Texts are UTF-8 with control and format
/// characters escaped.
///
/// `request` is what was answered, or null if it is not known: it tells an "error" or a "pass" that
/// an entry brought itself from the result's own. Where the two are the same, the entry counts as
/// an error.
std::vector<CheckOutcome> checkOutcomes(const VELValue& result, const VELValue& request);

/// The kinds of these outcomes alone.
std::vector<CheckOutcome::Kind> outcomeKinds(const VELValue& result, const VELValue& request);

/// The exit status that stands for a result: 0 passed or answered, 1 did not pass, 2 an error
/// result. If `isStrict`, 3 when no check failed but some ended in an error.
int exitStatus(const VELValue& result, const VELValue& request, bool isStrict);

/// The worse of two exit statuses. From the worst: 2, 1, 3, 0.
int worseStatus(int left, int right);
