// SPDX-License-Identifier: Apache-2.0
#include "Platform/POSIX/VELDescriptor.h"
#include "Platform/X509/VELX509Certificates.h"
#include "Tests/Support/CertificateWorkshop.h"
#include "Tests/Support/Oracle.h"
#include "Tests/Support/RegisteredModules.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

// The databases in which browsers keep certificates: a PKCS#11 module (packages libnss3 and, for
// the commands that fill one, libnss3-tools) that is told of its folder in its module file.

namespace {

std::string run(const std::string& command) {
    const OracleAnswer answer = askOracle("{ " + command + "; } 2>&1");
    if (answer.status != 0) {
        throw std::runtime_error(command + "\n" + answer.output);
    }
    return answer.output;
}

/// Where Debian has the module: a folder that is named after the machine's architecture.
std::string softToken() {
    return askOracle("ls /usr/lib/*/libsoftokn3.so /usr/lib/*/nss/libsoftokn3.so 2>/dev/null"
                     " | head -n 1 | tr -d '\\n'")
        .output;
}

bool hasTools() {
    return askOracle("command -v certutil pk12util >/dev/null").status == 0;
}

class NSSDatabase : public testing::Test {
protected:
    void SetUp() override {
        if (softToken().empty() || !hasTools()) {
            GTEST_SKIP() << "this test needs the packages libnss3 and libnss3-tools";
        }
        std::filesystem::create_directory(database());
        modules.registerModule(
            "nss", "module: " + softToken() + "\nx-init-reserved: configdir='sql:" + database() +
                       "' certPrefix='' keyPrefix='' secmod='' flags=readOnly\n");
    }

    [[nodiscard]] std::string database() const { return modules.folder().path() + "/nssdb"; }
    [[nodiscard]] std::string passwordFile() const {
        return modules.folder().write("password", password + "\n");
    }

    /// With a password where the test has set one.
    void makeDatabase() const { run("certutil -N -d sql:" + database() + " -f " + passwordFile()); }
    void addCertificate(const std::string& name) const {
        run("certutil -A -d sql:" + database() + " -f " + passwordFile() + " -t ,, -n " + name +
            " -i " + workshop.certificateFile(name));
    }
    void addIdentity(const std::string& name) const {
        const std::string file = modules.folder().path() + "/" + name + ".p12";
        run("openssl pkcs12 -export -passout pass:some -name " + name + " -in " +
            workshop.certificateFile(name) + " -inkey " + workshop.keyFile(name) + " -out " + file);
        run("pk12util -i " + file + " -W some -d sql:" + database() + " -k " + passwordFile());
    }
    void makeRootMiddleAndLeaf() {
        root = workshop.makeAuthority("Root");
        workshop.makeAuthority("Middle", "Root");
        workshop.makeLeaf("Leaf", "Middle");
        makeDatabase();
        addCertificate("Middle");
        addIdentity("Leaf");
    }

    /// How many certificates there are, which identities the root finds and whether it trusts them.
    [[nodiscard]] std::string answer() const {
        giveToEverybody(database());
        return modules.answer([this](const VELLinuxKeychain& keychain) {
            const auto all = keychain.certificates(10);
            const VELX509Certificates certificates;
            std::string text = std::to_string(vel::integerOfStatus(all.status)) + " " +
                               std::to_string(all.certificates.size());
            const auto anchor = certificates.parseCertificate(root);
            const auto found = keychain.identities(anchor->normalizedSubject().value());
            text += ", " + std::to_string(vel::integerOfStatus(found.status));
            for (const auto& identity : found.identities) {
                const auto certificate = identity->copyCertificate().certificate;
                const auto created = certificates.createTrust(certificate);
                std::optional<VELError> error;
                const bool isTrusted =
                    created.trust->setOnlyAnchor(anchor) == VELSecurityStatus::success &&
                    created.trust->evaluate(&error);
                text += " " + certificate->subjectSummary().value();
                text += isTrusted ? " trusted" : " untrusted";
            }
            return text;
        });
    }

    RegisteredModules modules;
    CertificateWorkshop workshop;
    std::string root;
    std::string password;
};

TEST_F(NSSDatabase, HasCertificatesAndIdentities) {
    makeRootMiddleAndLeaf();
    EXPECT_EQ(answer(), "0 2, 0 Leaf trusted");
}

TEST_F(NSSDatabase, WithAPasswordIsReadWithoutIt) {
    password = "not told to anybody";
    makeRootMiddleAndLeaf();
    EXPECT_NE(askOracle("certutil -K -d sql:" + database() + " </dev/null 2>&1").status, 0)
        << "the key is behind the password";
    EXPECT_EQ(answer(), "0 2, 0 Leaf trusted");
}

TEST_F(NSSDatabase, IsLeftAsItIs) {
    makeRootMiddleAndLeaf();
    giveToEverybody(database());
    const std::string state = "cd " + database() + " && stat -c '%n %s %y' . * && sha256sum *";
    const std::string before = run(state);
    EXPECT_EQ(answer(), "0 2, 0 Leaf trusted");
    EXPECT_EQ(run(state), before);
}

TEST_F(NSSDatabase, WithoutACertificateIsNotFound) {
    root = workshop.makeAuthority("Root");
    makeDatabase();
    EXPECT_EQ(answer(), "-25300 0, -25300");
}

TEST_F(NSSDatabase, ThatIsMissingOrDamagedIsAFailingStatus) {
    root = workshop.makeAuthority("Root");
    EXPECT_EQ(answer(), "-2070 0, -2070") << "the folder is empty";
    makeDatabase();
    addCertificate("Root");
    EXPECT_EQ(answer(), "0 1, -25300");
    modules.folder().write("nssdb/cert9.db", "no database");
    EXPECT_EQ(answer(), "-2070 0, -2070");
}

TEST_F(NSSDatabase, ThatIsLockedIsAFailingStatusInBoundedTime) {
    makeRootMiddleAndLeaf();
    giveToEverybody(database());
    // The byte that a writer of the database locks for itself, and those that readers share.
    const VELDescriptor file(::open((database() + "/cert9.db").c_str(), O_RDWR | O_CLOEXEC));
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_start = 0x40000000;
    lock.l_len = 512;
    ASSERT_EQ(::fcntl(file.get(), F_SETLK, &lock), 0);
    EXPECT_EQ(answer(), "-2070 0, -2070");
}

TEST_F(NSSDatabase, IsOneModuleOfSeveral) {
    makeRootMiddleAndLeaf();
    modules.registerModule("broken", "module: " + modules.faultyModule() + "\n");
    EXPECT_EQ(answer(), "-2070 0, -2070") << "what is known in part is not known";
    modules.registerModule("broken", "module: " + modules.faultyModule() + "\ntrust-policy: yes\n");
    EXPECT_EQ(answer(), "0 2, 0 Leaf trusted");
}

} // namespace
