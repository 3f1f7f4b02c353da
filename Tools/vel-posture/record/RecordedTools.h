// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Recording/VELRecording.h"

#include <algorithm>
#include <span>
#include <string_view>

/// The commands of the checks whose output a recording is read for.
namespace recordedtools {

inline constexpr std::string_view firewall[] = {"/usr/libexec/ApplicationFirewall/socketfilterfw",
                                                "--getglobalstate"};
inline constexpr std::string_view domain[] = {"/usr/sbin/dsconfigad", "-show", "-xml"};
inline constexpr std::string_view processes[] = {"/bin/ps", "-axc"};
inline constexpr std::string_view certificateSubject[] = {
    "/usr/bin/openssl", "x509", "-inform", "DER", "-in", "codesign0", "-subject", "-noout"};

inline bool isOf(std::span<const std::string_view> command, const vel::recorded::Run& run) {
    return std::ranges::equal(command, run.command);
}

} // namespace recordedtools
