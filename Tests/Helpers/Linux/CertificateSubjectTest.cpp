// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELCertificateSubject.h"
#include "Platform/X509/VELDERReader.h"
#include "Tests/Helpers/Linux/ToolRun.h"
#include "Tests/Support/CertificateForge.h"
#include "Tests/Support/FileContent.h"

#include <gtest/gtest.h>
#include <new>
#include <sys/stat.h>

namespace {

/// A certificate that openssl made for a subject section of its configuration.
class CertificateSubject : public testing::Test {
protected:
    /// Returns the file's path.
    [[nodiscard]] std::string certificate(const std::string& subject,
                                          const std::string& mask = "utf8only") const {
        const std::string configuration = _folder.write(
            "request.cnf", "[req]\nprompt = no\nutf8 = yes\nstring_mask = " + mask +
                               "\ndistinguished_name = subject\nx509_extensions = none\n[none]\n"
                               "[subject]\n" +
                               subject);
        const std::string file = _folder.path() + "/certificate.der";
        const auto run =
            runProgram({"openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt",
                        "ec_paramgen_curve:P-256", "-nodes", "-keyout", _folder.path() + "/key.pem",
                        "-config", configuration, "-outform", "DER", "-out", file});
        EXPECT_EQ(run.status, 0) << run.diagnostics;
        return file;
    }

    static ToolRun subjectOf(const std::string& file) {
        return runProgram({toolProgram("certificate-subject"), "x509", "-inform", "DER", "-in",
                           "codesign0", "-subject", "-noout"},
                          {}, {"OPENSSL_CONF=/nonexistent", "OPENSSL_MODULES=/nonexistent"}, file);
    }

    /// What openssl prints in the form with slashes, with one more at the end.
    static std::string oracle(const std::string& file) {
        std::string line = runProgram({"openssl", "x509", "-inform", "DER", "-in", file, "-subject",
                                       "-noout", "-nameopt", "compat"})
                               .output;
        return line.insert(line.size() - 1, "/");
    }

    TestFolder _folder;
};

TEST_F(CertificateSubject, IsWhatOpenSSLPrints) {
    for (const auto& [subject, expected] :
         {std::pair("CN = Agent\nOU = TEAM42\nO = Sample\nC = US\n",
                    "subject=/CN=Agent/OU=TEAM42/O=Sample/C=US/\n"),
          std::pair("C = DE\nO = \"Größe & Söhne\"\nCN = 证书\n",
                    "subject=/C=DE/O=Gr\\xC3\\xB6\\xC3\\x9Fe & S\\xC3\\xB6hne/CN="
                    "\\xE8\\xAF\\x81\\xE4\\xB9\\xA6/\n"),
          std::pair("emailAddress = a@sample.test\nserialNumber = 5\n0.DC = sample\n1.DC = test\n"
                    "UID = u\nGN = G\nSN = S\n",
                    "subject=/emailAddress=a@sample.test/serialNumber=5/DC=sample/DC=test/UID=u"
                    "/GN=G/SN=S/\n"),
          std::pair("0.OU = first\n1.OU = second\nCN = x, y; z=\"#<>\n",
                    "subject=/OU=first/OU=second/CN=x, y; z=#<>/\n"),
          std::pair("0.1.3.6.1.4.1.55555.1.2 = own\nCN = a\n",
                    "subject=/1.3.6.1.4.1.55555.1.2=own/CN=a/\n")}) {
        const std::string file = certificate(subject);
        EXPECT_EQ(subjectOf(file), (ToolRun{0, expected, ""}));
        EXPECT_EQ(oracle(file), expected);
    }
}

TEST_F(CertificateSubject, ASlashInAValueIsNoAttribute) {
    std::string file = certificate("CN = x/OU=TEAM42\nO = Sample / Corp\n");
    EXPECT_EQ(subjectOf(file),
              (ToolRun{0, "subject=/CN=x\\2FOU=TEAM42/O=Sample \\2F Corp/\n", ""}));
    EXPECT_EQ(oracle(file), "subject=/CN=x\\/OU=TEAM42/O=Sample \\/ Corp/\n");
    file = certificate("CN = a\\\\2FOU=TEAM42\nO = c+d\n");
    EXPECT_EQ(subjectOf(file), (ToolRun{0, "subject=/CN=a\\5C2FOU=TEAM42/O=c+d/\n", ""}));
    EXPECT_EQ(oracle(file), "subject=/CN=a\\2FOU=TEAM42/O=c\\+d/\n");
}

TEST_F(CertificateSubject, TheAttributesOfOneElementStandForThemselves) {
    const std::string file = certificate("CN = Agent\n+OU = TEAM42\nO = Sample\n");
    const std::string output = subjectOf(file).output;
    const std::string theirs = oracle(file);
    EXPECT_TRUE(output == "subject=/CN=Agent/OU=TEAM42/O=Sample/\n" ||
                output == "subject=/OU=TEAM42/CN=Agent/O=Sample/\n")
        << output;
    EXPECT_NE(theirs.find('+'), std::string::npos) << theirs;
    std::string withSlash = theirs;
    withSlash[withSlash.find('+')] = '/';
    EXPECT_EQ(output, withSlash);
}

TEST_F(CertificateSubject, TheStringTypeDoesNotMatter) {
    const std::string subject = "CN = Größe\nOU = TEAM42\nO = x\n";
    const std::string expected = "subject=/CN=Gr\\xC3\\xB6\\xC3\\x9Fe/OU=TEAM42/O=x/\n";
    for (const char* mask : {"utf8only", "MASK:0x800", "MASK:0x4", "MASK:0x100"}) {
        EXPECT_EQ(subjectOf(certificate(subject, mask)), (ToolRun{0, expected, ""})) << mask;
    }
    EXPECT_EQ(oracle(certificate(subject, "MASK:0x800")).substr(0, 21), "subject=/CN=\\x00G\\x00")
        << "it was a string of two bytes a character";
}

TEST_F(CertificateSubject, WhatIsNoCertificateFails) {
    const auto failing = [](const std::string& problem) {
        return ToolRun{1, "", "certificate-subject: codesign0 " + problem + "\n"};
    };
    const std::string file = certificate("CN = Agent\nOU = TEAM42\nO = Sample\n");
    const std::string der = contentOf(file);
    for (const auto& content :
         {std::string(), std::string("x"), der.substr(0, der.size() - 1), der + "x", der + der}) {
        const std::string path = _folder.write("bad.der", content);
        EXPECT_EQ(subjectOf(path), failing("is no certificate in DER"));
    }
    const std::string large = _folder.write("large.der", std::string((1U << 20U) + 1, 'x'));
    EXPECT_EQ(subjectOf(large), failing("cannot be read"));
    EXPECT_EQ(subjectOf({}), failing("cannot be read")) << "no descriptor 3";
    _folder.write("codesign0", der);
    EXPECT_EQ(runProgram({toolProgram("certificate-subject"), "x509", "-inform", "DER", "-in",
                          "codesign0", "-subject", "-noout"},
                         _folder.path()),
              failing("cannot be read"))
        << "a file in the current directory does not count";
}

/// The certificate with its first ASN.1 value of `from` replaced; its signature is not looked at.
std::string replaced(std::string der, const std::string& from, const std::string& to) {
    for (std::size_t at = 0; (at = der.find(from, at)) != std::string::npos; at += to.size()) {
        der.replace(at, from.size(), to);
    }
    return der;
}

TEST_F(CertificateSubject, BytesThatAreNoTextAreEscaped) {
    const std::string der = contentOf(certificate("CN = AgenT\nO = x\n"));
    using namespace std::string_literals;
    EXPECT_EQ(
        vel::certificateSubject(replaced(der, "\x0c\x05"s + "AgenT", "\x03\x05"s + "\0/e\xff\n"s)),
        "/CN=\\2Fe\\xFF\\x0A/O=x")
        << "bits, not text";
    EXPECT_EQ(
        vel::certificateSubject(replaced(der, "\x0c\x05"s + "AgenT", "\x0c\x05"s + " ~\x7F!\x1F")),
        "/CN= ~\\x7F!\\x1F/O=x");
    EXPECT_EQ(
        vel::certificateSubject(replaced(der, "\x0c\x05"s + "AgenT", "\x13\x05"s + "A/\0\xff\n"s)),
        "/CN=A\\2F\\x00\\xC3\\xBF\\x0A/O=x")
        << "a printable string that is none is read as Latin-1";
    EXPECT_FALSE(
        vel::certificateSubject(replaced(der, "\x0c\x05"s + "AgenT", "\x0c\x05"s + "A\xffgen")))
        << "UTF-8 that is none";
}

TEST(CertificateSubjectType, ThatOpenSSLCannotWriteIsAFailure) {
    namespace der = vel::der;
    const SigningKey key = SigningKey::ellipticCurve();
    const auto subjectWithType = [&key](std::size_t arcs) {
        std::string type = "1.2";
        for (std::size_t count = 0; count < arcs; ++count) {
            type += ".3";
        }
        CertificateDraft draft("", "Issuer", key);
        draft.subject = der::element(
            der::sequence,
            der::element(der::set,
                         der::element(der::sequence, objectIdentifier(type) +
                                                         der::element(der::utf8String, "x"))));
        return vel::certificateSubject(draft.madeBy(key)).value_or("no certificate");
    };
    EXPECT_EQ(subjectWithType(4), "/1.2.3.3.3.3=x");
    EXPECT_THROW(subjectWithType(2'000), std::bad_alloc);
}

TEST_F(CertificateSubject, MayBeEmpty) {
    const std::string key = _folder.path() + "/key.pem";
    const std::string file = _folder.path() + "/empty.der";
    ASSERT_EQ(runProgram({"openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt",
                          "ec_paramgen_curve:P-256", "-nodes", "-keyout", key, "-subj", "/",
                          "-outform", "DER", "-out", file})
                  .status,
              0);
    EXPECT_EQ(subjectOf(file), (ToolRun{0, "subject=/\n", ""}));
    EXPECT_EQ(oracle(file), "subject=/\n");
}

TEST_F(CertificateSubject, IsReadWithoutOpenSSLsConfiguration) {
    const std::string file = certificate("CN = Agent\n");
    const std::string configuration = _folder.path() + "/openssl.cnf";
    ASSERT_EQ(::mkfifo(configuration.c_str(), 0600), 0) << "whoever opens it waits for ever";
    EXPECT_EQ(runProgram({"timeout", "60", toolProgram("certificate-subject"), "x509", "-inform",
                          "DER", "-in", "codesign0", "-subject", "-noout"},
                         {}, {"OPENSSL_CONF=" + configuration}, file),
              (ToolRun{0, "subject=/CN=Agent/\n", ""}));
}

} // namespace
