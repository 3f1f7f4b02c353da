// SPDX-License-Identifier: Apache-2.0
#include "Platform/Linux/VELLinuxKeychain.h"

#include "Base/VELMoment.h"
#include "Tests/Support/CertificateWorkshop.h"
#include "Tests/Support/Oracle.h"
#include "Tests/Support/ProcessResources.h"
#include "Tests/Support/UnprivilegedUser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using Certificates = std::vector<std::string>;
using Clock = std::chrono::steady_clock;

constexpr const char* softHSM = "/usr/lib/softhsm/libsofthsm2.so";
const std::string helperPath = std::string(VEL_LINUX_TOOLS_DIRECTORY) + "/keychain-contents";

VELMoment testDate() {
    return vel::momentOfText("2030-01-01T00:00:00Z").value();
}

VELLinuxKeychain keychainOf(const std::string& module, const std::string& seconds = "8") {
    return {{.path = helperPath, .arguments = {"--module", module, "--seconds", seconds}},
            testDate};
}

/// A folder in memory where the machine has such a place, removed with what is in it.
class MemoryFolder {
public:
    MemoryFolder() {
        const bool hasMemory = std::filesystem::is_directory("/dev/shm");
        _path = (hasMemory ? std::filesystem::path("/dev/shm")
                           : std::filesystem::temp_directory_path()) /
                "vel_tests.XXXXXX";
        if (::mkdtemp(_path.data()) == nullptr) {
            throw std::runtime_error("no folder in memory");
        }
    }
    ~MemoryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(_path, ignored);
    }
    MemoryFolder(const MemoryFolder&) = delete;
    MemoryFolder& operator=(const MemoryFolder&) = delete;

    [[nodiscard]] const std::string& path() const { return _path; }

private:
    std::string _path;
};

/// Tokens of the test's own.
class Tokens : public testing::Test {
protected:
    Tokens() {
        if (!std::filesystem::exists(softHSM)) {
            throw std::runtime_error("this test needs the package softhsm2");
        }
        const std::string settings =
            folder.write("softhsm2.conf", "directories.tokendir = " + store.path() +
                                              "\nobjectstore.backend = file\nlog.level = ERROR\n");
        ::setenv("SOFTHSM2_CONF", settings.c_str(), 1);
    }
    ~Tokens() override { ::unsetenv("SOFTHSM2_CONF"); }

    void make(const std::string& lines) const {
        const std::string orders = folder.write("orders", lines);
        const OracleAnswer answer =
            askOracle(std::string(VEL_TOKEN_MAKER) + " " + softHSM + " < " + orders + " 2>&1");
        if (answer.status != 0) {
            throw std::runtime_error(answer.output);
        }
    }

    [[nodiscard]] std::string certificateLine(const std::string& identifier,
                                              const std::string& der) {
        const std::string file = folder.write("der" + std::to_string(++files), der);
        return "certificate " + identifier + " " + file + "\n";
    }

    TemporaryFolder folder;
    MemoryFolder store; // every object is synchronised to the disk, which takes its time
    int files = 0;
    CertificateWorkshop workshop;
    VELLinuxKeychain keychain = keychainOf(softHSM);
};

TEST_F(Tokens, WithoutACertificateAreNotFound) {
    EXPECT_EQ(keychain.certificates(10).status, -25300);
    make("token empty\n");
    EXPECT_EQ(keychain.certificates(10).status, -25300);
    EXPECT_EQ(keychain.identities("\x30").status, -25300);
}

TEST_F(Tokens, AnswerTheirCertificatesInOrder) {
    make("token one\n" + certificateLine("b", "second") + certificateLine("a", "third") +
         certificateLine("a", "first"));
    const auto answer = keychain.certificates(10);
    EXPECT_EQ(answer.status, 0);
    EXPECT_EQ(answer.certificates, Certificates({"first", "third", "second"}));
    EXPECT_EQ(keychain.certificates(2).certificates, Certificates({"first", "third"}));
}

TEST_F(Tokens, AnswerThoseOfEveryToken) {
    make("token one\n" + certificateLine("a", "x") + "token two\n" + certificateLine("a", "x") +
         certificateLine("b", "y"));
    const auto answer = keychain.certificates(10);
    Certificates sorted = answer.certificates;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(sorted, Certificates({"x", "x", "y"}));
    EXPECT_EQ(keychain.certificates(10).certificates, answer.certificates);
}

TEST_F(Tokens, AnswerElevenHundredInAStableOrder) {
    std::string lines = "token many\n";
    for (int number = 0; number < 1100; ++number) {
        lines += certificateLine("id" + std::to_string(number % 7),
                                 "certificate " + std::to_string(number) + std::string(1500, '.'));
    }
    make(lines);
    const auto answer = keychain.certificates(2000);
    EXPECT_EQ(answer.certificates.size(), 1100U);
    const auto first = keychain.certificates(1000).certificates;
    EXPECT_EQ(first.size(), 1000U);
    EXPECT_TRUE(std::equal(first.begin(), first.end(), answer.certificates.begin()));
}

TEST_F(Tokens, HaveIdentitiesWhereAKeyIsBesideTheCertificate) {
    const std::string root = workshop.makeAuthority("Root");
    const auto leaf = [&](const std::string& name) { return workshop.makeLeaf(name, "Root"); };
    make("token one\n" + certificateLine("root", root) + certificateLine("a", leaf("Visible")) +
         "private-key a visible\n" + certificateLine("b", leaf("Behind")) +
         "private-key b hidden\npublic-key b\n" + certificateLine("c", leaf("Secret")) +
         "private-key c hidden\n" + certificateLine("d", leaf("None")) +
         "token two\nprivate-key d visible\n");
    const auto anchor = keychain.parseCertificate(root);
    const auto answer = keychain.identities(anchor->normalizedSubject().value());
    EXPECT_EQ(answer.status, 0);
    std::vector<std::string> names;
    for (const auto& identity : answer.identities) {
        names.push_back(identity->copyCertificate().certificate->subjectSummary().value());
    }
    EXPECT_EQ(names, std::vector<std::string>({"Visible", "Behind"}));
}

TEST_F(Tokens, TrustAnIdentityThroughTheirIntermediates) {
    const std::string root = workshop.makeAuthority("Root");
    const std::string middle = workshop.makeAuthority("Middle", "Root");
    make("token one\n" + certificateLine("a", workshop.makeLeaf("Leaf", "Middle")) +
         "private-key a visible\ntoken two\n" + certificateLine("b", middle));
    const auto anchor = keychain.parseCertificate(root);
    const auto answer = keychain.identities(anchor->normalizedSubject().value());
    ASSERT_EQ(answer.status, 0);
    ASSERT_EQ(answer.identities.size(), 1U);
    const auto created =
        keychain.createTrust(answer.identities.front()->copyCertificate().certificate);
    ASSERT_EQ(created.status, 0);
    EXPECT_EQ(created.trust->setOnlyAnchor(anchor), 0);
    std::optional<VELError> error;
    EXPECT_TRUE(created.trust->evaluate(&error)) << error->message();
}

/// The registered modules as a user without root's rights has them: root has no settings of its own
/// beside the machine's.
class RegisteredModules : public Tokens {
protected:
    RegisteredModules() {
        make("token one\n" + certificateLine("a", "some"));
        folder.write("settings/pkcs11/pkcs11.conf", "user-config: only\n");
        registerModule("softhsm", std::string("module: ") + softHSM + "\n");
        ::setenv("XDG_CONFIG_HOME", (folder.path() + "/settings").c_str(), 1);
        // Where they were built, another user may not get at them.
        askOracle("cp " + std::string(helperPath) + " " + ownHelper() + " && cp " +
                  VEL_FAULTY_MODULE + " " + faultyModule());
        askOracle("chmod -R a+rwX " + folder.path() + " " + store.path());
    }
    ~RegisteredModules() override { ::unsetenv("XDG_CONFIG_HOME"); }

    void registerModule(const std::string& name, const std::string& lines) const {
        folder.write("settings/pkcs11/modules/" + name + ".module", lines);
    }

    [[nodiscard]] std::string ownHelper() const { return folder.path() + "/keychain-contents"; }
    [[nodiscard]] std::string faultyModule() const { return folder.path() + "/faulty-module.so"; }

    [[nodiscard]] std::string answer() const {
        return askedWithoutPrivileges([this] {
            const auto found = VELLinuxKeychain({.path = ownHelper()}).certificates(10);
            return std::to_string(found.status) +
                   (found.status == 0 ? " " + found.certificates.front() : "");
        });
    }
};

TEST_F(RegisteredModules, AreAsked) {
    EXPECT_EQ(answer(), "0 some");
}

TEST_F(RegisteredModules, ThatAreMissingOrFailAreAFailingStatus) {
    registerModule("missing", "module: /nonexistent/module.so\n");
    EXPECT_EQ(answer(), "-2070");
    registerModule("missing", "module: " + faultyModule() + "\n");
    EXPECT_EQ(answer(), "-2070");
}

TEST_F(RegisteredModules, ThatAreTrustPolicyAreLeftOut) {
    registerModule("policy", "module: " + faultyModule() + "\ntrust-policy: yes\n");
    EXPECT_EQ(answer(), "0 some");
    registerModule("softhsm", std::string("module: ") + softHSM + "\ntrust-policy: yes\n");
    EXPECT_EQ(answer(), "-25300");
}

/// The status of both queries, and that nothing is left behind.
std::int32_t statusOf(const VELLinuxKeychain& keychain) {
    const ProcessResources before = ProcessResources::now();
    const std::int32_t status = keychain.certificates(10).status;
    EXPECT_EQ(keychain.identities("\x30").status, status);
    EXPECT_EQ(ProcessResources::settled(before), before);
    return status;
}

class FaultyModule : public testing::Test {
protected:
    ~FaultyModule() override { ::unsetenv("VEL_MODULE_FAULT"); }

    static std::int32_t statusWith(const char* fault) {
        ::setenv("VEL_MODULE_FAULT", fault, 1);
        return statusOf(keychainOf(VEL_FAULTY_MODULE, "1"));
    }
};

TEST_F(FaultyModule, ThatCrashesIsAFailingStatus) {
    EXPECT_EQ(statusWith("crash"), -2070);
}

TEST_F(FaultyModule, ThatEndsTheProcessIsAFailingStatus) {
    EXPECT_EQ(statusWith("exit"), -2070) << "there is no output, although the status is 0";
}

TEST_F(FaultyModule, ThatFailsIsAFailingStatus) {
    EXPECT_EQ(statusWith("fail"), -2070);
}

TEST_F(FaultyModule, ThatHangsIsAFailingStatusInBoundedTime) {
    const auto start = Clock::now();
    EXPECT_EQ(statusWith("hang"), 100'110);
    EXPECT_GE(Clock::now() - start, std::chrono::seconds(2));
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(9));
}

TEST_F(FaultyModule, ThatCannotBeLoadedIsAFailingStatus) {
    EXPECT_EQ(statusOf(keychainOf("/nonexistent/module.so")), -2070);
    EXPECT_EQ(statusOf(keychainOf("/dev/null")), -2070);
}

TEST(KeychainHelper, ThatCannotBeStartedIsNoKeychain) {
    EXPECT_EQ(statusOf(VELLinuxKeychain({.path = "/nonexistent/helper"})), -25291);
}

TEST(KeychainHelper, ThatFailsOrPrintsSomethingElseIsAFailingStatus) {
    for (const char* script : {"exit 1", "echo 'end 0'; exit 7", "echo end 1", "kill -9 $$", "true",
                               "printf 'end 0'", "echo 'certificate !'; echo end 1"}) {
        EXPECT_EQ(statusOf(VELLinuxKeychain({.path = "/bin/sh", .arguments = {"-c", script}})),
                  -2070)
            << script;
    }
    EXPECT_EQ(statusOf(VELLinuxKeychain({.path = "/bin/sh", .arguments = {"-c", "echo end 0"}})),
              -25300);
}

TEST(KeychainHelper, ThatTakesTooLongIsEnded) {
    const auto start = Clock::now();
    EXPECT_EQ(statusOf(VELLinuxKeychain({.path = "/bin/sleep",
                                         .arguments = {"60"},
                                         .timeOut = std::chrono::milliseconds(200)})),
              100'110);
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(20));
    EXPECT_EQ(statusOf(VELLinuxKeychain({.path = "/bin/sh", .arguments = {"-c", "exit 3"}})),
              100'110);
}

TEST(TokenContents, AreReadWholeOrNotAtAll) {
    const auto contents = vel::readTokenContents("certificate YQ==\nidentity Yg==\nend 2\n");
    ASSERT_TRUE(contents);
    EXPECT_EQ(contents->certificates, Certificates({"a", "b"}));
    EXPECT_EQ(contents->isIdentity, std::vector<bool>({false, true}));
    EXPECT_TRUE(vel::readTokenContents("end 0\n"));
    for (const char* text :
         {"", "\n", "end 0", "end 1\n", "certificate YQ==\n", "certificate YQ==\nend 0\n",
          "certificate YQ==\nend 2\n", "certificate \nend 1\n", "certificate Y\nend 1\n",
          "key YQ==\nend 1\n", "end 0\n\n", "end 0\nend 1\n", "certificate YQ==\n\nend 2\n"}) {
        EXPECT_FALSE(vel::readTokenContents(text)) << text;
    }
}

} // namespace
