// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tools/vel-posture/check/RequestRun.h"

#include <string>
#include <string_view>

/// A result with what a collector needs to know about it, as a line of JSON without its end:
///
///     {"time":"...","host":"...","program":"...","request":{"name":"...","version":"...",
///      "sha256":"..."},"run":"...","result":{...}}
///
/// "time" is the start of the run in UTC, "program" the version of the library. The request's
/// "name" and "version" are those keys of the request, left out where it has none; "sha256" is the
/// digest of its bytes. "result" is the result document, byte for byte.
std::string envelope(const RequestRun& run, std::string_view runIdentifier, std::string_view host);
