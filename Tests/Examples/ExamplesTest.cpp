// SPDX-License-Identifier: Apache-2.0
#include "Base/VELBase64.h"
#include "Tests/Support/CertificateWorkshop.h"
#include "Tests/Support/ChildProgram.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

const fs::path examples = VEL_SOURCE_DIRECTORY "/Examples";

/// The names of the files in a folder of the examples, in order; folders in it do not count.
std::vector<std::string> filesIn(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(examples / folder)) {
        if (!entry.is_directory()) {
            names.push_back(entry.path().filename());
        }
    }
    std::ranges::sort(names);
    return names;
}

std::string contentOf(const fs::path& path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

int expectedStatus(const Json& result) {
    return result.contains("identity_params") || result.at("pass").get<bool>() ? 0 : 1;
}

/// Holds the program's answer against the file that says what it should be.
void expectResult(const std::string& request, const std::string& machine,
                  const std::string& resultFile) {
    SCOPED_TRACE(request + " on " + machine + " (expected: Examples/" + resultFile +
                 "; Examples/update-results writes it anew)");
    ASSERT_TRUE(fs::exists(examples / resultFile)) << "no expected result";
    const Json expected = Json::parse(contentOf(examples / resultFile));
    const ChildProgram program{{VEL_POSTURE_PROGRAM, "check", examples / request, "--machine",
                                examples / machine, "--format", "json"}};
    const ChildProgram::Result answer = program.run();
    EXPECT_EQ(answer.errors, "");
    EXPECT_EQ(answer.status, expectedStatus(expected));
    ASSERT_TRUE(Json::accept(answer.output)) << answer.output;
    EXPECT_EQ(Json::parse(answer.output), expected) << answer.output;
}

TEST(Examples, EveryDescribedMacAnswersAllChecksAsExpected) {
    for (const std::string& machine : filesIn("Machines")) {
        expectResult("Requests/all-checks.json", "Machines/" + machine, "Results/" + machine);
    }
}

TEST(Examples, EveryRequestIsAnsweredAsExpectedByTheMacInGoodOrder) {
    for (const std::string& request : filesIn("Requests")) {
        expectResult("Requests/" + request, "Machines/compliant.json",
                     "Results/Requests/" + request);
    }
}

TEST(Examples, EveryExpectedResultHasItsMacOrRequest) {
    EXPECT_EQ(filesIn("Results"), filesIn("Machines"));
    EXPECT_EQ(filesIn("Results/Requests"), filesIn("Requests"));
}

std::string outcomeOf(const Json& check) {
    if (check.contains("error")) {
        return "error";
    }
    return check.at("pass").get<bool>() ? "pass" : "fail";
}

TEST(Examples, TheMacsCoverEveryOutcomeOfEveryCheck) {
    using Outcomes = std::map<std::string, std::set<std::string>>;
    Outcomes found;
    for (const std::string& machine : filesIn("Machines")) {
        const Json result = Json::parse(contentOf(examples / "Results" / machine));
        for (const Json& check : result.at("checks")) {
            found[check.at("type").get<std::string>()].insert(outcomeOf(check));
        }
    }
    const std::set<std::string> all = {"pass", "fail", "error"};
    EXPECT_EQ(found, (Outcomes{{"localFirewall", all},
                               {"fullDiskEncryption", all},
                               {"certificatePresent", all},
                               {"minimumOSVersion", {"pass", "fail"}},
                               {"anyProcessRunning", all},
                               {"joinedToDomain", all},
                               {"perDeviceCertificatePresent", all}}));
}

/// Every text in `value`, however deep.
void collectTexts(const Json& value, std::set<std::string>& texts) {
    if (value.is_string()) {
        texts.insert(value.get<std::string>());
    }
    if (value.is_structured()) {
        for (const Json& member : value) {
            collectTexts(member, texts);
        }
    }
}

TEST(Examples, TheCertificatesAreThoseOfTheirFolder) {
    std::set<std::string> texts;
    for (const std::string folder : {"Machines", "Requests"}) {
        for (const std::string& file : filesIn(folder)) {
            collectTexts(Json::parse(contentOf(examples / folder / file)), texts);
        }
    }
    std::set<std::string> certificates;
    for (const std::string& text : texts) {
        if (text.starts_with("MII")) {
            certificates.insert(text);
        }
    }
    std::set<std::string> expected;
    for (const std::string& file : filesIn("Certificates")) {
        // Only the leaf issued under it is in a Mac.
        if (file.ends_with(".pem") && file != "impostor-root.pem") {
            expected.insert(
                vel::base64Text(CertificateWorkshop::derOfFile(examples / "Certificates" / file)));
        }
    }
    EXPECT_EQ(certificates, expected);
}

TEST(Examples, EveryMacHasTheSameDateSoThatNothingExpires) {
    for (const std::string& machine : filesIn("Machines")) {
        EXPECT_EQ(Json::parse(contentOf(examples / "Machines" / machine)).value("date", ""),
                  "2026-01-15T12:00:00Z")
            << machine;
    }
}

TEST(Examples, NoPrivateKeyIsAmongThem) {
    std::size_t files = 0;
    for (const auto& entry : fs::recursive_directory_iterator(examples)) {
        if (!entry.is_directory()) {
            ++files;
            EXPECT_EQ(contentOf(entry.path()).find("PRIVATE KEY"), std::string::npos)
                << entry.path();
        }
    }
    EXPECT_GT(files, 0U);
}

} // namespace
