// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <ostream>
#include <sys/wait.h>
#include <thread>

/// What this process holds of the machine: open descriptors, threads, and whether it has children
/// (dead ones that nobody waited for included).
struct ProcessResources {
    std::ptrdiff_t descriptors = 0;
    std::ptrdiff_t threads = 0;
    bool hasChildren = false;

    static ProcessResources now() {
        siginfo_t information = {};
        const bool none =
            ::waitid(P_ALL, 0, &information, WEXITED | WNOHANG | WNOWAIT) != 0 && errno == ECHILD;
        return {entries("/proc/self/fd"), entries("/proc/self/task"), !none};
    }

    /// What is held once it is as expected, or what is held after two seconds: a thread that was
    /// joined may stay listed for a moment.
    static ProcessResources settled(const ProcessResources& expected) {
        ProcessResources found = now();
        for (int attempt = 0; attempt < 200 && found != expected; ++attempt) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            found = now();
        }
        return found;
    }

    friend bool operator==(const ProcessResources&, const ProcessResources&) = default;

    friend std::ostream& operator<<(std::ostream& stream, const ProcessResources& resources) {
        return stream << resources.descriptors << " descriptors, " << resources.threads
                      << " threads" << (resources.hasChildren ? ", children" : ", no child");
    }

private:
    static std::ptrdiff_t entries(const char* folder) {
        return std::distance(std::filesystem::directory_iterator(folder),
                             std::filesystem::directory_iterator());
    }
};
