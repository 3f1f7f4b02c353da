// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <mutex>

/// Guards state that the whole process shares: to be held for a few instructions, in which nothing
/// of the host is called. A process that forks without exec finds it free in its child, whatever
/// other threads were doing.
std::mutex& processMutex();
