// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ostream>
#include <string>
#include <sys/types.h>
#include <vector>

/// What a program printed, and its exit status (the negative number of the signal that ended it).
struct ToolRun {
    int status = 0;
    std::string output;
    std::string diagnostics;

    friend bool operator==(const ToolRun&, const ToolRun&) = default;
    friend std::ostream& operator<<(std::ostream& stream, const ToolRun& run) {
        return stream << "{status " << run.status << ", output \"" << run.output
                      << "\", diagnostics \"" << run.diagnostics << "\"}";
    }
};

/// Runs a program (found on the PATH when it has no slash) to its end, in `folder` and with the
/// file `third` open as its descriptor 3, made if it is not there, when they are not empty. Its
/// environment is that of the test with the changes in `environment` ("NAME=value").
ToolRun runProgram(const std::vector<std::string>& command, const std::string& folder = {},
                   const std::vector<std::string>& environment = {}, const std::string& third = {});

/// One of the helper programs of this build, by name.
std::string toolProgram(const std::string& name);

/// A folder of the test, removed with it.
class TestFolder {
public:
    TestFolder();
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;
    ~TestFolder();

    [[nodiscard]] const std::string& path() const { return _path; }

    /// Writes a file, its folders made, and returns its path.
    std::string write(const std::string& name, const std::string& content) const;
    /// Makes a symbolic link, its folders made.
    void link(const std::string& name, const std::string& target) const;

private:
    std::string _path;
};

/// A program that runs until the test ends it.
class RunningProgram {
public:
    explicit RunningProgram(const std::vector<std::string>& command,
                            const std::vector<std::string>& environment = {});
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;
    ~RunningProgram();

    [[nodiscard]] pid_t processID() const { return _processID; }

private:
    pid_t _processID = -1;
};
