// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELDetachedSignature.h"
#include "Platform/POSIX/VELDescriptor.h"
#include "Tests/Helpers/Linux/ToolRun.h"
#include "Tests/Support/FileContent.h"

#include <array>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

/// A signer with a key of RSA, which makes signatures over every digest.
class DetachedSignature : public testing::Test {
protected:
    void SetUp() override {
        run("printf content >content\n"
            "openssl req -x509 -newkey rsa:2048 -nodes -days 30 -subj /CN=Signer -keyout key"
            " -out signer.pem\n"
            "openssl x509 -in signer.pem -outform DER -out signer.der");
    }

    void run(const std::string& lines) const {
        const auto run = runProgram({"sh", "-e", "-c", lines}, _folder.path());
        ASSERT_EQ(run.status, 0) << run.diagnostics;
    }
    void sign(const std::string& file, const std::string& options = {}) const {
        run("openssl cms -sign -binary -outform DER -signer signer.pem -inkey key -out signature "
            "-in " +
            file + " " + options);
    }
    [[nodiscard]] VELDescriptor opened(const std::string& name) const {
        return VELDescriptor(::open((_folder.path() + "/" + name).c_str(), O_RDONLY | O_CLOEXEC));
    }
    [[nodiscard]] std::string signer() const { return contentOf(_folder.path() + "/signer.der"); }

    /// Why the signature of `content` is refused; "accepted" with the certificate of the signer.
    [[nodiscard]] std::string answer(int content,
                                     const std::vector<std::string>* anchors = nullptr) const {
        const auto result = vel::verifyDetachedSignature(contentOf(_folder.path() + "/signature"),
                                                         content, anchors);
        const auto* refusal = std::get_if<vel::SignatureRefusal>(&result);
        return refusal != nullptr                                     ? refusal->reason
               : std::get<vel::SignerCertificate>(result) == signer() ? "accepted"
                                                                      : "another certificate";
    }

private:
    TestFolder _folder;
};

TEST_F(DetachedSignature, ADigestHasAtLeast256Bits) {
    for (const char* digest : {"sha256", "sha384", "sha512", "sha3-256", "sha3-384", "sha3-512"}) {
        sign("content", std::string("-md ") + digest);
        EXPECT_EQ(answer(opened("content").get()), "accepted") << digest;
    }
    for (const char* digest : {"md5", "sha1", "ripemd160", "sha224", "sha3-224"}) {
        sign("content", std::string("-md ") + digest);
        EXPECT_EQ(answer(opened("content").get()), "the signature's digest is too weak") << digest;
    }
}

TEST_F(DetachedSignature, CoversTheContentFromItsBeginning) {
    sign("content");
    const VELDescriptor content = opened("content");
    ASSERT_EQ(::lseek(content.get(), 0, SEEK_END), 7);
    EXPECT_EQ(answer(content.get()), "accepted");
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe(ends.data()), 0);
    const VELDescriptor readEnd(ends[0]);
    const VELDescriptor writeEnd(ends[1]);
    EXPECT_EQ(answer(readEnd.get()), "the content cannot be read");
}

TEST_F(DetachedSignature, ContentThatCannotBeReadIsNotEmpty) {
    run(": >empty");
    sign("empty");
    EXPECT_EQ(answer(opened("empty").get()), "accepted");
    EXPECT_EQ(answer(opened(".").get()), "the signature does not fit the content")
        << "a folder: it can be opened, but not read";
}

TEST_F(DetachedSignature, CarriesAtMost16Certificates) {
    run("for i in 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16; do\n"
        "    openssl req -x509 -new -key key -days 30 -subj /CN=$i -out $i.pem; done\n"
        "for i in 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15; do cat $i.pem; done >fifteen\n"
        "cat fifteen 16.pem >sixteen");
    sign("content", "-certfile fifteen");
    EXPECT_EQ(answer(opened("content").get()), "accepted") << "with that of the signer, 16";
    sign("content", "-certfile sixteen");
    EXPECT_EQ(answer(opened("content").get()), "the signature carries too many certificates");
}

TEST_F(DetachedSignature, EveryAnchorIsACertificate) {
    sign("content");
    const VELDescriptor content = opened("content");
    const auto trusting = [&](const std::vector<std::string>& anchors) {
        return answer(content.get(), &anchors);
    };
    EXPECT_EQ(trusting({signer()}), "accepted");
    EXPECT_EQ(trusting({signer(), signer()}), "accepted") << "twice";
    EXPECT_EQ(trusting({}), "the signer is not trusted: self-signed certificate");
    for (const std::string& other : {std::string(), std::string("x"), signer() + "x"}) {
        EXPECT_EQ(trusting({signer(), other}),
                  "the signer is not trusted: an anchor is no certificate");
    }
}

} // namespace
