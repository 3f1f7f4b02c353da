// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Where Checkpoint's disk encryption writes its state.
constexpr const char* statusFile = "/Library/Application Support/Checkpoint/FDE/fdeencstatus.plist";
