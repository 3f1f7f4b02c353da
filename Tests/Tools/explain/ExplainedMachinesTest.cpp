// SPDX-License-Identifier: Apache-2.0
#include "Base/VELBase64.h"
#include "Base/VELText.h"
#include "Platform/X509/VELSHA1.h"
#include "Tests/Support/DescribedRequests.h"
#include "Tests/Support/GeneratedMachines.h"
#include "Tests/Support/Sanitized.h"
#include "Tools/vel-posture/explain/ExplainedEntry.h"
#include "Tools/vel-posture/trial/Trial.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

using Kind = CheckOutcome::Kind;

const std::set<std::string> codesOfPassing = {
    "certificate-present",    "domain-matches",        "firewall-on",
    "identity-trusted",       "no-volume-in-scope",    "process-running",
    "process-running-signed", "status-file-encrypted", "stored-firewall-state-on",
    "version-reached",        "volumes-encrypted"};

std::vector<int> numbersOf(const std::string& version) {
    std::vector<int> numbers;
    for (const std::string_view part : vel::split(version, '.')) {
        numbers.push_back(std::stoi(std::string(part)));
    }
    return numbers;
}

bool isPlainVersion(const std::string& version) {
    return version.find_first_not_of("0123456789.") == std::string::npos;
}

std::string fingerprintOf(const VELValue& certificate) {
    std::string text;
    for (const char byte :
         vel::x509::sha1(vel::bytesOfBase64(certificate.get<std::string>()).value())) {
        vel::appendHexadecimal(static_cast<std::uint8_t>(byte), text);
    }
    return text;
}

std::size_t countOfVolumes(const VELValue& volumes, const char* state) {
    std::size_t count = 0;
    for (const VELValue& volume : volumes) {
        count += volume.at("state") == state ? 1U : 0U;
    }
    return count;
}

/// Holds what was expected and what was found against the outcome, by rules of its own.
void expectFoundAgrees(const VELValue& entry, const VELValue& machine, const TriedCheck& check) {
    const Evidence& evidence = check.evidence;
    const auto type = entry.at("type").get<std::string>();
    const bool passes = check.outcome == Kind::pass;
    if (check.evidence.code == "parameter-type" || check.evidence.code == "parameter-missing") {
        EXPECT_NE(evidence.expected, VELValue());
    } else if (type == "minimumOSVersion") {
        EXPECT_EQ(evidence.expected, entry.at("version"));
        EXPECT_EQ(evidence.found, machine.value("productVersion", VELValue()));
        const auto wanted = entry.at("version").get<std::string>();
        const auto found = evidence.found.is_null() ? "none" : evidence.found.get<std::string>();
        if (isPlainVersion(found) && isPlainVersion(wanted)) {
            EXPECT_EQ(passes, numbersOf(found) >= numbersOf(wanted));
        }
    } else if (type == "localFirewall") {
        EXPECT_EQ(evidence.expected, VELValue("on"));
        EXPECT_EQ(passes, evidence.found == VELValue("on"));
        EXPECT_EQ(check.outcome == Kind::fail, evidence.found == VELValue("off"));
    } else if (type == "certificatePresent") {
        const VELValue list = machine.at("keychain").value("certificates", VELValue::array());
        if (passes) {
            const auto position = evidence.found.get<std::size_t>();
            EXPECT_EQ(VELValue(fingerprintOf(list.at(position - 1))), evidence.expected);
        } else if (check.outcome == Kind::fail) {
            EXPECT_EQ(evidence.found, VELValue(list.size()));
            for (const VELValue& certificate : list) {
                EXPECT_NE(VELValue(fingerprintOf(certificate)), evidence.expected);
            }
        }
    } else if (type == "fullDiskEncryption") {
        EXPECT_EQ(evidence.expected, VELValue("encrypted"));
        if (evidence.found.is_string()) { // what the status file says
            EXPECT_EQ(passes, evidence.found == VELValue("1,1"));
        } else if (passes) {
            EXPECT_EQ(countOfVolumes(evidence.found, "not encrypted"), 0U);
            EXPECT_EQ(evidence.code == "volumes-encrypted",
                      countOfVolumes(evidence.found, "encrypted") > 0);
        } else if (evidence.code == "volume-not-encrypted") {
            EXPECT_GT(countOfVolumes(evidence.found, "not encrypted"), 0U);
        }
    } else if (type == "anyProcessRunning") {
        EXPECT_EQ(evidence.expected, entry.at("processes"));
        if (passes) {
            const std::string pid = std::to_string(evidence.found.at("pid").get<std::int64_t>());
            EXPECT_NE(evidence.text.find("(pid " + pid + ")"), std::string::npos);
            EXPECT_EQ(evidence.code == "process-running-signed",
                      evidence.found.contains("signingCertificateSubjectOU"));
        }
    } else if (type == "joinedToDomain" && evidence.found.is_string()) {
        EXPECT_EQ(evidence.expected, entry.at("names"));
        // The names of the generated machines, and the one pattern that a domain of theirs fits.
        EXPECT_EQ(passes, evidence.found == VELValue("corp.sample.test") &&
                              entry.at("names") == VELValue::array({"*.sample.test"}));
    } else if (type == "perDeviceCertificatePresent" && passes) {
        EXPECT_FALSE(evidence.found.empty());
    }
}

/// What was said of the checks of a type until now.
class Said {
public:
    void note(const std::string& type, const TriedCheck& check) {
        const auto& [code, text, expected, found, source] = check.evidence;
        EXPECT_NE(text, "");
        EXPECT_NE(source, "");
        EXPECT_NE(code, "not-explained");
        EXPECT_NE(code, "other-error");
        EXPECT_EQ(check.outcome == Kind::pass, codesOfPassing.contains(code));
        const auto outcome = _outcomes.emplace(std::pair(type, code), check.outcome).first;
        EXPECT_EQ(outcome->second, check.outcome) << "elsewhere this code has another outcome";
        const auto cause = _causes.emplace(std::pair(type, text), code).first;
        EXPECT_EQ(cause->second, code) << "this is the text of another cause as well";
        _codes.insert(code);
    }

    [[nodiscard]] const std::set<std::string>& codes() const { return _codes; }

private:
    std::map<std::pair<std::string, std::string>, Kind> _outcomes;
    std::map<std::pair<std::string, std::string>, std::string> _causes;
    std::set<std::string> _codes;
};

TEST(ExplainedMachines, AreExplainedAsTheyAreJudged) {
#ifdef __OPTIMIZE__
    constexpr unsigned machines = 5'000;
#else
    constexpr unsigned machines = 1'500;
#endif
    Said said;
    for (unsigned seed = 0; seed < machines && !HasFailure(); seed += sampleStep) {
        GeneratedMachines generated(seed);
        const VELValue machine = generated.machine();
        const VELValue request = generated.request();
        if (!request.contains("mac")) {
            continue;
        }
        const auto make = [&] { return vel::machineFromValue(machine, nullptr); };
        const Trial trial("a", request.dump());
        const TriedRequest tried = trial.run(make(), Trial::Explaining::inFull);
        const TriedRequest coded = trial.run(make(), Trial::Explaining::byCode);
        for (std::size_t index = 0; index < tried.checks.size(); ++index) {
            const VELValue& entry = request.at("mac").at(index);
            const TriedCheck& check = tried.checks[index];
            SCOPED_TRACE("seed " + std::to_string(seed) + ": " + entry.dump() + " is " +
                         nameOf(check.outcome) + ", " + check.evidence.code + ": " +
                         check.evidence.text + "; of " + machine.dump());
            said.note(entry.at("type").get<std::string>(), check);
            expectFoundAgrees(entry, machine, check);
            EXPECT_EQ(coded.checks[index].evidence.code, check.evidence.code);
        }
        if (tried.checks.size() == 1) {
            const ExplainedEntry explained = runExplained(request.at("mac").at(0), make());
            EXPECT_EQ(explained.outcome, tried.checks.front().outcome);
            EXPECT_EQ(explained.evidence.code, tried.checks.front().evidence.code);
            EXPECT_EQ(explained.evidence.text, tried.checks.front().evidence.text);
        }
    }
    for (const std::string& code : codesOfPassing) {
        // A sample need not have them all.
        EXPECT_TRUE(said.codes().contains(code) || sampleStep > 1) << code << " never happened";
    }
}

} // namespace
