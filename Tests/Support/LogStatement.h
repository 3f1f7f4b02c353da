// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tests/Support/RecordingLogger.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

/// The source statement that covers the line at which a message says it was logged, white space
/// outside of literals collapsed and adjoining string literals joined. Empty when the file cannot
/// be read or has no such line. (Compilers differ in which line of a statement they name.)
std::string statementOf(const LogLine& logged);

/// Whether a message was logged by a statement that really stands where it says, and that holds
/// `format` (as written in the source, without the quotes).
testing::AssertionResult standsWhereItSays(const LogLine& logged, std::string_view format);
