// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELDetachedSignature.h"
#include "Helpers/Linux/VELSignedProcess.h"
#include "Platform/POSIX/VELDescriptor.h"
#include "Tests/Helpers/Linux/ToolRun.h"
#include "Tests/Support/FileContent.h"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <future>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

namespace fs = std::filesystem;

const std::string authority = "basicConstraints=critical,CA:TRUE\n";
const std::string noAuthority = "basicConstraints=critical,CA:FALSE\n";

/// A publisher with a root, an intermediate and a signing certificate, all made by openssl, once.
class Publisher {
public:
    static const Publisher& shared() {
        static const Publisher publisher;
        return publisher;
    }

    [[nodiscard]] std::string file(const std::string& name) const {
        return _folder.path() + "/" + name;
    }
    [[nodiscard]] std::string der(const std::string& name) const {
        return runOrDie({"openssl", "x509", "-in", file(name + ".pem"), "-outform", "DER"}).output;
    }

    /// A certificate with lines of an OpenSSL section as its extensions.
    void make(const std::string& name, const std::string& subject, const std::string& issuer,
              const std::string& extensions, const std::string& days = "-days 30") const {
        const std::string file = _folder.write("extensions", extensions);
        const std::string sign = issuer.empty()
                                     ? "-signkey " + this->file(name + ".key")
                                     : "-CAcreateserial -CA " + this->file(issuer + ".pem") +
                                           " -CAkey " + this->file(issuer + ".key");
        runOrDie({"sh", "-e", "-c",
                  "openssl req -new -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout " +
                      this->file(name + ".key") + " -subj '" + subject + "' -out " +
                      this->file("request") + "\nopenssl x509 -req -in " + this->file("request") +
                      " " + sign + " " + days + " -extfile " + file + " -out " +
                      this->file(name + ".pem")});
    }

    /// Replaces bytes of a certificate, if it has them. Its issuer's signature then fails.
    void replace(const std::string& name, const std::string& from, const std::string& to) const {
        std::string changed = der(name);
        if (const std::size_t place = changed.find(from); place != std::string::npos) {
            changed.replace(place, from.size(), to);
            runOrDie({"openssl", "x509", "-inform", "DER", "-in", _folder.write("der", changed),
                      "-out", file(name + ".pem")});
        }
    }

    /// Signs `path` into `path`.p7s as the leaf, or as `signer`.
    void sign(const std::string& path, const std::vector<std::string>& more = {},
              const std::string& signer = "leaf") const {
        std::vector<std::string> command = {"openssl",   "cms",
                                            "-sign",     "-binary",
                                            "-in",       path,
                                            "-signer",   file(signer + ".pem"),
                                            "-inkey",    file(signer + ".key"),
                                            "-certfile", file("others.pem"),
                                            "-outform",  "DER",
                                            "-out",      path + ".p7s"};
        command.insert(command.end(), more.begin(), more.end());
        runOrDie(command);
    }

private:
    Publisher() {
        make("root", "/CN=Root/O=Sample", "", authority);
        make("intermediate", "/CN=Intermediate/O=Sample", "root", authority);
        make("leaf", "/CN=Agent/OU=TEAM42/O=Sample/C=US", "intermediate", noAuthority);
        make("other", "/CN=Other/OU=TEAM42/O=Other", "", noAuthority);
        make("expired", "/CN=Old/OU=TEAM42/O=Sample", "intermediate", noAuthority, "-days -1");
        _folder.write("anybody/any", "");
        // The root first: the order in the signature does not decide which is the leaf.
        _folder.write("others.pem",
                      contentOf(file("root.pem")) + contentOf(file("intermediate.pem")));
    }

    static ToolRun runOrDie(const std::vector<std::string>& command) {
        auto run = runProgram(command);
        EXPECT_EQ(run.status, 0) << run.diagnostics;
        return run;
    }

    TestFolder _folder;
};

class CodeSignature : public testing::Test {
protected:
    void SetUp() override {
        _umask = ::umask(022); // so that what is written is its owner's alone
        _program = _folder.path() + "/agent";
        fs::copy_file("/bin/sleep", _program);
    }

    static std::vector<std::string> byAnybody() {
        return {"--signers", Publisher::shared().file("anybody")};
    }

    /// What the helper has open as descriptor 3.
    [[nodiscard]] std::string leafFile() const { return _folder.path() + "/leaf"; }
    [[nodiscard]] std::string leaf() const { return contentOf(leafFile()); }

    [[nodiscard]] ToolRun extract(const std::string& processID,
                                  const std::vector<std::string>& options = byAnybody()) const {
        std::vector<std::string> command = {toolProgram("code-signature"), "--display",
                                            "--extract-certificates", processID};
        command.insert(command.end(), options.begin(), options.end());
        return runProgram(command, {}, {"OPENSSL_CONF=/nonexistent", "SSL_CERT_DIR=/nonexistent"},
                          leafFile());
    }
    [[nodiscard]] ToolRun extract(const RunningProgram& running,
                                  const std::vector<std::string>& options = byAnybody()) const {
        return extract(std::to_string(running.processID()), options);
    }

    /// What the helper says of a process that it refuses, having left no certificate.
    [[nodiscard]] ToolRun refusal(const RunningProgram& running, const std::string& reason) const {
        EXPECT_EQ(leaf(), "");
        return {1, "",
                "code-signature: process " + std::to_string(running.processID()) + ": " + reason +
                    "\n"};
    }

    void TearDown() override { ::umask(_umask); }

    TestFolder _folder;
    std::string _program;
    mode_t _umask = 0;
};

const ToolRun success = {0, "", ""};
const std::string misfit = "the signature does not fit the content";

TEST_F(CodeSignature, OfARunningProgramGivesItsLeaf) {
    const auto& publisher = Publisher::shared();
    publisher.sign(_program);
    const RunningProgram running({_program, "100"});
    EXPECT_EQ(extract(running), success);
    EXPECT_EQ(leaf(), publisher.der("leaf"));
    EXPECT_EQ(runProgram({toolProgram("certificate-subject"), "x509", "-inform", "DER", "-in",
                          "codesign0", "-subject", "-noout"},
                         {}, {}, leafFile()),
              (ToolRun{0, "subject=/CN=Agent/OU=TEAM42/O=Sample/C=US/\n", ""}));
    EXPECT_EQ(extract(running), success) << "once more, over the certificate of the first run";
    EXPECT_EQ(leaf(), publisher.der("leaf"));
}

TEST_F(CodeSignature, OfAChangedCopyIsRefused) {
    Publisher::shared().sign(_program);
    const std::string copy = _folder.path() + "/copy";
    std::string content = contentOf(_program);
    content.back() = static_cast<char>(content.back() ^ 1);
    _folder.write("copy", content);
    fs::permissions(copy, fs::perms::owner_all);
    fs::copy_file(_program + ".p7s", copy + ".p7s");
    const RunningProgram running({copy, "100"});
    const auto run = extract(running);
    EXPECT_EQ(run, refusal(running, misfit));
}

TEST_F(CodeSignature, ForgetsTheCertificateOfAnEarlierRunFirst) {
    _folder.write("leaf", "stale");
    EXPECT_EQ(extract("0"),
              (ToolRun{1, "", "code-signature: process 0: there is no such process\n"}));
    EXPECT_EQ(leaf(), "");
}

TEST_F(CodeSignature, FailsWithoutAFileToWriteTo) {
    Publisher::shared().sign(_program);
    const RunningProgram running({_program, "100"});
    for (const char* third : {"", "/dev/null"}) {
        EXPECT_EQ(runProgram({toolProgram("code-signature"), "--display", "--extract-certificates",
                              std::to_string(running.processID()), "--signers",
                              Publisher::shared().file("anybody")},
                             {}, {}, third),
                  (ToolRun{1, "",
                           "code-signature: descriptor 3 is not a file that can be written to\n"}));
    }
}

TEST_F(CodeSignature, LeavesNothingWhenItCannotWriteAll) {
    const auto& publisher = Publisher::shared();
    publisher.make("large", "/CN=Large/OU=TEAM42", "intermediate",
                   noAuthority + "1.2.3.4=ASN1:UTF8String:" + std::string(100'000, 'x'));
    publisher.sign(_program, {}, "large");
    const RunningProgram running({_program, "100"});
    EXPECT_EQ(extract(running), success);
    EXPECT_EQ(leaf(), publisher.der("large"));
    EXPECT_EQ(
        runProgram({"prlimit", "--fsize=65536:unlimited", "sh", "-c", "trap '' XFSZ; exec \"$@\"",
                    "sh", toolProgram("code-signature"), "--display", "--extract-certificates",
                    std::to_string(running.processID()), "--signers",
                    Publisher::shared().file("anybody")},
                   {}, {}, leafFile()),
        (ToolRun{1, "", "code-signature: the certificate cannot be written\n"}));
    EXPECT_EQ(leaf(), "");
}

TEST_F(CodeSignature, IsVerifiedWithoutOpenSSLsConfiguration) {
    Publisher::shared().sign(_program);
    const RunningProgram running({_program, "100"});
    const std::string configuration = _folder.path() + "/openssl.cnf";
    ASSERT_EQ(::mkfifo(configuration.c_str(), 0600), 0) << "whoever opens it waits for ever";
    EXPECT_EQ(runProgram({"timeout", "60", toolProgram("code-signature"), "--display",
                          "--extract-certificates", std::to_string(running.processID()),
                          "--signers", Publisher::shared().file("anybody")},
                         {}, {"OPENSSL_CONF=" + configuration}, leafFile()),
              success);
    EXPECT_EQ(leaf(), Publisher::shared().der("leaf"));
}

TEST_F(CodeSignature, RefusesWhatIsNoProcessID) {
    for (const char* text : {"-5", "1x", " 1", "self", "../1", "12345678901"}) {
        EXPECT_EQ(
            extract(text),
            (ToolRun{2, "", std::string("code-signature: \"") + text + "\" is no process ID\n"}));
    }
}

TEST_F(CodeSignature, AnUnsignedProgramIsRefused) {
    const RunningProgram running({_program, "100"});
    const auto run = extract(running);
    EXPECT_EQ(run, refusal(running, "there is no signature " + _program + ".p7s"));
}

TEST_F(CodeSignature, ThePathOfAnExecutableSteersNoTerminal) {
    const std::string path = _folder.write("\x1b[2J\xff\n", "");
    fs::copy_file("/bin/sleep", path, fs::copy_options::overwrite_existing);
    fs::permissions(path, fs::perms::owner_all);
    const RunningProgram running({path, "60"});
    EXPECT_EQ(extract(running), refusal(running, "there is no signature " + _folder.path() +
                                                     "/\\x1B[2J\\xFF\\x0A.p7s"));
}

TEST_F(CodeSignature, AReplacedOrRemovedExecutableIsRefused) {
    Publisher::shared().sign(_program);
    const RunningProgram running({_program, "100"});
    fs::rename(_program, _program + ".old");
    fs::copy_file(_program + ".old", _program);
    EXPECT_EQ(extract(running), refusal(running, "there is no signature " + _program + ".old.p7s"));
    fs::rename(_program + ".old", _program); // the running one again
    EXPECT_EQ(extract(running), success);
    fs::copy_file(_program, _program + ".copy");
    fs::rename(_program + ".copy", _program);
    auto run = extract(running);
    EXPECT_EQ(run, refusal(running, "its executable was removed or replaced"));
    fs::remove(_program);
    run = extract(running);
    EXPECT_EQ(run, refusal(running, "its executable was removed or replaced"));
}

TEST_F(CodeSignature, AnotherInodeAtThePathIsRefused) {
    Publisher::shared().sign(_program);
    const RunningProgram running({_program, "100"});
    // "agent (deleted)" is what the kernel calls the image once its file is gone.
    fs::copy_file(_program, _program + " (deleted)");
    fs::copy_file(_program + ".p7s", _program + " (deleted).p7s");
    fs::remove(_program);
    const auto run = extract(running);
    EXPECT_EQ(run, refusal(running, "its executable was removed or replaced"));
}

TEST_F(CodeSignature, AMadeProcessFolder) {
    Publisher::shared().sign(_program);
    _folder.link("proc/12/exe", _program);
    _folder.link("proc/13/exe", "/nonexistent");
    fs::create_directories(_folder.path() + "/proc/14");
    _folder.link("proc/15/exe", "../../agent"); // as of a process that has another root
    const std::vector<std::string> options = {"--proc", _folder.path() + "/proc", "--signers",
                                              Publisher::shared().file("anybody")};
    EXPECT_EQ(extract("12", options), success);
    for (const char* processID : {"13", "14", "15"}) {
        EXPECT_EQ(extract(processID, options),
                  (ToolRun{1, "",
                           std::string("code-signature: process ") + processID +
                               ": its executable cannot be read\n"}));
    }
}

TEST_F(CodeSignature, OnlyADetachedSignatureOfOneStrongSignerIsAccepted) {
    const auto& publisher = Publisher::shared();
    const RunningProgram running({_program, "100"});
    const auto check = [&](const std::string& reason) {
        const auto run = extract(running);
        EXPECT_EQ(run, refusal(running, reason));
    };
    const std::string none = "the signature is no detached CMS signature in DER";
    publisher.sign(_program, {"-nodetach"});
    check(none);
    publisher.sign(_program, {"-econtent_type", "1.2.3.4"});
    check(none);
    publisher.sign(_program);
    const std::string onlyData("\x30\x0F\x06\x09\x2A\x86\x48\x86\xF7\x0D\x01\x07\x01\xA0\x02\x04",
                               17);
    const std::string good = contentOf(_program + ".p7s");
    for (const auto& bad : {std::string(), good.substr(0, good.size() - 1), good + "x",
                            publisher.der("leaf"), onlyData}) {
        std::ofstream(_program + ".p7s", std::ios::binary) << bad;
        check(none);
    }
    publisher.sign(_program, {"-md", "sha1"});
    check("the signature's digest is too weak");
    publisher.sign(_program, {"-md", "sha512"});
    EXPECT_EQ(extract(running), success);
    publisher.sign(_program, {"-noattr"});
    EXPECT_EQ(extract(running), success);
    publisher.sign(_program,
                   {"-signer", publisher.file("other.pem"), "-inkey", publisher.file("other.key")});
    check("the signature has not exactly one signer");
    publisher.sign(_program, {"-nocerts"});
    const auto run = extract(running);
    EXPECT_EQ(run, refusal(running, misfit)) << "its signer's certificate is missing";
}

TEST_F(CodeSignature, ASignatureOfAnotherFileIsRefused) {
    Publisher::shared().sign("/bin/sh", {"-out", _program + ".p7s"});
    const RunningProgram running({_program, "100"});
    const auto run = extract(running);
    EXPECT_EQ(run, refusal(running, misfit));
}

TEST_F(CodeSignature, AnchorsMustVouchForTheSigner) {
    const auto& publisher = Publisher::shared();
    const RunningProgram running({_program, "100"});
    const std::string anchors = _folder.path() + "/signers";
    const std::vector<std::string> options = {"--signers", anchors};
    const auto check = [&](const std::string& reason) {
        const auto run = extract(running, options);
        EXPECT_EQ(run, refusal(running, reason));
    };
    const auto anchor = [&](const std::string& name) {
        fs::remove_all(anchors);
        _folder.write("signers/one.pem", contentOf(publisher.file(name + ".pem")));
    };
    publisher.sign(_program);
    fs::create_directory(anchors);
    const std::string unknownIssuer =
        "the signer is not trusted: unable to get local issuer certificate";
    check("the signer is not trusted: self-signed certificate in certificate chain");
    for (const char* name : {"root", "intermediate", "leaf"}) {
        anchor(name);
        EXPECT_EQ(extract(running, options), success) << name;
    }
    anchor("other");
    check("the signer is not trusted: self-signed certificate in certificate chain");
    _folder.write("signers/two.der", publisher.der("root"));
    _folder.write("signers/.hidden", "no certificate");
    EXPECT_EQ(extract(running, options), success) << "any of several";
    _folder.write("signers/readme", "no certificate");
    check("the anchors in " + anchors + " cannot be read");
    anchor("root");
    publisher.sign(_program, {}, "other");
    check("the signer is not trusted: self-signed certificate");
    publisher.sign(_program, {}, "expired");
    check("the signer is not trusted: certificate has expired");
}

TEST_F(CodeSignature, TheSignersCertificateHasAFormThatIsAccepted) {
    const auto& publisher = Publisher::shared();
    const RunningProgram running({_program, "100"});
    const std::pair<const char*, const char*> forms[] = {
        {"1.3.6.1.5.5.7.1.1=critical,DER:0403626164", "is malformed"},
        {"1.3.6.1.5.5.7.1.1=DER:0403626164", "has an extension that cannot be read"},
        // The certificate type of Netscape's, which OpenSSL alone looks at.
        {"2.16.840.1.113730.1.1=DER:626164", "has an extension that cannot be read"},
        {"1.2.3.4=DER:0500\n1.2.3.5=DER:0500", "has an extension twice"},
        {"1.2.3.4=critical,DER:0500", "has a critical extension that is not known"},
    };
    _folder.write("signers/root.pem", contentOf(publisher.file("root.pem")));
    for (const auto& [extension, problem] : forms) {
        publisher.make("odd", "/CN=Odd/OU=TEAM42", "intermediate", noAuthority + extension);
        publisher.replace("odd", "\x2A\x03\x05", "\x2A\x03\x04"); // 1.2.3.5 becomes 1.2.3.4
        publisher.sign(_program, {}, "odd");
        for (const auto& options :
             {byAnybody(), std::vector<std::string>{"--signers", _folder.path() + "/signers"}}) {
            const auto run = extract(running, options);
            EXPECT_EQ(run, refusal(running, std::string("the signer's certificate ") + problem));
        }
    }
    for (const std::string sound :
         {"1.2.3.4=DER:0500", "1.2.840.113635.100.6.1.13=critical,DER:0500"}) {
        publisher.make("odd", "/CN=Odd/OU=TEAM42", "intermediate", noAuthority + sound);
        publisher.sign(_program, {}, "odd");
        EXPECT_EQ(extract(running), success) << sound;
    }
}

TEST_F(CodeSignature, SoDoTheCertificatesAboveItThatLeadToAnAnchor) {
    const auto& publisher = Publisher::shared();
    const RunningProgram running({_program, "100"});
    const std::string unreadable = "1.3.6.1.5.5.7.1.1=DER:0403626164\n";
    publisher.make("odd-root", "/CN=Odd root", "", authority + unreadable);
    publisher.make("below-odd-root", "/CN=Below/OU=TEAM42", "odd-root", noAuthority);
    publisher.make("odd-authority", "/CN=Odd authority", "root", authority + unreadable);
    publisher.make("below-odd-authority", "/CN=Below/OU=TEAM42", "odd-authority", noAuthority);
    const std::vector<std::string> options = {"--signers", _folder.path() + "/signers"};
    for (const auto& [signer, authorityName, anchor] :
         {std::array{"below-odd-root", "odd-root", "odd-root"},
          std::array{"below-odd-authority", "odd-authority", "root"}}) {
        fs::remove_all(_folder.path() + "/signers");
        _folder.write("signers/one.pem", contentOf(publisher.file(std::string(anchor) + ".pem")));
        publisher.sign(_program, {"-certfile", publisher.file(std::string(authorityName) + ".pem")},
                       signer);
        const auto run = extract(running, options);
        EXPECT_EQ(run, refusal(running, "the signer is not trusted: a certificate above it has an "
                                        "extension that cannot be read"))
            << signer;
        EXPECT_EQ(extract(running), success) << "where anybody may sign: " << signer;
    }
}

TEST_F(CodeSignature, AnchorsThatCannotBeReachedVouchForNobody) {
    const RunningProgram running({_program, "100"});
    Publisher::shared().sign(_program);
    const std::string anchors = _folder.path() + "/signers";
    fs::create_symlink("/nonexistent/signers", anchors);
    EXPECT_EQ(extract(running, {"--signers", anchors}),
              refusal(running, "the anchors in " + anchors + " cannot be read"));
    fs::remove(anchors);
    _folder.write("signers", "no folder");
    EXPECT_EQ(extract(running, {"--signers", anchors}),
              refusal(running, "the anchors in " + anchors + " cannot be read"));
}

TEST_F(CodeSignature, WithoutAnchorsNobodyIsTrusted) {
    const RunningProgram running({_program, "100"});
    Publisher::shared().sign(_program, {}, "other");
    const std::string none = _folder.path() + "/none";
    EXPECT_EQ(extract(running, {"--signers", none}),
              refusal(running, "the signer is not trusted: there is no folder " + none));
    const auto byDefault = extract(running, {});
    EXPECT_EQ(byDefault.status, 1) << "there is no such folder on a machine for tests";
}

TEST_F(CodeSignature, AFileNamedAnySaysThatEverybodyMaySign) {
    const RunningProgram running({_program, "100"});
    Publisher::shared().sign(_program, {}, "other");
    const std::string anchors = _folder.path() + "/signers";
    for (const char* content : {"", "no certificate"}) {
        _folder.write("signers/any", content);
        EXPECT_EQ(extract(running, {"--signers", anchors}), success);
    }
    _folder.write("signers/broken.pem", "no certificate");
    const auto run = extract(running, {"--signers", anchors});
    EXPECT_EQ(run, refusal(running, "the anchors in " + anchors + " cannot be read"));
}

TEST_F(CodeSignature, AnchorsThatOthersMayChangeVouchForNobody) {
    const RunningProgram running({_program, "100"});
    const auto& publisher = Publisher::shared();
    publisher.sign(_program);
    const std::string anchors = _folder.path() + "/signers";
    const std::string root =
        _folder.write("signers/root.pem", contentOf(publisher.file("root.pem")));
    const auto isRefused = [&](const std::string& path) {
        const auto run = extract(running, {"--signers", anchors});
        EXPECT_EQ(run, refusal(running, "the signer is not trusted: " + path +
                                            " may be changed by others than root"));
    };
    for (const auto& [path, kept] : {std::pair{anchors, 0755U}, std::pair{root, 0644U}}) {
        for (const unsigned open : {0020U, 0002U, 01002U}) {
            fs::permissions(path, fs::perms(kept | open));
            isRefused(path);
        }
        fs::permissions(path, fs::perms(kept));
    }
    fs::permissions(_folder.path(), fs::perms(0770));
    isRefused(anchors);
    fs::permissions(_folder.path(), fs::perms(01777));
    EXPECT_EQ(extract(running, {"--signers", anchors}), success) << "as in /tmp";
    _folder.write("elsewhere/open.pem", contentOf(root));
    fs::permissions(_folder.path() + "/elsewhere", fs::perms(0777));
    _folder.link("signers/link.pem", _folder.path() + "/elsewhere/open.pem");
    isRefused(anchors + "/link.pem");
    fs::remove(anchors + "/link.pem");
    if (::geteuid() == 0) {
        for (const auto& path : {root, anchors}) {
            ASSERT_EQ(::chown(path.c_str(), 4711, 4711), 0);
            isRefused(path);
        }
    }
}

/// Asked without the helper's time limit: to read half a gigabyte takes long on a busy machine.
TEST_F(CodeSignature, AnExecutableThatIsTooLargeIsNotRead) {
    Publisher::shared().sign(_program);
    vel::SignedProcessSources sources;
    sources.anchorFolder = Publisher::shared().file("anybody");
    sources.anchorOwner = ::geteuid();
    constexpr std::uintmax_t limit = std::uintmax_t{512} << 20U;
    for (const auto& [size, reason] :
         {std::pair{limit, misfit},
          std::pair{limit + 1, std::string("its executable is larger than 512 MiB")}}) {
        fs::resize_file(_program, size);
        const RunningProgram running({_program, "100"});
        const auto result = vel::signerOfProcess(std::to_string(running.processID()), sources);
        const auto* refused = std::get_if<vel::SignatureRefusal>(&result);
        ASSERT_NE(refused, nullptr);
        EXPECT_EQ(refused->reason, reason);
    }
}

/// A file system whose program never answers.
class DeadFileSystem {
public:
    explicit DeadFileSystem(const std::string& folder) : _folder(folder) {
        _device = VELDescriptor(::open("/dev/fuse", O_RDWR | O_CLOEXEC));
        const std::string options =
            "fd=" + std::to_string(_device.get()) + ",rootmode=40000,user_id=0,group_id=0";
        _isMounted = _device && ::mount("dead", folder.c_str(), "fuse", 0, options.c_str()) == 0;
    }
    ~DeadFileSystem() {
        if (_isMounted) {
            ::umount2(_folder.c_str(), MNT_DETACH);
        }
    }
    DeadFileSystem(const DeadFileSystem&) = delete;
    DeadFileSystem& operator=(const DeadFileSystem&) = delete;

    [[nodiscard]] bool isMounted() const { return _isMounted; }

    /// Takes the first request, which from then on nothing but an answer ends.
    void takeRequest() const {
        std::array<char, 8192> request{};
        static_cast<void>(::read(_device.get(), request.data(), request.size()));
    }

private:
    std::string _folder;
    VELDescriptor _device;
    bool _isMounted = false;
};

TEST_F(CodeSignature, AFileSystemThatNeverAnswersIsAbandoned) {
    fs::create_directory(_folder.path() + "/dead");
    const DeadFileSystem dead(_folder.path() + "/dead");
    if (!dead.isMounted()) {
        GTEST_SKIP() << "needs root and /dev/fuse";
    }
    _folder.link("proc/12/exe", _folder.path() + "/dead/agent");
    const std::vector<std::string> options = {"--proc", _folder.path() + "/proc", "--signers",
                                              Publisher::shared().file("anybody")};
    auto answer = std::async(std::launch::async, [&] { return extract("12", options); });
    dead.takeRequest();
    EXPECT_EQ(answer.get(), (ToolRun{1, "",
                                     "code-signature: process 12: its executable and signature "
                                     "cannot be read in time\n"}));
}

TEST(CertificatesInFile, ReadsPEMAndDER) {
    const auto& publisher = Publisher::shared();
    const std::string root = publisher.der("root");
    EXPECT_EQ(vel::certificatesInFile(root), std::vector{root});
    EXPECT_EQ(vel::certificatesInFile(contentOf(publisher.file("others.pem"))),
              (std::vector{root, publisher.der("intermediate")}));
    EXPECT_EQ(vel::certificatesInFile(""), std::vector<std::string>());
    EXPECT_EQ(vel::certificatesInFile(root + "x"), std::vector<std::string>());
    EXPECT_EQ(vel::certificatesInFile(contentOf(publisher.file("leaf.key"))),
              std::vector<std::string>());
    const std::string pem = contentOf(publisher.file("root.pem"));
    EXPECT_EQ(vel::certificatesInFile(pem + pem.substr(0, pem.size() - 40)),
              std::vector<std::string>());
    const auto armoured = [](const std::string& label, const std::string& base64) {
        return "-----BEGIN " + label + "-----\n" + base64 + "-----END " + label + "-----\n";
    };
    const std::size_t first = pem.find('\n') + 1;
    const std::string base64 = pem.substr(first, pem.find("-----END") - first);
    EXPECT_EQ(vel::certificatesInFile(armoured("CERTIFICATE", base64)), std::vector{root});
    EXPECT_EQ(vel::certificatesInFile(armoured("OTHER", base64)), std::vector<std::string>());
    EXPECT_EQ(vel::certificatesInFile(armoured("CERTIFICATE", "YQ==\n")),
              std::vector<std::string>());
}

TEST(CodeSignatureReason, SaysWhyAProcessHasNoSigner) {
    const TestFolder folder;
    const auto why = [](const std::string& signers) {
        return runProgram({toolProgram("code-signature"), "--display", "--extract-certificates",
                           "0", "--signers", signers, "--why"});
    };
    const std::string missing = folder.path() + "/none";
    EXPECT_EQ(why(missing), (ToolRun{0,
                                     "signers-missing: the signer is not trusted: there is no "
                                     "folder " +
                                         missing + "\n",
                                     ""}));
    folder.write("empty/.hidden", "");
    const std::string empty = folder.path() + "/empty";
    EXPECT_EQ(why(empty).output, "signers-missing: no certificate is in " + empty + "\n");
    folder.write("anybody/any", "");
    folder.write("some/root.pem", contentOf(Publisher::shared().file("root.pem")));
    for (const char* signers : {"/anybody", "/some"}) {
        EXPECT_EQ(why(folder.path() + signers).output,
                  "signature-refused: process 0: there is no such process\n");
    }
}

} // namespace
