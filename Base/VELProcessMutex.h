// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <mutex>

/// Guards state that the whole process shares. It is held for a few instructions only, and no code
/// of the host is called meanwhile. After fork without exec it is free in the child, even if
/// another thread held it.
std::mutex& processMutex();
