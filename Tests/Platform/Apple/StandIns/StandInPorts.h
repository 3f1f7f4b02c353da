// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <IOKit/IOKitLib.h>

#include <cstddef>
#include <functional>
#include <string>

namespace standin {

/// The property of a registry entry: a new reference, or NULL.
using Properties = std::function<CFTypeRef(const std::string& name)>;

/// A port to a registry entry; the caller owns the one reference to it. Its number is not used
/// again.
io_object_t makePort(Properties properties);

std::size_t livePorts();

} // namespace standin
