// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/Program.h"
#include "Tools/vel-posture/ProgramFailure.h"
#include "Tools/vel-posture/StandardStreams.h"

#include <exception>
#include <new>

namespace {
constexpr int failureStatus = 2;
}

int main(int argumentCount, char** arguments) {
    prepareStandardStreams();
    try {
        return runProgram(parseCommandLine(argumentCount, arguments));
    } catch (const WrongUse& wrongUse) {
        diagnose(wrongUse.what());
        diagnose("see " + wrongUse.helpCommand());
    } catch (const std::bad_alloc&) {
        diagnose("out of memory");
    } catch (const std::exception& failure) {
        diagnose(failure.what());
    }
    return failureStatus;
}
