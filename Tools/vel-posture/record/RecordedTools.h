// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Recording/VELRecording.h"

#include <string_view>

/// The tools of macOS whose runs a recording holds.
namespace recordedtools {

inline constexpr std::string_view firewall = "/usr/libexec/ApplicationFirewall/socketfilterfw";
inline constexpr std::string_view domain = "/usr/sbin/dsconfigad";
inline constexpr std::string_view processes = "/bin/ps";
inline constexpr std::string_view certificateSubject = "/usr/bin/openssl";

inline bool isOf(std::string_view tool, const vel::recorded::Run& run) {
    return run.command.front() == tool;
}

} // namespace recordedtools
