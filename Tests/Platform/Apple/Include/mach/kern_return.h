// SPDX-License-Identifier: Apache-2.0
#pragma once

using kern_return_t = int; // NOLINT

#define KERN_SUCCESS 0
