// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Simulated/VELSimulatedTask.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

/// The command of the test tool that behaves as a simulated run says, as a real process.
inline std::vector<std::string> taskToolCommand(const VELSimulatedRun& run) {
    constexpr std::string_view digits = "0123456789abcdef";
    constexpr double longestHold = 3; // of a process that is left behind
    std::vector<std::string> command = {VEL_TASK_TOOL};
    const auto add = [&command](std::string option, auto value) {
        command.push_back(std::move(option));
        command.push_back(std::to_string(value));
    };
    if (run.output == std::string(run.output.size(), 'x')) {
        add("--output-size", run.output.size());
    } else {
        std::string hexadecimal;
        for (const char character : run.output) {
            const auto byte = static_cast<unsigned char>(character);
            hexadecimal += digits[byte >> 4U];
            hexadecimal += digits[byte & 0xFU];
        }
        command.push_back("--output-hex");
        command.push_back(hexadecimal);
    }
    add("--status", run.status);
    add("--signal", run.signal.value_or(0));
    add("--seconds", run.seconds);
    add("--status-on-termination", run.statusOnTermination.value_or(-1));
    add("--seconds-output-is-held", std::min(run.secondsOutputIsHeld, longestHold));
    if (run.ignoresTermination) {
        command.push_back("--ignore-termination");
    }
    return command;
}
