// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/record/DescribeCommand.h"

#include "Classes/Shared/VELDTLogger.h"
#include "Tests/Support/ChildProgram.h"
#include "Tests/Support/DescribedRequests.h"
#include "Tests/Support/FileContent.h"
#include "Tests/Support/KeptDocuments.h"
#include "Tests/Support/TemporaryFolder.h"

#include <sys/stat.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace {

const std::string requests = VEL_SOURCE_DIRECTORY "/Examples/Requests/";
const std::string machines = VEL_SOURCE_DIRECTORY "/Examples/Machines/";

class Recordings : public testing::Test {
protected:
    ~Recordings() override { VELDTLogger::setLogger(nullptr); }

    static VELValue withoutTimes(const std::string& result) {
        VELValue value = VELValue::parse(result);
        value.erase("metrics");
        return value;
    }

    /// What `describe` makes of the described Mac.
    std::string describe(const std::string& machine, const std::vector<std::string>& forRequests,
                         bool redact = false) {
        CommandLine commandLine;
        commandLine.machine = machines + machine;
        commandLine.requests = forRequests;
        commandLine.output = file;
        commandLine.redact = redact;
        EXPECT_EQ(runDescribeCommand(commandLine), 0);
        std::string description = contentOf(file);
        keepMachineDescription(description);
        return description;
    }

    static ChildProgram::Result run(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), VEL_POSTURE_PROGRAM);
        return ChildProgram{arguments}.run();
    }

    static ::mode_t modeOf(const std::string& path) {
        struct ::stat status {};
        EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
        return status.st_mode & 0777U;
    }

    const TemporaryFolder folder;
    const std::string file = folder.path() + "/machine.json";
};

TEST_F(Recordings, ADescriptionForARequestAnswersItAsTheMachineDoes) {
    for (const std::string& machine : examples::filesIn("Machines")) {
        for (const std::string& request : examples::filesIn("Requests")) {
            SCOPED_TRACE(machine + " " + request);
            const auto described =
                vel::machineFromDescription(describe(machine, {requests + request}), nullptr);
            ASSERT_NE(described, nullptr);
            const std::string text = examples::request(request);
            EXPECT_EQ(withoutTimes(examples::answer(text, described).result),
                      withoutTimes(examples::answer(text, examples::machine(machine)).result));
        }
    }
}

TEST_F(Recordings, ADescriptionWithoutRequestAnswersWhatNeedsNone) {
    const VELValue description = VELValue::parse(describe("compliant.json", {}));
    for (const char* key :
         {"keychain", "mounts", "preferences", "productVersion", "serialNumber", "tools"}) {
        EXPECT_TRUE(description.contains(key)) << key;
    }
    std::vector<std::string> tools;
    for (const VELValue& run : description.at("tools")) {
        tools.push_back(run.at("command")[0].get<std::string>());
    }
    EXPECT_EQ(tools, (std::vector<std::string>{"/usr/libexec/ApplicationFirewall/socketfilterfw",
                                               "/bin/ps", "/usr/sbin/dsconfigad"}));
    EXPECT_FALSE(description.at("keychain").contains("identityQueries"));
    const VELValue redacted = VELValue::parse(describe("compliant.json", {}, true));
    EXPECT_FALSE(redacted.contains("serialNumber"));
    EXPECT_FALSE(redacted.contains("preferences"));
    EXPECT_EQ(redacted.at("keychain").at("certificates"), VELValue::array());
    EXPECT_FALSE(redacted.at("tools")[1].contains("output"));
}

TEST_F(Recordings, AreTheirOwnersAlone) {
    std::ofstream(file) << "old";
    ASSERT_EQ(::chmod(file.c_str(), 0644), 0);
    const std::vector<std::string> check = {
        "check", requests + "all-checks.json", "--record", file, "--format", "json"};
    std::vector<std::string> onMachine = check;
    onMachine.insert(onMachine.end(), {"--machine", machines + "wrong-signer.json"});
    const auto recorded = run(onMachine);
    EXPECT_EQ(recorded.errors, "");
    EXPECT_EQ(recorded.status, 1);
    EXPECT_EQ(modeOf(file), 0600U);
    const auto replayed =
        run({"check", requests + "all-checks.json", "--machine", file, "--format", "json"});
    EXPECT_EQ(replayed.output, recorded.output);
    EXPECT_EQ(replayed.status, 1);

    const std::string other = folder.path() + "/other.json";
    EXPECT_EQ(run({"describe", "--output", other}).status, 0);
    EXPECT_EQ(modeOf(other), 0600U);
}

TEST_F(Recordings, SeveralRequestsHaveOneDescription) {
    const std::vector<std::string> both = {"check", requests + "identity.json",
                                           requests + "posture.json", "--machine"};
    std::vector<std::string> recording = both;
    recording.insert(recording.end(), {machines + "compliant.json", "--record", file});
    const auto recorded = run(recording);
    EXPECT_EQ(recorded.errors, "");
    std::vector<std::string> replaying = both;
    replaying.push_back(file);
    EXPECT_EQ(run(replaying).output, recorded.output);
    EXPECT_NE(recorded.output, "");
}

TEST_F(Recordings, ReportNothingMoreAndAreTheSameWithAnExplanation) {
    const auto with = [](std::vector<std::string> arguments,
                         const std::vector<std::string>& further) {
        arguments.insert(arguments.end(), further.begin(), further.end());
        return arguments;
    };
    const std::vector<std::string> check = {"check",     requests + "all-checks.json",
                                            "--machine", machines + "wrong-signer.json",
                                            "--format",  "text"};
    EXPECT_EQ(run(with(check, {"--record", file})).output, run(check).output);
    const std::string other = folder.path() + "/other.json";
    EXPECT_EQ(run(with(check, {"--record", other, "--explain"})).output,
              run(with(check, {"--explain"})).output);
    EXPECT_EQ(contentOf(other), contentOf(file));
    EXPECT_NE(contentOf(file), "");
}

TEST_F(Recordings, RedactedOnesLeaveOutWhoUsesTheMachine) {
    EXPECT_EQ(run({"check", requests + "minimum-os-version.json", "--machine",
                   machines + "compliant.json", "--record", file, "--redact"})
                  .errors,
              "");
    EXPECT_EQ(VELValue::parse(contentOf(file)), VELValue::parse(R"({"productVersion": "14.5"})"));
    const auto result = run({"check", "--redact", requests + "posture.json"});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.errors, "vel-posture: --redact needs --record\n"
                             "vel-posture: see vel-posture check --help\n");
}

/// A Mac with one certificate in two identities, of which trust is asked twice and differs.
TEST_F(Recordings, NothingIsWrittenThatWouldAnswerDifferently) {
    VELValue machine = VELValue::parse(contentOf(machines + "compliant.json"));
    VELValue& identities = machine["keychain"]["identities"];
    VELValue failing = identities[0];
    failing["anchorsStatus"] = -1;
    identities.insert(identities.begin(), failing);
    const std::string changing = folder.path() + "/changing.json";
    std::ofstream(changing) << machine.dump();
    const auto result =
        run({"check", requests + "all-checks.json", "--machine", changing, "--record", file});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.errors, "vel-posture: cannot describe the machine: the trust in a certificate "
                             "changed in between\n");
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(Recordings, NameTheFileThatIsWrong) {
    const std::string wrong = folder.path() + "/wrong.json";
    std::ofstream(wrong) << "[";
    const auto malformed = run({"describe", "--for", wrong});
    EXPECT_EQ(malformed.status, 2);
    EXPECT_EQ(malformed.output, "");
    EXPECT_EQ(malformed.errors.find("vel-posture: request \"" + wrong + "\": parse error"), 0U);
    EXPECT_EQ(run({"describe", "--for", "-", "--for", "-"}).errors,
              "vel-posture: standard input can be read only once\n");
    const auto unwritable = run({"check", requests + "minimum-os-version.json", "--machine",
                                 machines + "compliant.json", "--record", "/nowhere/a"});
    EXPECT_EQ(unwritable.status, 2);
    EXPECT_EQ(unwritable.errors,
              "vel-posture: cannot write \"/nowhere/a\": No such file or directory\n");
}

} // namespace
