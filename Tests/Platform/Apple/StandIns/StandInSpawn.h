// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>
#include <vector>

/// What the stand-in for the Mac's way to start a child does, and what it was asked for. It starts
/// real children: with POSIX_SPAWN_CLOEXEC_DEFAULT they get the descriptors that an action names
/// and no others, as on a Mac.
struct StandInSpawn {
    /// One child that was asked for.
    struct Request {
        std::string path;
        int flags = 0;
        /// In their order: "dup2 7 1", "open 0 /dev/null", "inherit 2".
        std::vector<std::string> actions;
        /// Whether each descriptor that is duplicated closes when a program is started.
        bool sourcesCloseOnExec = true;
    };

    static StandInSpawn& ofProgram();

    std::vector<Request> requests;

    /// The error number that a call answers, by its name ("posix_spawnattr_init").
    std::map<std::string, int> failures;

    /// Bits of the exit value beyond the status, which the Mac's `waitid` tells too.
    int furtherExitBits = 0;

    /// Attributes and lists of actions that were made and not destroyed.
    int leftAlive = 0;
};
