// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

namespace vel {

/// What became of work in a child process.
struct ConfinedResult {
    enum class End { finished, failed, tooSlow };

    End end = End::failed;
    std::string text; // empty unless finished
};

/// What the child has for standard error. Standard input is /dev/null for it, standard output is
/// its standard error; it has no other descriptor.
enum class ConfinedDiagnostics { dropped, inherited };

/// Does `work` in a child process for `limit` at most. It failed when it threw, or the child ended
/// in another way; what it threw is printed after `name`. Whatever the child runs into, this
/// process goes on: a child that does not end in time is killed and not waited for, since one that
/// waits for a file system cannot even be killed. When this process ends, so does the child.
ConfinedResult doConfined(const std::string& name, std::chrono::milliseconds limit,
                          ConfinedDiagnostics diagnostics,
                          const std::function<std::string()>& work);

} // namespace vel
