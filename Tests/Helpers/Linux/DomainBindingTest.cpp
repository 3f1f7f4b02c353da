// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELDomainBinding.h"
#include "Helpers/Linux/VELSystemBus.h"
#include "Tests/Helpers/Linux/PrivateBus.h"

#include <chrono>
#include <filesystem>
#include <gtest/gtest.h>
#include <thread>

namespace {

namespace fs = std::filesystem;

std::string listOf(const std::string& domain) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
           "<plist version=\"1.0\">\n<dict>\n\t<key>General Info</key>\n\t<dict>\n"
           "\t\t<key>Active Directory Domain</key>\n\t\t<string>" +
           domain + "</string>\n\t</dict>\n</dict>\n</plist>\n";
}

ToolRun shown(const std::string& bus) {
    return runProgram({toolProgram("domain-binding"), "-show", "-xml", "--bus", bus}, {},
                      {"DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nonexistent"});
}

const ToolRun nothing = {0, "", ""};

TEST(DomainPropertyList, HoldsAnyText) {
    EXPECT_EQ(vel::domainPropertyList("corp.sample.test"), listOf("corp.sample.test"));
    EXPECT_EQ(vel::domainPropertyList("a<b>&\"c\" ö"), listOf("a&lt;b&gt;&amp;\"c\" ö"));
    for (const char* text : {"", "\xff", "a\nb", "\x7f", "a\xEF\xBF\xBF", "\xEF\xBF\xBE"}) {
        EXPECT_FALSE(vel::domainPropertyList(text)) << text;
    }
    EXPECT_FALSE(vel::domainPropertyList(std::string_view("a\0", 2)));
}

/// plutil's counterpart reads what is printed.
TEST(DomainPropertyList, IsReadByAnotherParser) {
    const TestFolder folder;
    const std::string file = folder.write("list.plist", *vel::domainPropertyList("a<b>&ö"));
    const auto run = runProgram({"python3", "-c",
                                 "import plistlib, sys\n"
                                 "print(plistlib.load(open(sys.argv[1], 'rb')))",
                                 file},
                                {}, {"PYTHONIOENCODING=utf-8", "PATH=/usr/bin:/bin"});
    EXPECT_EQ(run, (ToolRun{0, "{'General Info': {'Active Directory Domain': 'a<b>&ö'}}\n", ""}));
}

/// realmd itself, with a client configuration of the test's own. It needs a mount namespace, so
/// that it reads that configuration.
class DomainOfRealmd : public testing::Test {
protected:
    void SetUp() override {
        if (!fs::exists("/usr/libexec/realmd") ||
            runProgram({"unshare", "-m", "true"}).status != 0) {
            GTEST_SKIP() << "needs realmd, root and mount namespaces";
        }
    }

    [[nodiscard]] ToolRun shownFor(const std::string& clientConfiguration) const {
        const std::string client = _folder.write("sssd.conf", clientConfiguration);
        fs::permissions(client, fs::perms::owner_read | fs::perms::owner_write);
        const std::string configuration = _folder.path() + "/configuration";
        const RunningProgram realmd(
            {"unshare", "-m", "sh", "-e", "-c",
             "cp -r /usr/lib/realmd " + configuration + "\nsed -i 's|^sssd.conf = .*|sssd.conf = " +
                 client + "|' " + configuration + "/*\nmount --bind " + configuration +
                 " /usr/lib/realmd\nexec /usr/libexec/realmd"},
            {"DBUS_SYSTEM_BUS_ADDRESS=" + _bus.address(), "PATH=/usr/sbin:/usr/bin:/sbin:/bin"});
        const auto bus = vel::SystemBus::connect(_bus.address());
        for (int attempt = 0; attempt < 500; ++attempt) {
            if (bus->nameHasOwner("org.freedesktop.realmd") == true) {
                return shown(_bus.address());
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return {-1, "", "realmd did not start"};
    }

    TestFolder _folder;
    PrivateBus _bus;
};

std::string clientOf(const std::string& provider) {
    return "[sssd]\ndomains = corp.sample.test\nconfig_file_version = 2\nservices = nss, pam\n\n"
           "[domain/corp.sample.test]\n" +
           provider +
           "_domain = corp.sample.test\nkrb5_realm = CORP.SAMPLE.TEST\nid_provider = " + provider +
           "\nrealmd_tags = manages-system\n";
}

TEST_F(DomainOfRealmd, OfAMachineThatHasJoinedIsShown) {
    EXPECT_EQ(shownFor(clientOf("ad")), (ToolRun{0, listOf("corp.sample.test"), ""}));
}

TEST_F(DomainOfRealmd, OfAnotherKindOfServerIsNotShown) {
    EXPECT_EQ(shownFor(clientOf("ipa")), nothing);
}

TEST_F(DomainOfRealmd, OfAMachineThatHasJoinedNoneIsNotShown) {
    EXPECT_EQ(shownFor("[sssd]\ndomains =\nconfig_file_version = 2\n"), nothing);
}

FakeService::Properties realms(const std::vector<std::string>& paths) {
    return {{{"/org/freedesktop/realmd", "org.freedesktop.realmd.Provider", "Realms"}, paths}};
}

void add(FakeService::Properties& properties, const std::string& path,
         const std::string& configured, const std::string& software, const std::string& domain) {
    const std::string realm = "org.freedesktop.realmd.Realm";
    properties[{path, realm, "Configured"}] = configured;
    properties[{path, realm, "Details"}] =
        FakeService::Pairs{{"client-software", "sssd"}, {"server-software", software}};
    properties[{path, "org.freedesktop.realmd.Kerberos", "DomainName"}] = domain;
}

TEST(DomainBinding, IsTheFirstConfiguredActiveDirectory) {
    const PrivateBus bus;
    const std::string membership = "org.freedesktop.realmd.KerberosMembership";
    auto properties = realms({"/a", "/b", "/c", "/d", "/e", "/f"});
    add(properties, "/a", "", "active-directory", "not-joined.test");
    add(properties, "/b", membership, "ipa", "other-kind.test");
    add(properties, "/d", membership, "active-directory", ""); // and /c has no properties at all
    add(properties, "/e", membership, "active-directory", "first.test");
    add(properties, "/f", membership, "active-directory", "second.test");
    const FakeService service(bus.address(), "org.freedesktop.realmd", properties);
    EXPECT_EQ(shown(bus.address()), (ToolRun{0, listOf("first.test"), ""}));
}

TEST(DomainBinding, InDoubtNothingIsPrinted) {
    EXPECT_EQ(shown("unix:path=/nonexistent"), nothing);
    EXPECT_EQ(shown("no address"), nothing);
    const PrivateBus bus;
    EXPECT_EQ(shown(bus.address()), nothing) << "no realm service";
    auto properties = realms({"/a"});
    add(properties, "/a", "x", "active-directory", "a\nb");
    {
        const FakeService service(bus.address(), "org.freedesktop.realmd", properties);
        EXPECT_EQ(shown(bus.address()), nothing) << "a domain that XML cannot hold";
    }
    properties[{"/a", "org.freedesktop.realmd.Kerberos", "DomainName"}] = 5U;
    {
        const FakeService service(bus.address(), "org.freedesktop.realmd", properties);
        EXPECT_EQ(shown(bus.address()), nothing) << "a domain that is a number";
    }
    properties.clear();
    const FakeService service(bus.address(), "org.freedesktop.realmd", properties);
    EXPECT_EQ(shown(bus.address()), nothing) << "no list of realms";
}

TEST(DomainBinding, WithoutTheLibraryOfTheBusNothingIsPrinted) {
    const PrivateBus bus;
    const TestFolder folder;
    folder.write("libsystemd.so.0", "no library");
    EXPECT_EQ(runProgram({toolProgram("domain-binding"), "-show", "-xml", "--bus", bus.address()},
                         {}, {"LD_LIBRARY_PATH=" + folder.path()}),
              nothing);
}

TEST(DomainBinding, SaysWhyItPrintsNothing) {
    const auto why = [](const std::string& bus) {
        return runProgram({toolProgram("domain-binding"), "-show", "-xml", "--bus", bus, "--why"});
    };
    EXPECT_EQ(why("unix:path=/nonexistent"),
              (ToolRun{0, "system-bus-missing: the system bus does not answer\n", ""}));
    const PrivateBus bus;
    EXPECT_EQ(why(bus.address()),
              (ToolRun{0, "realmd-missing: realmd does not answer on the system bus\n", ""}));
    const auto whyOf = [&](const std::string& configured, const std::string& software,
                           const std::string& domain) {
        auto properties = realms({"/a"});
        add(properties, "/a", configured, software, domain);
        const FakeService service(bus.address(), "org.freedesktop.realmd", properties);
        const std::string line = why(bus.address()).output;
        return line.substr(0, line.find(": "));
    };
    EXPECT_EQ(whyOf("", "active-directory", "a.test"), "domain-not-joined");
    EXPECT_EQ(whyOf("x", "ipa", "a.test"), "domain-not-active-directory");
    EXPECT_EQ(whyOf("x", "active-directory", "a\nb"), "domain-name-unusable");
    EXPECT_EQ(whyOf("x", "active-directory", "a.test"), "known");
}

TEST(DomainBinding, AServiceThatDoesNotAnswerIsGivenUp) {
    const TestFolder folder;
    const std::string socket = folder.path() + "/mute";
    const RunningProgram mute({"python3", "-c",
                               // It gets its name when one can connect to it.
                               "import os, socket, sys, time\n"
                               "s = socket.socket(socket.AF_UNIX)\ns.bind(sys.argv[1] + '.new')\n"
                               "s.listen(5)\nos.rename(sys.argv[1] + '.new', sys.argv[1])\n"
                               "while True: time.sleep(100)",
                               socket});
    while (!fs::exists(socket)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(shown("unix:path=" + socket), nothing);
    const auto taken = std::chrono::steady_clock::now() - start;
    EXPECT_GE(taken, std::chrono::seconds(2));
}

} // namespace
