// SPDX-License-Identifier: Apache-2.0
#include "Base/VELJSON.h"
#include "Base/VELText.h"
#include "Classes/Shared/VELErrorTexts.h"
#include "Tools/vel-posture/lint/KeyLint.h"
#include "Tools/vel-posture/lint/ParameterLint.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <utility>

namespace {

constexpr const char* nameKey = "name";
constexpr const char* signerKey = "signingCertificateSubjectOU";
constexpr std::string_view heading = "time cmd"; // the end of the listing's first line
constexpr std::string_view bundleSuffix = ".app";
constexpr const char* bareName =
    "write the bare name of the executable, as the process listing shows it";

bool isString(const VELValue* value) {
    return value != nullptr && value->is_string();
}

const std::string& textOf(const VELValue& value) {
    return value.get_ref<const std::string&>();
}

std::string pathInEntry(std::size_t index, std::string_view key = "") {
    return "processes[" + std::to_string(index) + "]" + (key.empty() ? "" : ".") + std::string(key);
}

/// That the entry is an error with this text, once the process at `index` is looked at.
std::string anErrorOf(std::size_t index, std::string_view text) {
    return std::string(index == 0 ? "the entry is an error"
                                  : "unless a process before it passes, the entry is an error") +
           " (\"" + std::string(text) + "\")";
}

std::string adviceForPath(std::string_view path) {
    const std::size_t last = path.find_last_not_of('/');
    std::string_view name = path.substr(0, last == std::string_view::npos ? 0 : last + 1);
    name.remove_prefix(name.find_last_of('/') + 1);
    if (name.empty()) {
        return bareName;
    }
    return name.ends_with(bundleSuffix)
               ? "write the name of the bundle's executable, often " +
                     finding::quoted(name.substr(0, name.size() - bundleSuffix.size()))
               : "write " + finding::quoted(name);
}

/// What a name selects is a line of the listing that ends with it.
void lintName(const std::string& name, const Place& place, FindingList& findings) {
    const std::u32string characters = vel::characters(name);
    if (name.empty()) {
        findings.add(rule::neverPasses, place, "is empty: it selects no process", bareName);
    } else if (name.find('\n') != std::string::npos) {
        findings.add(rule::neverPasses, place, "contains a line break: it selects no process",
                     bareName);
    } else if (name.find('/') != std::string::npos) {
        findings.add(rule::neverPasses, place,
                     "contains a \"/\": the process listing shows bare names, so it selects no "
                     "process",
                     adviceForPath(name));
    } else if (name.ends_with(' ') || name.ends_with('\t')) {
        findings.add(rule::oddName, place,
                     "ends in white space: it selects no process, unless the name does too",
                     bareName);
    } else if (name.ends_with(bundleSuffix)) {
        findings.add(rule::oddName, place,
                     "ends in \".app\": the process listing shows executables, not bundles",
                     adviceForPath(name));
    } else if (heading.ends_with(vel::lowercase(name))) {
        findings.add(rule::alwaysPasses, place,
                     "matches the end of the heading of the process listing: it is always found",
                     "write the whole name of the executable");
    }
}

void lintSignerText(const std::string& signer, const Place& place, FindingList& findings) {
    if (signer.empty()) {
        findings.add(rule::oddSigner, place, "is empty: only a certificate with an empty OU passes",
                     "write the OU, such as \"TEAM42\"; without this key any signer passes");
    } else if (signer.find('/') != std::string::npos) {
        findings.add(rule::neverPasses, place,
                     "contains a \"/\": the OU found ends before one, so no signer passes",
                     "write the OU alone, such as \"TEAM42\"");
    } else if (signer.starts_with("OU=")) {
        findings.add(rule::oddSigner, place,
                     "begins with \"OU=\": it is compared with the bare value",
                     "write " + finding::quoted(std::string_view(signer).substr(3)));
    } else if (signer.front() == ' ' || signer.back() == ' ') {
        findings.add(rule::oddSigner, place, "begins or ends with a space, which counts",
                     "write the OU alone, such as \"TEAM42\"");
    }
}

class ProcessesLint {
public:
    explicit ProcessesLint(const ParameterLint& processes) : _processes(processes) {}

    void run() {
        for (std::size_t index = 0; index < _processes.value.size(); ++index) {
            lintProcess(index);
        }
        lintRepetitions();
        gatherUnsigned();
        for (std::size_t index = 0; index < _processes.value.size(); ++index) {
            lintSignerAmongOthers(index);
        }
    }

private:
    [[nodiscard]] Place placeOf(std::size_t index) const { return _processes.place.element(index); }

    void lintProcess(std::size_t index) {
        const VELValue& process = _processes.value[index];
        const Place place = placeOf(index);
        if (!process.is_object()) {
            const auto* text = process.get_ptr<const std::string*>();
            _processes.findings.add(
                rule::wrongType, place,
                finding::wrongKind(process, "an object") + ": " +
                    anErrorOf(index, vel::errortext::notAnObject(pathInEntry(index))),
                "write {\"name\": " +
                    (text != nullptr ? finding::quoted(*text) : "\"SampleAgent\"") + "}");
            return;
        }
        KeyLint keys(process, place, {nameKey, signerKey}, _processes.findings);
        if (keys.require(nameKey, anErrorOf(index, vel::errortext::processNameMissing),
                         "add \"name\", such as \"name\": \"SampleAgent\"")) {
            lintNameValue(process.at(nameKey), index);
        }
        if (const VELValue* signer = vel::valueUnder(signerKey, process)) {
            lintSigner(*signer, index);
        }
        keys.reportUnread(keys.takeUnknown(), "remove it if nothing else reads it");
    }

    void lintNameValue(const VELValue& name, std::size_t index) {
        const Place place = placeOf(index).key(nameKey);
        if (name.is_string()) {
            lintName(textOf(name), place, _processes.findings);
        } else {
            _processes.findings.add(
                rule::wrongType, place,
                finding::wrongKind(name, "a string") + ": " +
                    anErrorOf(index, vel::errortext::notAString(pathInEntry(index, nameKey))),
                bareName);
        }
    }

    void lintSigner(const VELValue& signer, std::size_t index) {
        const Place place = placeOf(index).key(signerKey);
        if (signer.is_string()) {
            lintSignerText(textOf(signer), place, _processes.findings);
        } else {
            _processes.findings.add(
                rule::wrongType, place,
                finding::wrongKind(signer, "a string") +
                    ": where the process runs and has a signer, the entry is an error (\"" +
                    vel::errortext::notAString(pathInEntry(index, signerKey)) + "\")",
                "write the OU, such as \"TEAM42\"; without this key any signer passes");
        }
    }

    /// The process at `index` if it says well enough what it asks for.
    [[nodiscard]] const VELValue* asking(std::size_t index) const {
        const VELValue& process = _processes.value[index];
        return isString(vel::valueUnder(nameKey, process)) ? &process : nullptr;
    }

    [[nodiscard]] static bool asksForSigner(const VELValue& process) {
        return process.contains(signerKey);
    }

    void lintRepetitions() {
        std::map<std::pair<std::string, VELValue>, std::size_t> seen;
        for (std::size_t index = 0; index < _processes.value.size(); ++index) {
            const VELValue* process = asking(index);
            if (process == nullptr) {
                continue;
            }
            const VELValue* signer = vel::valueUnder(signerKey, *process);
            const auto [first, isNew] =
                seen.emplace(std::pair(vel::lowercase(textOf(process->at(nameKey))),
                                       signer != nullptr ? VELValue::array({*signer}) : VELValue()),
                             index);
            if (!isNew) {
                _processes.findings.add(rule::repetition, placeOf(index),
                                        "repeats " + placeOf(first->second).text(),
                                        "remove one of them");
            }
        }
    }

    /// A process without a signer that is found wherever one of this name is.
    [[nodiscard]] std::optional<std::size_t> laxerThan(std::string_view name) const {
        for (; !name.empty(); name.remove_prefix(1)) {
            if (const auto found = _unsigned.find(name); found != _unsigned.end()) {
                return found->second;
            }
        }
        return std::nullopt;
    }

    void gatherUnsigned() {
        for (std::size_t index = 0; index < _processes.value.size(); ++index) {
            const VELValue* process = asking(index);
            if (process != nullptr && !asksForSigner(*process)) {
                _unsigned.emplace(vel::lowercase(textOf(process->at(nameKey))), index);
            }
        }
    }

    void lintSignerAmongOthers(std::size_t index) {
        const VELValue* process = asking(index);
        if (process == nullptr || !asksForSigner(*process)) {
            return;
        }
        const Place place = placeOf(index).key(signerKey);
        if (const auto laxer = laxerThan(vel::lowercase(textOf(process->at(nameKey))))) {
            _processes.findings.add(rule::noEffect, place,
                                    "has no effect: " + placeOf(*laxer).text() +
                                        " finds the same process, whoever signed it",
                                    "give both a signer, or remove one of them");
        } else if (_firstSigned) {
            _processes.findings.add(
                rule::noEffect, place,
                "is not checked once " + placeOf(*_firstSigned).text() +
                    " was found with another signer",
                "of all processes with a signer only the first one found is examined: list the "
                "one that is to decide first, or leave the other signers out");
        }
        if (!_firstSigned) {
            _firstSigned = index;
        }
    }

    const ParameterLint& _processes;
    /// By their names in lower case.
    std::map<std::string, std::size_t, std::less<>> _unsigned;
    std::optional<std::size_t> _firstSigned;
};

} // namespace

void lintProcesses(const ParameterLint& processes) {
    if (!processes.value.is_array()) {
        processes.report(rule::wrongType,
                         finding::wrongKind(processes.value, "an array") +
                             finding::entryIsAnError(vel::errortext::notAnArray("processes")),
                         R"(write a list: [{"name": "SampleAgent"}])");
        return;
    }
    if (processes.value.empty()) {
        processes.report(rule::neverPasses, "is empty: no machine passes",
                         R"(list a process, such as {"name": "SampleAgent"})");
    }
    ProcessesLint(processes).run();
}
