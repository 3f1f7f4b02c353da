// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/check/CheckCommand.h"

#include "Base/VELJSON.h"
#include "Base/VELText.h"
#include "Classes/Mac/VELPostureCheckRunner+Mac.h"
#include "Platform/POSIX/VELDescriptor.h"
#include "Platform/Recording/VELRecordingPlatform.h"
#include "Tools/vel-posture/NearMiss.h"
#include "Tools/vel-posture/OutputFile.h"
#include "Tools/vel-posture/OutputStyle.h"
#include "Tools/vel-posture/ProgramFailure.h"
#include "Tools/vel-posture/RecordedRequest.h"
#include "Tools/vel-posture/RequestSource.h"
#include "Tools/vel-posture/StandardStreams.h"
#include "Tools/vel-posture/check/CheckOutcome.h"
#include "Tools/vel-posture/check/Envelope.h"
#include "Tools/vel-posture/check/JSONLogFile.h"
#include "Tools/vel-posture/check/JUnitReport.h"
#include "Tools/vel-posture/check/MachineFile.h"
#include "Tools/vel-posture/check/NoChecksWarning.h"
#include "Tools/vel-posture/check/PrometheusReport.h"
#include "Tools/vel-posture/check/RequestRun.h"
#include "Tools/vel-posture/check/ResultReport.h"
#include "Tools/vel-posture/check/RunningNotice.h"
#include "Tools/vel-posture/explain/ExplainedResult.h"
#include "Tools/vel-posture/explain/FurtherQuestions.h"
#include "Tools/vel-posture/record/MachineRecord.h"

#include <nlohmann/json.hpp>

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

constexpr std::chrono::milliseconds noticeDelay(200);
constexpr int failureStatus = 2;

using Format = CommandLine::Format;

struct Request {
    std::string name;
    std::string document;
};

/// Reads all of them: where one cannot be read, none is run.
std::vector<Request> readRequests(const std::vector<std::string>& given) {
    std::vector<Request> requests;
    for (const std::string& path : requestPaths(given)) {
        requests.push_back({nameOfRequest(path), readRequest(path)});
    }
    return requests;
}

Request identityRequest(std::vector<std::string> names) {
    if (names.empty()) {
        names = {kMacSerialNumberKey, kDeviceIDKey};
    }
    VELDictionary request = VELValue::object();
    request[kIDParams] = names;
    const auto text = vel::writeJSON(request, nullptr);
    if (!text) {
        throw ProgramFailure("NAME is not valid UTF-8");
    }
    return {"identity", *text};
}

/// Names the unknown ones on standard error. Whether all are known.
bool areIdentityValues(const std::vector<std::string>& names) {
    static const std::vector<std::string> known = {kMacSerialNumberKey, kDeviceIDKey};
    bool areKnown = true;
    for (const std::string& name : names) {
        if (std::find(known.begin(), known.end(), vel::lowercase(name)) == known.end()) {
            const auto near = nearestName(name, known);
            diagnose("unknown identity value: " + name +
                     (near ? "; did you mean " + *near + "?" : ""));
            areKnown = false;
        }
    }
    return areKnown;
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

/// Runs requests and writes what they yield.
class RequestRunner {
public:
    explicit RequestRunner(const CommandLine& commandLine)
        : _commandLine(commandLine), _format(outputFormat(commandLine)),
          _style(styleOfOutput(commandLine)) {
        if (commandLine.log || commandLine.envelope) {
            _runIdentifier = newRunIdentifier();
        }
        if (commandLine.log) {
            _log = std::make_shared<JSONLogFile>(*commandLine.log, _runIdentifier,
                                                 commandLine.logLevel);
        }
        _platform =
            commandLine.machine ? machineFromFile(*commandLine.machine) : VELPlatform::host();
    }

    /// Returns the exit status.
    int run(const std::vector<Request>& requests) {
        int status = 0;
        for (const Request& request : requests) {
            RequestRun run = answer(request);
            status = worseStatus(status, statusOf(run));
            if (ranNoCheck(run.result)) {
                diagnose((requests.size() > 1 ? "\"" + run.name + "\": " : "") +
                         noChecksWarning(run));
            }
            write(run, requests.size() > 1);
            _requests.push_back(run.request);
            if (isWholeDocument()) {
                _runs.push_back(std::move(run));
            }
        }
        if (const std::string failure = _log ? _log->failure() : ""; !failure.empty()) {
            diagnose(failure);
            status = failureStatus;
        }
        finish();
        if (_commandLine.record) {
            replaceFile(*_commandLine.record,
                        machineRecord(_recorded, _commandLine.redact ? &_requests : nullptr),
                        FileReaders::owner);
        }
        return status;
    }

private:
    RequestRun answer(const Request& request) {
        RequestRun run;
        run.name = request.name;
        run.document = request.document;
        run.request = vel::readJSON(request.document, nullptr).value_or(VELValue());
        std::shared_ptr<const VELPlatform> platform = _platform;
        std::shared_ptr<VELRecording> recording;
        if (_commandLine.explain || _commandLine.record) {
            recording = std::make_shared<VELRecording>();
            platform = std::make_shared<const VELRecordingPlatform>(_platform, recording);
        }
        VELPostureCheckCatalogue catalogue = macPostureCheckCatalogue(platform);
        if (recording != nullptr) {
            catalogue = catalogueWithRecording(catalogue, run.request, recording);
        }
        if (const auto notice = makeNotice(_log.get())) {
            catalogue = catalogueWithNotice(catalogue, notice);
        }
        const auto runner = VELPlatformRunnerFactory::runner(platformIdentifier,
                                                             std::move(catalogue), _log, platform);
        run.time = std::chrono::system_clock::now();
        run.resultDocument = runner->runPostureCheckFromDocumentString(request.document);
        // Read as deep as it is: a result nests a little deeper than the request that it answers.
        run.result = VELValue::parse(run.resultDocument);
        if (recording != nullptr) {
            askFurther(*recording, *platform);
        }
        if (_commandLine.record) {
            _recorded.append(*recording);
        }
        if (_commandLine.explain) {
            run.evidence = evidenceOfResult(run.result, run.request, recording->takeAnswers());
        }
        return run;
    }

    [[nodiscard]] int statusOf(const RequestRun& run) const {
        return _commandLine.requireChecks && ranNoCheck(run.result)
                   ? failureStatus
                   : exitStatus(run.result, run.request, _commandLine.strictExit);
    }

    [[nodiscard]] bool isWholeDocument() const {
        return _format == Format::junit || _format == Format::prometheus;
    }

    /// Writes a result, unless the format is one document for all.
    void write(const RequestRun& run, bool isOneOfSeveral) {
        if (_format == Format::json) {
            write(documentOf(run) + "\n");
        } else if (_format == Format::text) {
            const std::string heading = isOneOfSeveral ? printable(run.name) + ":\n" : "";
            write((_hasWritten ? "\n" : "") + heading +
                  resultReport(run.result, run.request, _style, _commandLine.onlyFailing,
                               run.evidence));
        }
    }

    [[nodiscard]] std::string documentOf(const RequestRun& run) const {
        if (_commandLine.explain) {
            return explainedDocument(run.resultDocument, run.evidence);
        }
        return _commandLine.envelope ? envelope(run, _runIdentifier, hostName())
                                     : run.resultDocument;
    }

    void write(const std::string& text) {
        _hasWritten = true;
        if (_commandLine.output) {
            _content += text;
        } else if (!_commandLine.quiet) {
            writeStandardOutput(text);
        }
    }

    void finish() {
        if (_format == Format::junit) {
            write(junitReport(_runs, hostName()));
        } else if (_format == Format::prometheus) {
            write(prometheusReport(_runs));
        }
        if (_commandLine.output) {
            replaceFile(*_commandLine.output, _content);
        }
    }

    const CommandLine& _commandLine;
    Format _format;
    ReportStyle _style;
    std::string _runIdentifier;
    std::shared_ptr<JSONLogFile> _log;
    std::shared_ptr<const VELPlatform> _platform;
    VELRecording _recorded; // by all requests
    std::vector<VELValue> _requests;
    std::vector<RequestRun> _runs;
    std::string _content;
    bool _hasWritten = false;
};

} // namespace

int runCheckCommand(const CommandLine& commandLine) {
    RequestRunner runner(commandLine);
    return runner.run(readRequests(commandLine.requests));
}

int runIdentityCommand(const CommandLine& commandLine) {
    RequestRunner runner(commandLine);
    const Request request = identityRequest(commandLine.names);
    const bool areKnown = areIdentityValues(commandLine.names);
    const int status = runner.run({request});
    return areKnown ? status : failureStatus;
}
