// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tools/documents/CommandDescription.h"

#include <cstdint>
#include <string>
#include <string_view>

/// The manual page of a program (mdoc): `frame` with the parts @NAME@, @SUMMARY@, @SYNOPSIS@,
/// @OPTIONS@, @COMMANDS@, @EXIT_STATUS@ (the lines "  NUMBER  TEXT" of the program's footer),
/// @DATE@ (of `seconds` since 1970, UTC) and @VERSION@ filled in. Throws `std::invalid_argument`
/// when a place is missing in the frame.
std::string manualPage(const CommandDescription& program, std::string_view frame,
                       std::int64_t seconds);
