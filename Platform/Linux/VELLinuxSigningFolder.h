// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELTask.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vel {

/// A new folder that this user alone can enter (mode 0700), removed with what is in it when it
/// leaves scope.
class PrivateFolder {
public:
    /// Made in the first of `places` where that is possible; nothing when it is nowhere.
    static std::optional<PrivateFolder> make(const std::vector<std::string>& places);

    PrivateFolder(PrivateFolder&& other) noexcept;
    PrivateFolder& operator=(PrivateFolder&&) = delete;
    ~PrivateFolder();

    [[nodiscard]] const std::string& path() const { return _path; }

private:
    explicit PrivateFolder(std::string path) : _path(std::move(path)) {}

    std::string _path; // empty: moved away
};

/// Where private folders are made: the user's own place for running programs, where the machine has
/// one, else the places for temporary files. No variable of the environment is asked.
std::vector<std::string> privateFolderPlaces();

/// The two helpers that pass certificates on in their current directory: the one for the code
/// signature writes them, the one for the subject reads the first.
enum class SigningStep { signature, subject };

/// Which of the two is at `launchPath`; nothing when it is another program.
std::optional<SigningStep> signingStep(std::string_view launchPath);

/// A task for one of the two, run in a private folder of its own, which is removed when the task is
/// closed, or else with the task. What the signature helper found for a thread is handed, in
/// memory, to the next subject helper of the same thread, and to that one alone: no thread sees
/// another's, no later run an earlier one's, and nothing stays on disk between the two or after
/// them. A signature helper that fails leaves nothing to hand on; a subject helper without anything
/// finds its folder empty.
///
/// The task is made, launched and closed on one thread. It fails to launch when no private folder
/// can be made.
std::shared_ptr<VELTask> signingTask(SigningStep step, std::string launchPath,
                                     std::vector<std::string> arguments,
                                     const std::vector<std::string>& places);

} // namespace vel
