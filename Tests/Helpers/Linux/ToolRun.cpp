// SPDX-License-Identifier: Apache-2.0
#include "Tests/Helpers/Linux/ToolRun.h"
#include "Tests/Support/FileContent.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::vector<char*> pointers(const std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (const auto& text : texts) {
        result.push_back(const_cast<char*>(text.c_str())); // posix_spawn does not write there
    }
    result.push_back(nullptr);
    return result;
}

/// The variables in `changes`, and those of this process that have another name.
std::vector<std::string> environmentWith(const std::vector<std::string>& changes) {
    std::vector<std::string> variables = changes;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string variable = *entry;
        const std::string name = variable.substr(0, variable.find('=') + 1);
        if (std::ranges::none_of(
                changes, [&name](const auto& change) { return change.starts_with(name); })) {
            variables.push_back(variable);
        }
    }
    return variables;
}

pid_t spawn(const std::vector<std::string>& command, const std::vector<std::string>& environment,
            const posix_spawn_file_actions_t& actions) {
    const auto arguments = pointers(command);
    const auto environmentTexts = environmentWith(environment);
    const auto variables = pointers(environmentTexts);
    pid_t processID = -1;
    const int problem = ::posix_spawnp(&processID, command.front().c_str(), &actions, nullptr,
                                       arguments.data(), variables.data());
    if (problem != 0) {
        throw std::runtime_error("cannot run " + command.front());
    }
    return processID;
}

} // namespace

ToolRun runProgram(const std::vector<std::string>& command, const std::string& folder,
                   const std::vector<std::string>& environment, const std::string& third) {
    const TestFolder place;
    const std::string output = place.path() + "/output";
    const std::string diagnostics = place.path() + "/diagnostics";
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_addopen(&actions, 1, output.c_str(), O_WRONLY | O_CREAT, 0600);
    ::posix_spawn_file_actions_addopen(&actions, 2, diagnostics.c_str(), O_WRONLY | O_CREAT, 0600);
    if (third.empty()) {
        ::posix_spawn_file_actions_addclosefrom_np(&actions, 3);
    } else {
        ::posix_spawn_file_actions_addopen(&actions, 3, third.c_str(), O_RDWR | O_CREAT, 0600);
    }
    if (!folder.empty()) {
        ::posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
    }
    const pid_t processID = spawn(command, environment, actions);
    ::posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    ::waitpid(processID, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), contentOf(output),
            contentOf(diagnostics)};
}

std::string toolProgram(const std::string& name) {
    return VEL_LINUX_TOOLS_DIRECTORY "/" + name;
}

TestFolder::TestFolder() {
    std::string pattern = std::filesystem::temp_directory_path() / "vel-test-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("cannot make a folder");
    }
    _path = pattern;
}

TestFolder::~TestFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(_path, ignored);
}

std::string TestFolder::write(const std::string& name, const std::string& content) const {
    const std::filesystem::path path = std::filesystem::path(_path) / name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
    return path;
}

void TestFolder::link(const std::string& name, const std::string& target) const {
    const std::filesystem::path path = std::filesystem::path(_path) / name;
    std::filesystem::create_directories(path.parent_path());
    std::filesystem::create_symlink(target, path);
}

RunningProgram::RunningProgram(const std::vector<std::string>& command,
                               const std::vector<std::string>& environment) {
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    _processID = spawn(command, environment, actions);
    ::posix_spawn_file_actions_destroy(&actions);
}

RunningProgram::~RunningProgram() {
    ::kill(_processID, SIGKILL);
    ::waitpid(_processID, nullptr, 0);
}
