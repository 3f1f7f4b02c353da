// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tools/vel-posture/explain/Explanation.h"

/// What the runs of a tool tell.

/// The argument with which a helper says in a line why it prints nothing: "CODE: TEXT".
inline constexpr std::string_view whyArgument = "--why";

/// What stands for the keychain's tool reads the keychains; no check runs it as a task.
inline constexpr const char* keychainTool = "/usr/bin/security";

/// The runs of a tool of macOS, in order, without those that ask it why.
std::vector<const vel::recorded::Run*> runsOf(std::string_view tool, Answers answers);

/// The first of them; null when there is none.
const vel::recorded::Run* runOf(std::string_view tool, Answers answers);

/// Why a run is an error: the tool was not launched, failed, or was ended. Nothing: it is none. The
/// code begins with `prefix`: "firewall-tool-timed-out".
std::optional<Evidence> failureOf(const vel::recorded::Run& run, const std::string& prefix);

/// What a run that is no error printed. Nothing: that could not be read, or is not UTF-8.
std::optional<std::string> printedBy(const vel::recorded::Run& run);

/// That what a run printed could not be read.
Evidence unreadableOutput(const vel::recorded::Run& run, const std::string& prefix);

/// Whether a run asked a helper why.
bool asksWhy(const vel::recorded::Run& run);

/// What a helper that failed or printed nothing when it was run with `command` says of it, if it
/// was asked; else `evidence` as it is. The code and the text are the helper's own.
Evidence explainedByHelper(const std::vector<std::string>& command, Answers answers,
                           Evidence evidence);

/// That the keychains answered with a status, as an error or a failure.
Evidence unreadableKeychains(VELSecurityStatus status, Answers answers, VELValue expected);
