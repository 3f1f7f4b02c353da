// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// The processes of a machine, as "ps -axc" lists them on macOS.
namespace vel {

/// What one /proc/PID/stat says.
struct ProcessStat {
    std::string name; ///< as the process calls itself: 15 bytes at most, but for kernel threads
    char state = 0;
    bool isKernelThread = false;
    std::uint32_t terminal = 0; ///< the device number of the controlling terminal, 0: none
    std::uint64_t ticks = 0;    ///< processor time, user and system
    std::int64_t threads = 0;
};

/// Nothing when `text` is not such a record. The name may hold any character, ")" and line feeds
/// included.
std::optional<ProcessStat> parseProcessStat(std::string_view text);

/// Whether nothing of the process runs any more. A process whose first thread has exited is a
/// zombie by its state, but no ended one while other threads run.
bool hasEnded(const ProcessStat& stat);

/// The name to list a process by: the last part of the path of its executable (`executable`, what
/// /proc/PID/exe points to; empty where that may not be read), " (deleted)" left off. Without one,
/// `name`, which the kernel cuts at 15 bytes, whole from `commandLine` (/proc/PID/cmdline) where
/// the last part of its first word begins with it.
std::string listedName(std::string_view name, std::string_view executable,
                       std::string_view commandLine);

/// One line of the listing without its end: PID, terminal, processor time in minutes, seconds and
/// hundredths, printable name. Columns are not padded: a host that reads a tool's output only when
/// the tool has ended loses what does not fit into a pipe, and so more processes fit.
std::string processLine(std::uint64_t processID, const ProcessStat& stat, std::string_view name,
                        std::uint64_t ticksPerSecond);

/// The whole listing, a heading first, by ascending process ID, from a folder like /proc. Nothing
/// when the folder cannot be read or shows no process at all. Kernel threads, and a process that
/// ends meanwhile or may not be looked at, are left out.
std::optional<std::string> processListing(const std::string& processFolder);

/// Whether a pipe that nobody reads yet takes `bytes` whole; it is made larger where the system
/// allows that. True of a descriptor that is no pipe.
bool fitsPipe(int descriptor, std::size_t bytes);

} // namespace vel
