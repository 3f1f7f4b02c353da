// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/Program.h"

#include "Classes/Mac/VELPostureCheckRunner+Mac.h"
#include "Tools/vel-posture/OutputStyle.h"
#include "Tools/vel-posture/StandardStreams.h"
#include "Tools/vel-posture/catalogue/CatalogueReport.h"
#include "Tools/vel-posture/check/CheckCommand.h"
#include "Tools/vel-posture/lint/LintCommand.h"

namespace {

<<<<<<< HEAD
constexpr const char* platformIdentifier = "mac";
constexpr std::chrono::milliseconds noticeDelay(200);

bool wantsText(const CommandLine& commandLine) {
    return commandLine.format ? *commandLine.format == CommandLine::Format::text
                              : isTerminal(STDOUT_FILENO);
}

ReportStyle reportStyle() {
    if (!isTerminal(STDOUT_FILENO)) {
        return {};
    }
    return {terminalColumns(STDOUT_FILENO), wantsColour()};
}

void nameUnknownValues(const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        const std::string value = vel::lowercase(name);
        if (value != kMacSerialNumberKey && value != kDeviceIDKey) {
            diagnose("there is no identity value " + name);
        }
    }
}

std::string identityRequest(std::vector<std::string> names) {
    if (names.empty()) {
        names = {kMacSerialNumberKey, kDeviceIDKey};
    }
    VELDictionary request = VELValue::object();
    request[kIDParams] = names;
    const auto text = vel::writeJSON(request, nullptr);
    if (!text) {
        throw ProgramFailure("a NAME is not UTF-8");
    }
    nameUnknownValues(names);
    return *text;
}

std::string requestDocument(const CommandLine& commandLine) {
    if (commandLine.command == CommandLine::Command::identity) {
        return identityRequest(commandLine.names);
    }
    if (commandLine.request && *commandLine.request != "-") {
        return readFile(*commandLine.request);
    }
    if (isTerminal(STDIN_FILENO)) {
        diagnose("reading a request from standard input, to its end (Ctrl-D)");
    }
    return readStandardInput();
}

/// Null where nobody would see it, or where log lines would run into it.
std::shared_ptr<RunningNotice> makeNotice(const JSONLogFile* log) {
    if (!isTerminal(STDERR_FILENO) || (log != nullptr && log->isStandardError())) {
        return nullptr;
    }
    return std::make_shared<RunningNotice>(
        noticeDelay, terminalColumns(STDERR_FILENO),
        [](std::string_view text) { vel::writeAll(STDERR_FILENO, text); });
}

std::string runRequest(const std::string& request, std::shared_ptr<const VELPlatform> platform,
                       const std::shared_ptr<JSONLogFile>& log) {
    VELPostureCheckCatalogue catalogue = macPostureCheckCatalogue(platform);
    if (const auto notice = makeNotice(log.get())) {
        catalogue = catalogueWithNotice(catalogue, notice);
    }
    const auto runner = VELPlatformRunnerFactory::runner(platformIdentifier, std::move(catalogue),
                                                         log, std::move(platform));
    return runner->runPostureCheckFromDocumentString(request);
}

int runRequestCommand(const CommandLine& commandLine) {
    const auto log = commandLine.log ? std::make_shared<JSONLogFile>(*commandLine.log) : nullptr;
    auto platform =
        commandLine.machine ? machineFromFile(*commandLine.machine) : VELPlatform::host();
    const std::string document = runRequest(requestDocument(commandLine), std::move(platform), log);

    // Read as deep as it is: a result nests a little deeper than the request that it answers.
    const VELValue result = VELValue::parse(document);
    int status = exitStatus(result);
    if (ranNoCheck(result) && isTerminal(STDERR_FILENO)) {
        diagnose(std::string("no checks under \"") + platformIdentifier + "\"");
    }
    if (const std::string failure = log ? log->failure() : ""; !failure.empty()) {
        diagnose(failure);
        status = 2;
    }
    writeStandardOutput(wantsText(commandLine) ? resultReport(result, reportStyle())
                                               : document + "\n");
    return status;
}

std::string nameOfRequest(const CommandLine& commandLine) {
    return commandLine.request && *commandLine.request != "-" ? "\"" + *commandLine.request + "\""
                                                              : "standard input";
}

int runLintCommand(const CommandLine& commandLine) {
    const LintRules rules = {
        platformIdentifier, macPostureCheckCatalogue(VELPlatform::host()),
        std::chrono::floor<std::chrono::microseconds>(std::chrono::system_clock::now())};
    std::string failure;
    const auto findings = findingsInDocument(requestDocument(commandLine), rules, &failure);
    if (!findings) {
        throw ProgramFailure("cannot lint " + nameOfRequest(commandLine) + ": " + failure);
    }
    writeStandardOutput(wantsText(commandLine) ? lintReport(*findings, reportStyle())
                                               : lintJSON(*findings) + "\n");
    return findings->empty() ? 0 : 1;
}

=======
>>>>>>> d9b82b4 (Sort the program by subcommand and reword its texts)
int runCatalogueCommand(const CommandLine& commandLine) {
    const VELPostureCheckCatalogue catalogue = macPostureCheckCatalogue(VELPlatform::host());
    writeStandardOutput(outputFormat(commandLine) == CommandLine::Format::text
                            ? catalogueReport(catalogue, styleOfStandardOutput())
                            : catalogueJSON(catalogue) + "\n");
    return 0;
}

} // namespace

int runProgram(const CommandLine& commandLine) {
    switch (commandLine.command) {
    case CommandLine::Command::check:
        return runCheckCommand(commandLine);
    case CommandLine::Command::identity:
        return runIdentityCommand(commandLine);
    case CommandLine::Command::lint:
        return runLintCommand(commandLine);
    case CommandLine::Command::catalogue:
        return runCatalogueCommand(commandLine);
    case CommandLine::Command::printText:
        break;
    }
    writeStandardOutput(commandLine.text);
    return 0;
}
