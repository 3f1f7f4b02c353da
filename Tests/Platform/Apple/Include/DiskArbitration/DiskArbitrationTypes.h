// SPDX-License-Identifier: Apache-2.0
#pragma once

// NOLINTBEGIN

using DASessionRef = struct __DASession*;
using DADiskRef = struct __DADisk*;

// NOLINTEND
