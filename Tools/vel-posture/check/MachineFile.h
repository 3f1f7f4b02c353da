// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELPlatform.h"

#include <memory>
#include <string>

/// The Mac that a file describes. Throws `ProgramFailure`, naming the file and what is wrong where,
/// when it cannot be read or is no description.
std::shared_ptr<const VELPlatform> machineFromFile(const std::string& path);
