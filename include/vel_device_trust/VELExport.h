// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// What the shared library exports.

/// Marks what the shared library exports; everything else stays hidden.
#define VEL_EXPORT __attribute__((visibility("default")))
