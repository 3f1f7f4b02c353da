// SPDX-License-Identifier: Apache-2.0
#pragma once

// NOLINTBEGIN

extern "C" {

char*** _NSGetEnviron(void);

} // extern "C"

// NOLINTEND
