// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/test/TestCommand.h"

#include "Platform/Simulated/VELMachineDescription.h"
#include "Tools/vel-posture/DisplayText.h"
#include "Tools/vel-posture/ProgramFailure.h"
#include "Tools/vel-posture/ReportText.h"
#include "Tools/vel-posture/RequestSource.h"
#include "Tools/vel-posture/StandardStreams.h"
#include "Tools/vel-posture/check/CheckOutcome.h"
#include "Tools/vel-posture/test/PolicyTest.h"
#include "Tools/vel-posture/trial/Trial.h"

#include <string>
#include <vector>

namespace {

using Kind = CheckOutcome::Kind;

std::string shown(Kind kind, const std::string& error) {
    return nameOf(kind) + (error.empty() ? "" : " \"" + error + "\"");
}

const char* verdict(bool passes) {
    return passes ? "passes" : "does not pass";
}

/// What differs, each in a line for people.
std::vector<std::string> differences(const ExpectedMachine& expected, const TriedRequest& tried,
                                     const std::vector<std::string>& types) {
    std::vector<std::string> lines;
    if (expected.checks) {
        for (std::size_t index = 0; index < tried.checks.size(); ++index) {
            const ExpectedOutcome& wanted = (*expected.checks)[index];
            const TriedCheck& found = tried.checks[index];
            if (wanted.kind != found.outcome || (wanted.error && *wanted.error != found.error)) {
                lines.push_back(std::string(platformIdentifier) + "[" + std::to_string(index) +
                                "] " + types[index] + ": expected " +
                                shown(wanted.kind, wanted.error.value_or("")) + ", found " +
                                shown(found.outcome, found.error) + ": " + found.evidence.text);
            }
        }
    }
    if (expected.passes != tried.passes) {
        lines.push_back(std::string("verdict: expected that it ") + verdict(expected.passes) +
                        ", but it " + verdict(tried.passes));
    }
    return lines;
}

/// Runs the tests of files and counts.
class TestRun {
public:
    void runFile(const std::string& path) {
        const PolicyTest test = policyTestOfFile(path);
        const Trial trial(test.requestName, test.request);
        for (std::size_t index = 0; index < test.machines.size(); ++index) {
            attempt([&] { runMachine(path, test, index, trial); });
        }
    }

    /// A file or machine that cannot be tried does not keep the others from it.
    template <typename Work> void attempt(Work work) {
        try {
            work();
        } catch (const ProgramFailure& failure) {
            diagnose(failure.what());
            ++_failures;
        }
    }

    /// Writes the counts and returns the exit status.
    [[nodiscard]] int finish() const {
        std::string report = countOf(_machines, "machine", "machines") + " tried";
        if (_differing > 0) {
            report += ", " + countOf(_differing, "differs", "differ");
        }
        if (_failures > 0) {
            report += ", " + countOf(_failures, "failure", "failures");
        }
        writeStandardOutput(report + (status() == 0 ? ", all as expected\n" : "\n"));
        return status();
    }

private:
    [[nodiscard]] int status() const { return _failures > 0 ? 2 : _differing > 0 ? 1 : 0; }

    void runMachine(const std::string& path, const PolicyTest& test, std::size_t index,
                    const Trial& trial) {
        const ExpectedMachine expected = expectedMachine(path, test, index, trial.types());
        std::string error;
        const auto machine = vel::machineFromValue(expected.description, &error);
        if (machine == nullptr) {
            throw ProgramFailure("\"" + path + "\": " + expected.name + ": " + error);
        }
        const auto lines =
            differences(expected, trial.run(machine, Trial::Explaining::inFull), trial.types());
        for (const std::string& line : lines) {
            writeStandardOutput(printable(path + ": " + expected.name + ": " + line) + "\n");
        }
        ++_machines;
        _differing += lines.empty() ? 0U : 1U;
    }

    std::size_t _machines = 0;
    std::size_t _differing = 0;
    std::size_t _failures = 0;
};

} // namespace

int runTestCommand(const CommandLine& commandLine) {
    TestRun run;
    for (const std::string& path : commandLine.requests) {
        run.attempt([&] { run.runFile(path); });
    }
    return run.finish();
}
