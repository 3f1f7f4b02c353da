// SPDX-License-Identifier: Apache-2.0
#include "Base/VELJSON.h"
#include "Base/VELProcessListing.h"
#include "Base/VELText.h"
#include "Classes/Mac/VELProcessRunningCheck.h"
#include "Classes/Shared/VELErrorTexts.h"
#include "Tools/vel-posture/DisplayText.h"
#include "Tools/vel-posture/ReportText.h"
#include "Tools/vel-posture/explain/ToolEvidence.h"
#include "Tools/vel-posture/lint/Finding.h"

using Kind = CheckOutcome::Kind;
using vel::recorded::Run;

namespace {

constexpr const char* listingTool = "/bin/ps";
constexpr const char* signatureTool = "/usr/bin/codesign";
constexpr const char* subjectTool = "/usr/bin/openssl";

/// A process of the listing that an entry selects.
struct Candidate {
    std::int64_t identifier;
    std::string line;
};

/// Goes through the entries and the answers in the order of the check.
class ProcessWalk {
public:
    explicit ProcessWalk(Answers answers)
        : _answers(answers), _listing(runOf(listingTool, answers)),
          _signatures(runsOf(signatureTool, answers)), _subjects(runsOf(subjectTool, answers)) {}

    std::optional<Explanation> explain(const VELValue& processes) {
        if (_listing == nullptr) {
            return std::nullopt;
        }
        if (auto failure = failureOf(*_listing, "listing-tool")) {
            failure = explainedByHelper(_listing->command, _answers, *std::move(failure));
            failure->expected = processes;
            return Explanation{Kind::error, *std::move(failure)};
        }
        readListing();
        if (!processes.is_array()) {
            return wrongType("processes", processes, "an array");
        }
        for (std::size_t index = 0; index < processes.size(); ++index) {
            auto end = explainEntry(processes[index], "processes[" + std::to_string(index) + "]");
            if (_lacksAnswer) {
                return std::nullopt;
            }
            if (end) {
                end->evidence.expected = processes;
                return end;
            }
        }
        Evidence evidence = {.code = _code.empty() ? "process-not-running" : _code,
                             .text =
                                 _notes.empty() ? "\"processes\" has no entry" : sentence(_notes),
                             .expected = processes,
                             .found = _found,
                             .source = _source.empty() ? _listing->launchPath : _source};
        if (!_printed) {
            evidence = unreadableOutput(*_listing, "listing-tool");
            evidence.expected = processes;
        }
        return Explanation{_hasError ? Kind::error : Kind::fail, std::move(evidence)};
    }

private:
    void readListing() {
        _printed = printedBy(*_listing);
        if (_printed) {
            _lines = vel::split(*_printed, '\n');
        }
        _processes.emplace(_printed ? std::optional<std::string_view>(*_printed) : std::nullopt);
    }

    [[nodiscard]] std::vector<Candidate> candidatesOf(const std::string& name) const {
        std::vector<Candidate> candidates;
        const auto identifiers = _processes->processIDs(name);
        const auto positions = _processes->linesOf(name);
        for (std::size_t index = 0; index < positions.size(); ++index) {
            candidates.push_back({identifiers[index], std::string(_lines.at(positions[index]))});
        }
        return candidates;
    }

    /// Nothing: the search goes on.
    std::optional<Explanation> explainEntry(const VELValue& process, const std::string& path) {
        if (!process.is_object()) {
            return wrongType(path, process, "an object");
        }
        const VELValue* name = vel::valueUnder("name", process);
        if (name == nullptr) {
            _notes.push_back(path + " has no \"name\"");
            return Explanation{Kind::error,
                               {.code = "process-name-missing",
                                .text = sentence(_notes),
                                .found = process,
                                .source = "the request"}};
        }
        if (!name->is_string()) {
            return wrongType(path + ".name", *name, "a string");
        }
        const auto& text = name->get_ref<const std::string&>();
        const auto candidates = candidatesOf(text);
        if (candidates.empty()) {
            _notes.push_back(absence(text));
            return std::nullopt;
        }
        const VELValue* unit = vel::valueUnder("signingCertificateSubjectOU", process);
        if (unit == nullptr) {
            return pass("process-running", candidates.front(), runs(text, candidates.front()),
                        nullptr);
        }
        for (const Candidate& candidate : candidates) {
            auto end = explainSigner(text, candidate, *unit, path);
            if (end || _lacksAnswer) {
                return end;
            }
        }
        return std::nullopt;
    }

    std::optional<Explanation> explainSigner(const std::string& name, const Candidate& candidate,
                                             const VELValue& wanted, const std::string& path) {
        const std::string running = runs(name, candidate);
        const Run* signature = next(_signatures, _signatureCount);
        if (signature == nullptr) {
            _lacksAnswer = true;
            return std::nullopt;
        }
        if (auto failure = failureOf(*signature, "signature-tool")) {
            failure = explainedByHelper(signature->command, _answers, *std::move(failure));
            refuse(*failure, running + ", its signature cannot be read: " + failure->text);
            return std::nullopt;
        }
        if (_hasError) {
            _notes.push_back(running + ", its signature was not read any more");
            return std::nullopt;
        }
        const Run* subject = next(_subjects, _subjectCount);
        if (subject == nullptr) {
            _lacksAnswer = true;
            return std::nullopt;
        }
        if (auto failure = failureOf(*subject, "subject-tool")) {
            refuse(*failure, running + ", its signer cannot be read: " + failure->text);
            return std::nullopt;
        }
        const auto printed = printedBy(*subject);
        const auto unit =
            printed ? VELProcessRunningCheck::subjectOUInSubjectLine(*printed) : std::nullopt;
        if (unit && !wanted.is_string()) {
            return wrongType(path + ".signingCertificateSubjectOU", wanted, "a string");
        }
        if (unit && *unit == wanted.get_ref<const std::string&>()) {
            return pass("process-running-signed", candidate,
                        running + ", signed by " + named(*unit), *unit);
        }
        const std::string wantedText =
            ", wanted " +
            (wanted.is_string() ? named(wanted.get_ref<const std::string&>()) : shownValue(wanted));
        Evidence evidence = {.code = "signer-differs",
                             .found = found(candidate, unit ? VELValue(*unit) : VELValue()),
                             .source = subject->launchPath};
        if (!printed) {
            evidence.code = unreadableOutput(*subject, "subject-tool").code;
            refuse(evidence, running + "; " + unreadableOutput(*subject, "subject-tool").text);
        } else if (!unit) {
            evidence.code = "signer-without-unit";
            refuse(evidence, running +
                                 ", the signer's subject has no organisational unit that a slash "
                                 "follows" +
                                 wantedText);
        } else {
            refuse(evidence, running + ", signed by " + named(*unit) + wantedText);
        }
        return std::nullopt;
    }

    /// The first error of the check stands.
    void refuse(const Evidence& evidence, std::string note) {
        if (_code.empty()) {
            _code = evidence.code;
            _found = evidence.found;
            _source = evidence.source;
        }
        _hasError = true;
        _notes.push_back(std::move(note));
    }

    Explanation pass(const char* code, const Candidate& candidate, const std::string& text,
                     const VELValue& unit) const {
        return {Kind::pass,
                {.code = code,
                 .text = text,
                 .found = found(candidate, unit),
                 .source = _listing->launchPath}};
    }

    static VELValue found(const Candidate& candidate, const VELValue& unit) {
        VELValue value = {{"pid", candidate.identifier}};
        if (!unit.is_null()) {
            value["signingCertificateSubjectOU"] = unit;
        }
        return value;
    }

    [[nodiscard]] std::string absence(const std::string& name) const {
        if (name.empty()) {
            return "an empty name selects no process";
        }
        const auto count =
            std::ranges::count_if(_lines, [](std::string_view line) { return !line.empty(); });
        return named(name) + " does not run: none of " +
               countOf(static_cast<std::size_t>(count), "line", "lines") +
               " of the process listing ends with it";
    }

    /// "SampleAgent runs (pid 412)", and the line where the name is only the end of another one.
    static std::string runs(const std::string& name, const Candidate& candidate) {
        const std::string line = vel::lowercase(candidate.line);
        const std::size_t end = line.size() - std::min(line.size(), vel::lowercase(name).size());
        const bool isWhole = end == 0 || line[end - 1] == ' ' || line[end - 1] == '\t';
        std::string text = named(name) + " runs (pid " + std::to_string(candidate.identifier) + ")";
        return isWhole && candidate.identifier > 0
                   ? text
                   : text + ", selected by the line " + finding::quoted(candidate.line);
    }

    static const Run* next(const std::vector<const Run*>& runs, std::size_t& count) {
        return count < runs.size() ? runs[count++] : nullptr;
    }

    Answers _answers;
    const Run* _listing;
    std::vector<const Run*> _signatures;
    std::vector<const Run*> _subjects;
    std::size_t _signatureCount = 0;
    std::size_t _subjectCount = 0;
    std::optional<std::string> _printed;
    std::vector<std::string_view> _lines;
    std::optional<vel::ProcessListing> _processes;

    /// Of the first error.
    std::string _code;
    VELValue _found;
    std::string _source;
    bool _hasError = false;
    bool _lacksAnswer = false;
    std::vector<std::string> _notes;
};

} // namespace

std::optional<Explanation> explainProcess(const VELDictionary& entry, Answers answers) {
    return ProcessWalk(answers).explain(entry.at("processes"));
}
