// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELConfinedWork.h"
#include "Helpers/Linux/VELTokenContents.h"
#include "Helpers/Linux/VELToolCommandLine.h"
#include "Platform/POSIX/VELDescriptor.h"

#include <algorithm>
#include <cstdlib>
#include <unistd.h>

namespace {

constexpr int failed = 1;
constexpr int tooSlow = 3;

int sayWhyOf(const vel::ConfinedResult& contents) {
    switch (contents.end) {
    case vel::ConfinedResult::End::finished:
        return contents.text.starts_with("failed: ")
                   ? vel::sayWhy("keychain-module-failed", contents.text.substr(8))
               : contents.text == "end 0\n"
                   ? vel::sayWhy("keychain-without-certificates",
                                 "no PKCS#11 token of this machine holds a certificate")
                   : vel::sayWhy(vel::answerIsKnown, "the certificates can be read");
    case vel::ConfinedResult::End::tooSlow:
        return vel::sayWhy("keychain-module-too-slow", "a PKCS#11 module did not answer in time");
    default:
        return vel::sayWhy("keychain-module-crashed", "a PKCS#11 module crashed");
    }
}

/// The contents, or, when asked why there are none, what failed.
std::string contentsOrFailure(const std::string& module, bool asksWhy) {
    try {
        return vel::tokenContents(module);
    } catch (const std::exception& failure) {
        if (!asksWhy) {
            throw;
        }
        return std::string("failed: ") + failure.what();
    }
}

int printContents(const vel::ToolValues& values) {
    const int seconds = std::atoi(vel::valueOr(values, "--seconds", "8").c_str());
    const std::string module = vel::valueOr(values, "--module", "");
    const bool asksWhy = vel::isAskedWhy(values);
    // A module may hang, crash, print and leave programs running.
    const auto contents =
        vel::doConfined("keychain-contents", std::chrono::seconds(std::max(seconds, 1)),
                        vel::ConfinedDiagnostics::inherited,
                        [&module, asksWhy] { return contentsOrFailure(module, asksWhy); });
    if (asksWhy) {
        return sayWhyOf(contents);
    }
    switch (contents.end) {
    case vel::ConfinedResult::End::finished:
        return vel::writeAll(STDOUT_FILENO, contents.text) == 0 ? 0 : failed;
    case vel::ConfinedResult::End::tooSlow:
        return tooSlow;
    default:
        return failed;
    }
}

} // namespace

int main(int argumentCount, char** arguments) {
    const vel::ToolUsage usage = {
        .name = "keychain-contents",
        .purpose = "Prints the certificates on the PKCS#11 tokens of this machine, in base64, and\n"
                   "which of them have their private key beside. Asks for no PIN.",
        .arguments = {},
        .options = {{"--module", "The path of the one module to ask"},
                    {"--seconds", "How long the modules may take; 8 when it is not given"}},
        .saysWhy = true,
    };
    return vel::runTool(usage, argumentCount, arguments, &printContents);
}
