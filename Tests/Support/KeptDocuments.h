// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

/// Documents that tests produce are kept, each content once, in the folder that the environment
/// variable VEL_TEST_DOCUMENTS names, so that they can be validated when all tests have run.
/// Without the variable nothing is kept. Throws std::runtime_error when one cannot be kept.
///
/// Nothing needs to be done for documents that come from a runner as text or bytes, from
/// `vel-posture` as a ChildProgram, or go into `machineFromDescription` and are accepted.

/// A result that came out of the library: "result-*.json".
void keepResult(std::string_view text);

/// A machine description that was accepted: "machine-description-*.json".
void keepMachineDescription(std::string_view text);

inline constexpr const char* keptDocumentsVariable = "VEL_TEST_DOCUMENTS";
