// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELProcessLister.h"
#include "Helpers/Linux/VELPrintableText.h"
#include "Platform/POSIX/VELDescriptor.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <unistd.h>
#include <utility>
#include <vector>

namespace vel {
namespace {

constexpr std::size_t kernelNameLimit = 15;
constexpr std::uint32_t kernelThreadFlag = 0x00200000; // PF_KTHREAD of the kernel
constexpr std::string_view deletedMark = " (deleted)";

std::string_view takeField(std::string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    const std::string_view field = text.substr(0, text.find_first_of(" \n"));
    text.remove_prefix(field.size());
    return field;
}

template <typename Number> bool parseNumber(std::string_view text, Number& number) {
    const char* end = text.data() + text.size();
    const auto [stop, problem] = std::from_chars(text.data(), end, number);
    return problem == std::errc() && stop == end;
}

std::string_view lastPathPart(std::string_view path) {
    return path.substr(path.rfind('/') + 1);
}

std::string terminalName(std::uint32_t device) {
    const std::uint32_t major = (device >> 8U) & 0xFFFU;
    const std::uint32_t minor = (device & 0xFFU) | ((device >> 12U) & 0xFFF00U);
    constexpr std::uint32_t consoleMajor = 4;
    constexpr std::uint32_t firstSerialMinor = 64;
    constexpr std::uint32_t firstPseudoMajor = 136;
    constexpr std::uint32_t lastPseudoMajor = 143;
    if (major >= firstPseudoMajor && major <= lastPseudoMajor) {
        return "pts/" + std::to_string((major - firstPseudoMajor) * 256 + minor);
    }
    if (major == consoleMajor) {
        return minor < firstSerialMinor ? "tty" + std::to_string(minor)
                                        : "ttyS" + std::to_string(minor - firstSerialMinor);
    }
    return "??";
}

std::string twoDigits(std::uint64_t number) {
    return (number < 10 ? "0" : "") + std::to_string(number);
}

std::string processorTime(std::uint64_t ticks, std::uint64_t ticksPerSecond) {
    const std::uint64_t seconds = ticks / ticksPerSecond;
    const std::uint64_t hundredths = ticks % ticksPerSecond * 100 / ticksPerSecond;
    return std::to_string(seconds / 60) + ":" + twoDigits(seconds % 60) + "." +
           twoDigits(hundredths);
}

/// A file of /proc in one buffer, cut at its size; empty when it cannot be read.
template <std::size_t size>
std::string_view readFile(int folder, const std::string& path, std::array<char, size>& buffer) {
    const VELDescriptor file(::openat(folder, path.c_str(), O_RDONLY | O_CLOEXEC));
    const ssize_t count = file ? ::read(file.get(), buffer.data(), buffer.size()) : 0;
    return {buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
}

/// The line of one process; nothing when it has ended or may not be looked at.
std::optional<std::string> lineOfProcess(int folder, std::uint64_t processID,
                                         std::uint64_t ticksPerSecond) {
    const std::string path = std::to_string(processID);
    std::array<char, 4096> buffer; // NOLINT: filled by read
    const auto stat = parseProcessStat(readFile(folder, path + "/stat", buffer));
    if (!stat || stat->isKernelThread || hasEnded(*stat)) {
        return std::nullopt;
    }
    std::array<char, PATH_MAX> target; // NOLINT: filled by readlinkat
    const ssize_t length =
        ::readlinkat(folder, (path + "/exe").c_str(), target.data(), target.size());
    const std::string_view executable(target.data(),
                                      static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    std::string_view commandLine;
    if (executable.empty() && stat->name.size() == kernelNameLimit) {
        commandLine = readFile(folder, path + "/cmdline", buffer);
    }
    return processLine(processID, *stat, listedName(stat->name, executable, commandLine),
                       ticksPerSecond);
}

std::vector<std::uint64_t> processIDs(DIR* folder) {
    std::vector<std::uint64_t> found;
    while (const dirent* entry = ::readdir(folder)) {
        std::uint64_t processID = 0;
        if (parseNumber(std::string_view(entry->d_name), processID)) {
            found.push_back(processID);
        }
    }
    std::ranges::sort(found);
    return found;
}

} // namespace

std::optional<ProcessStat> parseProcessStat(std::string_view text) {
    const std::size_t open = text.find('(');
    const std::size_t close = text.rfind(')');
    if (open == std::string_view::npos || close == std::string_view::npos || close < open) {
        return std::nullopt;
    }
    ProcessStat stat;
    stat.name = text.substr(open + 1, close - open - 1);
    text.remove_prefix(close + 1);
    constexpr std::size_t fieldCount = 18;
    std::array<std::string_view, fieldCount> fields; // from the third of the record on
    std::ranges::generate(fields, [&text] { return takeField(text); });
    std::int32_t terminal = 0;
    std::uint32_t flags = 0;
    std::uint64_t userTicks = 0;
    std::uint64_t systemTicks = 0;
    if (fields[0].size() != 1 || !parseNumber(fields[4], terminal) ||
        !parseNumber(fields[6], flags) || !parseNumber(fields[11], userTicks) ||
        !parseNumber(fields[12], systemTicks) || !parseNumber(fields[17], stat.threads)) {
        return std::nullopt;
    }
    stat.state = fields[0].front();
    stat.isKernelThread = (flags & kernelThreadFlag) != 0;
    stat.terminal = static_cast<std::uint32_t>(terminal);
    stat.ticks = userTicks + systemTicks;
    return stat;
}

bool hasEnded(const ProcessStat& stat) {
    return (stat.state == 'Z' || stat.state == 'X') && stat.threads <= 1;
}

std::string listedName(std::string_view name, std::string_view executable,
                       std::string_view commandLine) {
    if (executable.ends_with(deletedMark)) {
        executable.remove_suffix(deletedMark.size());
    }
    if (const auto last = lastPathPart(executable); !last.empty()) {
        return std::string(last);
    }
    const auto word = lastPathPart(commandLine.substr(0, commandLine.find('\0')));
    return std::string(name.size() == kernelNameLimit && word.starts_with(name) ? word : name);
}

std::string processLine(std::uint64_t processID, const ProcessStat& stat, std::string_view name,
                        std::uint64_t ticksPerSecond) {
    return std::to_string(processID) + " " + terminalName(stat.terminal) + " " +
           processorTime(stat.ticks, ticksPerSecond) + " " + printableText(name);
}

std::optional<std::string> processListing(const std::string& processFolder) {
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir(processFolder.c_str()), &::closedir);
    if (!folder) {
        return std::nullopt;
    }
    const long clockTicks = ::sysconf(_SC_CLK_TCK);
    const auto ticksPerSecond = static_cast<std::uint64_t>(std::max(clockTicks, 1L));
    const int descriptor = ::dirfd(folder.get());
    std::string listing = "PID TTY TIME CMD\n";
    const std::size_t heading = listing.size();
    for (const std::uint64_t processID : processIDs(folder.get())) {
        if (const auto line = lineOfProcess(descriptor, processID, ticksPerSecond)) {
            listing.append(*line).append("\n");
        }
    }
    return listing.size() == heading ? std::nullopt : std::optional(std::move(listing));
}

bool fitsPipe(int descriptor, std::size_t bytes) {
    const int capacity = ::fcntl(descriptor, F_GETPIPE_SZ);
    return capacity < 0 || std::cmp_less_equal(bytes, capacity) ||
           (bytes <= INT_MAX &&
            std::cmp_less_equal(bytes, ::fcntl(descriptor, F_SETPIPE_SZ, static_cast<int>(bytes))));
}

} // namespace vel
