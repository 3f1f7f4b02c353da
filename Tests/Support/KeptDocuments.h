// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

/// Tests hand over documents here, to be validated against their schemas after the test run. They
/// are written, each content once, to the folder that the environment variable VEL_TEST_DOCUMENTS
/// names; without the variable these functions do nothing. They throw std::runtime_error when a
/// document cannot be written.

/// A result from the library: "result-*.json". Returns the text.
std::string keepResult(std::string text);

/// A machine description that was accepted: "machine-description-*.json".
void keepMachineDescription(std::string_view text);

/// A document of another kind, named as its schema: "envelope", "lint-findings", "log-line",
/// "what-if-line", "what-if-summary".
void keepDocument(const char* kind, std::string_view text);

inline constexpr const char* keptDocumentsVariable = "VEL_TEST_DOCUMENTS";
