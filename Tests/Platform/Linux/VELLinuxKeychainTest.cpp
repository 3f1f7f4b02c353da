// SPDX-License-Identifier: Apache-2.0
#include "Platform/Linux/VELLinuxKeychain.h"

#include "Platform/X509/VELX509Certificates.h"

#include "Base/VELMoment.h"
#include "Tests/Support/CertificateWorkshop.h"
#include "Tests/Support/MadeTokens.h"
#include "Tests/Support/Oracle.h"
#include "Tests/Support/ProcessResources.h"
#include "Tests/Support/RegisteredModules.h"
#include "Tests/Support/SecurityStatus.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <string>
#include <sys/resource.h>
#include <vector>

namespace {

using Certificates = std::vector<std::string>;
using Clock = std::chrono::steady_clock;

VELMoment testDate() {
    return vel::momentOfText("2030-01-01T00:00:00Z").value();
}

class Tokens : public testing::Test {
protected:
    MadeTokens tokens;
    CertificateWorkshop workshop;
    VELLinuxKeychain keychain = keychainOfModule(MadeTokens::module(), testDate);
};

TEST_F(Tokens, ThatAreEmptyAreNotFound) {
    tokens.make("token empty\n");
    EXPECT_EQ(keychain.certificates(10).status, -25300);
    EXPECT_EQ(keychain.identities("\x30").status, -25300);
}

TEST_F(Tokens, AnswerTheirCertificatesInOrder) {
    tokens.make("token one\n" + tokens.certificateLine("b", "second") +
                tokens.certificateLine("a", "third") + tokens.certificateLine("a", "first"));
    const auto answer = keychain.certificates(10);
    EXPECT_EQ(answer.status, 0);
    EXPECT_EQ(answer.certificates, Certificates({"first", "third", "second"}));
    EXPECT_EQ(keychain.certificates(2).certificates, Certificates({"first", "third"}));
}

TEST_F(Tokens, AnswerThoseOfEveryToken) {
    tokens.make("token one\n" + tokens.certificateLine("a", "x") + "token two\n" +
                tokens.certificateLine("a", "x") + tokens.certificateLine("b", "y"));
    const auto answer = keychain.certificates(10);
    Certificates sorted = answer.certificates;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(sorted, Certificates({"x", "x", "y"}));
    EXPECT_EQ(keychain.certificates(10).certificates, answer.certificates);
}

TEST_F(Tokens, AnswerElevenHundredInAStableOrder) {
    std::string lines = "token many\n";
    for (int number = 0; number < 1100; ++number) {
        lines += tokens.certificateLine("id" + std::to_string(number % 7),
                                        "certificate " + std::to_string(number) +
                                            std::string(1500, '.'));
    }
    tokens.make(lines);
    const auto answer = keychain.certificates(2000);
    EXPECT_EQ(answer.certificates.size(), 1100U);
    const auto first = keychain.certificates(1000).certificates;
    EXPECT_EQ(first.size(), 1000U);
    EXPECT_TRUE(std::equal(first.begin(), first.end(), answer.certificates.begin()));
}

TEST_F(Tokens, HaveIdentitiesWhereAKeyIsBesideTheCertificate) {
    const std::string root = workshop.makeAuthority("Root");
    const auto leaf = [&](const std::string& name) { return workshop.makeLeaf(name, "Root"); };
    tokens.make("token one\n" + tokens.certificateLine("root", root) +
                tokens.certificateLine("a", leaf("Visible")) + "private-key a visible\n" +
                tokens.certificateLine("b", leaf("Behind")) +
                "private-key b hidden\npublic-key b\n" +
                tokens.certificateLine("c", leaf("Secret")) + "private-key c hidden\n" +
                tokens.certificateLine("d", leaf("None")) + "token two\nprivate-key d visible\n");
    const auto anchor = VELX509Certificates().parseCertificate(root);
    const auto answer = keychain.identities(anchor->normalizedSubject().value());
    EXPECT_EQ(answer.status, 0);
    std::vector<std::string> names;
    for (const auto& identity : answer.identities) {
        names.push_back(identity->copyCertificate().certificate->subjectSummary().value());
    }
    EXPECT_EQ(names, std::vector<std::string>({"Visible", "Behind"}));
}

TEST_F(Tokens, AKeyWithoutAnIDMakesNoIdentity) {
    const std::string root = workshop.makeAuthority("Root");
    tokens.make("token one\n" + tokens.certificateLine("-", workshop.makeLeaf("Bare", "Root")) +
                "private-key - visible\npublic-key -\n");
    EXPECT_EQ(keychain.certificates(10).status, 0);
    const auto anchor = VELX509Certificates().parseCertificate(root);
    EXPECT_EQ(keychain.identities(anchor->normalizedSubject().value()).status, -25300);
}

/// The first certificate of the registered modules, or the status.
class ModulesOfAUser : public Tokens {
protected:
    ModulesOfAUser() {
        tokens.make("token one\n" + tokens.certificateLine("a", "some"));
        giveToEverybody(tokens.folder().path());
        giveToEverybody(tokens.storePath());
        modules.registerModule("softhsm", softHSM);
    }

    [[nodiscard]] std::string answer() const {
        return modules.answer([](const VELLinuxKeychain& registered) {
            const auto found = registered.certificates(10);
            return std::to_string(vel::integerOfStatus(found.status)) +
                   (found.status == 0 ? " " + found.certificates.front() : "");
        });
    }

    const std::string softHSM = "module: " + MadeTokens::module() + "\n";
    RegisteredModules modules;
};

TEST_F(ModulesOfAUser, AreAsked) {
    EXPECT_EQ(answer(), "0 some");
}

TEST_F(ModulesOfAUser, ThatAreMissingOrFailAreAFailingStatus) {
    modules.registerModule("missing", "module: /nonexistent/module.so\n");
    EXPECT_EQ(answer(), "-2070");
    modules.registerModule("missing", "module: " + modules.faultyModule() + "\n");
    EXPECT_EQ(answer(), "-2070");
}

TEST_F(ModulesOfAUser, ThatAreTrustPolicyAreLeftOut) {
    modules.registerModule("policy", "module: " + modules.faultyModule() + "\ntrust-policy: yes\n");
    EXPECT_EQ(answer(), "0 some");
    modules.registerModule("softhsm", softHSM + "trust-policy: yes\n");
    EXPECT_EQ(answer(), "-25300");
}

/// The status of both queries, and that nothing is left behind.
VELSecurityStatus statusOf(const VELLinuxKeychain& keychain) {
    const ProcessResources before = ProcessResources::now();
    const VELSecurityStatus status = keychain.certificates(10).status;
    EXPECT_EQ(keychain.identities("\x30").status, status);
    EXPECT_EQ(ProcessResources::settled(before), before);
    return status;
}

class FaultyModule : public testing::Test {
protected:
    ~FaultyModule() override { ::unsetenv("VEL_MODULE_FAULT"); }

    static VELSecurityStatus statusWith(const char* fault) {
        ::setenv("VEL_MODULE_FAULT", fault, 1);
        return statusOf(keychainOfModule(VEL_FAULTY_MODULE, testDate, "1"));
    }
};

TEST_F(FaultyModule, ThatCrashesIsAFailingStatus) {
    EXPECT_EQ(statusWith("crash"), -2070);
}

TEST_F(FaultyModule, ThatCrashesLeavesNoMemoryBehind) {
    rlimit before = {};
    ::getrlimit(RLIMIT_CORE, &before);
    const rlimit unlimited = {before.rlim_max, before.rlim_max};
    ::setrlimit(RLIMIT_CORE, &unlimited);
    const TemporaryFolder place;
    const std::string command = "cd " + place.path() + " && VEL_MODULE_FAULT=crash " +
                                keychainHelperPath() + " --module " + VEL_FAULTY_MODULE + "; ls -A";
    EXPECT_EQ(askOracle(command).output, "");
    ::setrlimit(RLIMIT_CORE, &before);
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
}

TEST_F(FaultyModule, ThatPrintsIsNoPartOfTheAnswer) {
    EXPECT_EQ(statusWith("chat"), -25300);
}

TEST_F(FaultyModule, ThatLeavesAProgramRunningIsNotWaitedFor) {
    ::setenv("VEL_MODULE_FAULT", "linger", 1);
    VELLinuxKeychain::Helper helper = {.path = keychainHelperPath(),
                                       .arguments = {"--module", VEL_FAULTY_MODULE},
                                       .timeOut = std::chrono::seconds(5)};
    EXPECT_EQ(VELLinuxKeychain(helper).certificates(10).status, -25300);
}

TEST_F(FaultyModule, ThatHoldsMoreThanOneWantsToKeepIsAFailingStatus) {
    EXPECT_EQ(statusWith("large"), -2070);
}

TEST_F(FaultyModule, WhatMayNotBeReadIsLeftOut) {
    EXPECT_EQ(statusWith("sensitive"), -25300);
}

TEST_F(FaultyModule, WithATokenThatIsGoneOrUnknownHasNone) {
    EXPECT_EQ(statusWith("removed"), -25300);
    EXPECT_EQ(statusWith("unknown"), -25300);
}

TEST_F(FaultyModule, ThatCannotBeLoadedIsAFailingStatus) {
    EXPECT_EQ(statusOf(keychainOfModule("/nonexistent/module.so", testDate)), -2070);
    EXPECT_EQ(statusOf(keychainOfModule("/dev/null", testDate)), -2070);
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
    EXPECT_EQ(statusOf(VELLinuxKeychain({.path = "/bin/sleep",
                                         .arguments = {"infinity"},
                                         .timeOut = std::chrono::milliseconds(200)})),
              100'110);
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
