// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELSignedProcess.h"
#include "Tests/Helpers/Linux/ToolRun.h"
#include "Tests/Support/FileContent.h"

#include <filesystem>
#include <fstream>
#include <future>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

/// A made folder like /proc with one process, and signers of its own.
class SignedProcess : public testing::Test {
protected:
    void SetUp() override { _umask = ::umask(022); }
    void TearDown() override { ::umask(_umask); }

    /// Makes NAME.pem and NAME.key, a certificate that signed itself.
    void makeSigner(const std::string& name, const std::string& key) const {
        const auto run = runProgram(
            {"sh", "-c",
             "openssl req -x509 -newkey " + key + " -nodes -days 30 -subj /CN=Agent/OU=TEAM42" +
                 " -keyout " + path(name + ".key") + " -out " + path(name + ".pem")});
        ASSERT_EQ(run.status, 0) << run.diagnostics;
    }

    void sign(const std::string& file, const std::string& signer) const {
        const auto run = runProgram({"openssl", "cms", "-sign", "-binary", "-in", file, "-signer",
                                     path(signer + ".pem"), "-inkey", path(signer + ".key"),
                                     "-outform", "DER", "-out", path("agent.p7s")});
        ASSERT_EQ(run.status, 0) << run.diagnostics;
    }

    [[nodiscard]] std::string path(const std::string& name) const {
        return _folder.path() + "/" + name;
    }

    /// The refusal of process 12; empty when it is signed.
    [[nodiscard]] std::string refusal() const {
        const auto result = vel::signerOfProcess("12", {.processFolder = path("proc"),
                                                        .anchorFolder = path("signers"),
                                                        .anchorOwner = ::geteuid()});
        const auto* refused = std::get_if<vel::SignatureRefusal>(&result);
        return refused != nullptr ? refused->reason : "";
    }

    /// Whether this process has begun to read the file.
    [[nodiscard]] static bool isRead(const std::string& file) {
        for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
            std::error_code closed;
            if (fs::read_symlink(entry.path(), closed) == file) {
                std::ifstream information("/proc/self/fdinfo/" + entry.path().filename().string());
                std::string name;
                unsigned long long position = 0;
                information >> name >> position;
                return position > 0;
            }
        }
        return false;
    }

    TestFolder _folder;
    mode_t _umask = 0;
};

TEST_F(SignedProcess, ThatRunsAnotherExecutableMeanwhileIsRefused) {
    const std::string agent = _folder.write("agent", "x");
    fs::resize_file(agent, std::uintmax_t{256} << 20U); // takes its time to be read
    const std::string other = _folder.write("other", "x");
    makeSigner("signer", "ec -pkeyopt ec_paramgen_curve:P-256");
    sign(other, "signer");
    _folder.write("signers/any", "");
    // Once more while the process runs the other executable too late to be noticed.
    std::string reason = "the signature does not fit the content";
    for (int attempt = 0; attempt < 50 && reason.ends_with("does not fit the content"); ++attempt) {
        fs::remove_all(path("proc"));
        _folder.link("proc/12/exe", agent);
        _folder.link("proc/12/next", other);
        auto asked = std::async(std::launch::async, [this] { return refusal(); });
        while (!isRead(agent) &&
               asked.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
        }
        fs::rename(path("proc/12/next"), path("proc/12/exe"));
        reason = asked.get();
    }
    EXPECT_EQ(reason, "it has ended or runs another executable");
}

TEST_F(SignedProcess, OfASignerWithAWeakKeyIsRefused) {
    const std::string agent = _folder.write("agent", "content");
    _folder.link("proc/12/exe", agent);
    for (const auto& [name, key] :
         {std::pair("strong", "rsa:2048"), std::pair("weak", "rsa:1024")}) {
        makeSigner(name, key);
        sign(agent, name);
        fs::remove_all(path("signers"));
        _folder.write("signers/one.pem", contentOf(path(std::string(name) + ".pem")));
        EXPECT_EQ(refusal(), name == std::string("strong")
                                 ? ""
                                 : "the signer is not trusted: EE certificate key too weak");
    }
}

/// Over the running program stands another file system, with the same content at the same path and
/// with the same number.
TEST_F(SignedProcess, AFileOfAnotherFileSystemIsNotTheOneThatRuns) {
    makeSigner("signer", "ec -pkeyopt ec_paramgen_curve:P-256");
    sign("/bin/sleep", "signer");
    _folder.write("signers/any", "");
    fs::create_directory(path("place"));
    const std::string script =
        "set -e\n"
        "mount -t tmpfs one place\n"
        "cp /bin/sleep place/agent\n"
        "place/agent 1000 & running=$!\n"
        "trap 'kill $running' EXIT\n"
        "until [ \"$(readlink /proc/$running/exe)\" = \"$PWD/place/agent\" ]; do :; done\n"
        "number=$(stat -c %i place/agent)\n"
        "mount -t tmpfs two place\n"
        "cp /bin/sleep place/agent\n"
        "cp agent.p7s place/agent.p7s\n"
        "[ $(stat -c %i place/agent) = $number ] || exit 77\n" +
        toolProgram("code-signature") + " --display --extract-certificates $running --signers " +
        path("signers") + " 3<>leaf\n";
    const auto run = runProgram({"unshare", "-m", "bash", "-c", script}, _folder.path());
    if (run.status == 77 || ::geteuid() != 0) {
        GTEST_SKIP() << "needs root, and file systems that number their files alike";
    }
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.diagnostics.find(": its executable was removed or replaced\n"), std::string::npos)
        << run.diagnostics;
}

} // namespace
