// SPDX-License-Identifier: Apache-2.0
#include "Platform/Linux/VELLinuxProductVersion.h"
#include "Platform/VELPlatform.h"
#include "Tests/Support/Oracle.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Tests/Support/UnprivilegedUser.h"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <vector>

namespace {

using vel::versionFromOSRelease;

std::string quotedForShell(const std::string& text) {
    std::string quoted = "'";
    for (const char character : text) {
        quoted += character == '\'' ? "'\\''" : std::string(1, character);
    }
    return quoted + "'";
}

/// VERSION_ID after the system's shell has read each text as a file. Absent: it is empty, or the
/// shell refuses the text.
std::vector<std::optional<std::string>> versionsOfShell(const std::vector<std::string>& texts) {
    std::string command = R"(env -i /bin/sh -c 'for text do
        printf %s "$text" | (. /dev/stdin; printf "%s\0" "$VERSION_ID") || printf "\0"
        done' sh)";
    for (const std::string& text : texts) {
        command += " " + quotedForShell(text);
    }
    const std::string output = askOracle(command + " 2>/dev/null").output;
    std::vector<std::optional<std::string>> versions;
    for (std::size_t start = 0; start < output.size();) {
        const std::size_t end = output.find('\0', start);
        const std::string version = output.substr(start, end - start);
        versions.push_back(version.empty() ? std::nullopt : std::optional(version));
        start += version.size() + 1;
    }
    EXPECT_EQ(versions.size(), texts.size());
    versions.resize(texts.size());
    return versions;
}

class LinuxProductVersion : public ::testing::Test {
protected:
    std::optional<std::string> read() const { return VELLinuxProductVersion(root.path()).read(); }

    TemporaryFolder root;
};

TEST_F(LinuxProductVersion, IsTheOneOfEtc) {
    root.write("etc/os-release", "VERSION_ID=\"12\"\n");
    root.write("usr/lib/os-release", "VERSION_ID=\"13\"\n");
    EXPECT_EQ(read(), "12");
}

TEST_F(LinuxProductVersion, IsTheOneOfUsrLibWhereEtcHasNone) {
    root.write("usr/lib/os-release", "VERSION_ID=\"13\"\n");
    EXPECT_EQ(read(), "13");
    std::filesystem::create_directory(root.path() + "/etc");
    std::filesystem::create_symlink("nowhere", root.place("etc/os-release"));
    EXPECT_EQ(read(), "13");
}

TEST_F(LinuxProductVersion, TheFilesAreNotMerged) {
    root.write("etc/os-release", "NAME=Sample\n");
    root.write("usr/lib/os-release", "VERSION_ID=\"13\"\n");
    EXPECT_EQ(read(), std::nullopt);
}

TEST_F(LinuxProductVersion, AFileThatCannotBeReadIsNotPassedOver) {
    root.write("usr/lib/os-release", "VERSION_ID=\"13\"\n");
    std::filesystem::create_directories(root.place("etc/os-release"));
    EXPECT_EQ(read(), std::nullopt);

    std::filesystem::remove(root.place("etc/os-release"));
    ASSERT_EQ(::mkfifo(root.place("etc/os-release").c_str(), 0644), 0);
    EXPECT_EQ(read(), std::nullopt);

    std::filesystem::remove(root.place("etc/os-release"));
    std::filesystem::create_symlink("os-release", root.place("etc/os-release"));
    EXPECT_EQ(read(), std::nullopt);

    std::filesystem::remove(root.place("etc/os-release"));
    root.write("etc/os-release", "VERSION_ID=12\n" + std::string(std::size_t{1} << 20U, '\n'));
    EXPECT_EQ(read(), std::nullopt);

    ASSERT_EQ(::chmod(root.write("etc/os-release", "VERSION_ID=12\n").c_str(), 0), 0);
    EXPECT_EQ(askedWithoutPrivileges([this] { return read().value_or("absent"); }), "absent");

    std::filesystem::remove(root.place("etc/os-release"));
    EXPECT_EQ(read(), "13");
}

TEST_F(LinuxProductVersion, NoFileIsAbsent) {
    EXPECT_EQ(read(), std::nullopt);
}

struct ReleaseFile {
    const char* text;
    const char* version; // null: absent
};

/// What both this reader and the system's shell make of these files.
const std::vector<ReleaseFile> releaseFiles = {
    {"VERSION_ID=12\n", "12"},
    {"VERSION_ID=12", "12"},
    {"VERSION_ID=\"12.4\"\n", "12.4"},
    {"VERSION_ID='12.4'\n", "12.4"},
    {"VERSION_ID=1\"2\"'.4'\n", "12.4"},
    {"VERSION_ID=\n", nullptr},
    {"VERSION_ID=\"\"\n", nullptr},
    {"", nullptr},
    {"\n\n", nullptr},
    {"NAME=Sample\n", nullptr},
    {"NAME=\"Sample Linux\"\nVERSION_ID=\"12\"\nID=sample\n", "12"},
    {"VERSION_ID=12\nVERSION_ID=13\n", "13"},
    {"VERSION_ID=12\nVERSION_ID=\n", nullptr},
    {"#VERSION_ID=12\n", nullptr},
    {"  # VERSION_ID=12\nVERSION_ID=13 # the next\n", "13"},
    {"VERSION_ID=13# no comment\n", nullptr},
    {"VERSION_ID=13#no-comment\n", "13#no-comment"},
    {"VERSION_ID='13 # no comment'\n", "13 # no comment"},
    {"# it's a comment\nVERSION_ID=12\n", "12"},
    {"  VERSION_ID=12  \n", "12"},
    {"\tVERSION_ID=12\t\n", "12"},
    {"VERSION_ID = 12\n", nullptr},
    {"VERSION_ID =12\n", nullptr},
    {"VERSION_ID= 12\n", nullptr},
    {"VERSION_ID=12 ID=sample\n", "12"},
    {"VERSION_ID=12 no-such-command\n", nullptr},
    {"VERSION_ID=11\nVERSION_ID=12 no-such-command\n", "11"},
    {"VERSION_ID=11;VERSION_ID=12;\n", "12"},
    {"VERSION_ID=11 ; ID=sample\n", "11"},
    {"VERSION_ID=1\\2\n", "12"},
    {"VERSION_ID=12\\ beta\n", "12 beta"},
    {"VERSION_ID=12\\\"\n", "12\""},
    {"VERSION_ID=1\\\n2\n", "12"},
    {"VERSION\\\n_ID=12\n", "12"},
    {"\\\nVERSION_ID=12\n", "12"},
    {"VERSION_ID=12 \\\n# a comment\n", "12"},
    {"VERSION_ID=12\\\\\n", "12\\"},
    {"VERSION_ID=12\\$HOME\n", "12$HOME"},
    {"VERSION_ID=\"1\\2\"\n", "1\\2"},
    {"VERSION_ID=\"1\\\\2\"\n", "1\\2"},
    {"VERSION_ID=\"12 \\\"beta\\\"\"\n", "12 \"beta\""},
    {"VERSION_ID=\"12\\$\\`\"\n", "12$`"},
    {"VERSION_ID=\"1\\\n2\"\n", "12"},
    {"VERSION_ID=\"12\\'\"\n", "12\\'"},
    {"VERSION_ID=\"it's\"\n", "it's"},
    {"VERSION_ID='1\\2'\n", "1\\2"},
    {"VERSION_ID='$HOME`'\n", "$HOME`"},
    {"VERSION_ID='12\nbeta'\n", "12\nbeta"},
    {"NAME='a\nVERSION_ID=13\n'\nVERSION_ID=12\n", "12"},
    {"NAME=\"a\nVERSION_ID=13\n\"\n", nullptr},
    {"VERSION_ID=12\r\n", "12\r"},
    {"\xef\xbb\xbfVERSION_ID=12\n", nullptr},
    {"VERSION_ID=12~rc1\n", "12~rc1"},
    {"VERSION_ID=\"~\"\n", "~"},
    {"VERSION_ID=\\~\n", "~"},
    {"VERSION_ID=*\n", "*"},
    {"VERSION_ID=a=b\n", "a=b"},
    {"VERSION_ID==12\n", "=12"},
    {"VERSION_ID=ä\xf0\x9f\x98\x80\n", "ä\xf0\x9f\x98\x80"},
    {"NAME=\xff\xfe\nVERSION_ID=12\n", "12"},
    {"'VERSION_ID=12'\n", nullptr},
    {"\"VERSION_ID\"=12\n", nullptr},
    {"VERSION_I\\D=12\n", nullptr},
    {"VERSION_ID\\=12\n", nullptr},
    {"version_id=12\n", nullptr},
    {"XVERSION_ID=12\n", nullptr},
    {"VERSION_ID2=12\n", nullptr},
    {"VERSION_ID[0]=12\n", nullptr},
    {"1A=b VERSION_ID=12\n", nullptr},
    {"VERSION_ID=12 1A=b\n", nullptr},
    {"VERSION_ID=\"12\n", nullptr},
    {"VERSION_ID='12\n", nullptr},
    {"VERSION_ID=12\nNAME=\"Sample\n", nullptr},
    {"VERSION_ID=12\nNAME='Sample\n", nullptr},
    {"VERSION_ID=12\nNAME=Sample (Twelve)\n", nullptr},
    {"VERSION_ID=12\nID=a)\n", nullptr},
    {";VERSION_ID=12\n", nullptr},
    {"VERSION_ID=12;;\n", nullptr},
    {"NAME=$HOME\nVERSION_ID=12\n", "12"},
};

TEST(VersionFromOSRelease, IsWhatAShellReads) {
    std::vector<std::string> texts;
    for (const ReleaseFile& file : releaseFiles) {
        texts.emplace_back(file.text);
    }
    const auto versions = versionsOfShell(texts);
    for (std::size_t index = 0; index < texts.size(); ++index) {
        const char* version = releaseFiles[index].version;
        const auto expected =
            version != nullptr ? std::optional<std::string>(version) : std::nullopt;
        EXPECT_EQ(versions[index], expected) << "the shell reads: " << texts[index];
        EXPECT_EQ(versionFromOSRelease(texts[index]), expected) << texts[index];
    }
}

TEST(VersionFromOSRelease, IsWhatAShellReadsFromArbitraryText) {
    // Nothing here that a shell expands or runs: the reader refuses that, the next test says.
    constexpr std::string_view pieces[] = {"VERSION_ID=", "1",  "2",  "-", "a b", "'",    "\"",
                                           "\\",          "\n", "\n", " ", "#",   "ID=x", "\\\n"};
    std::mt19937 random(20240917);
    std::vector<std::string> texts;
    for (int round = 0; round < 1000; ++round) {
        std::string text = "VERSION_ID=";
        for (auto count = random() % 12; count > 0; --count) {
            text += pieces[random() % std::size(pieces)];
        }
        // A backslash at the very end, shells read in different ways.
        texts.push_back(text + "\n");
    }
    const auto versions = versionsOfShell(texts);
    for (std::size_t index = 0; index < texts.size(); ++index) {
        EXPECT_EQ(versionFromOSRelease(texts[index]), versions[index]) << texts[index];
    }
    // Enough of both: texts with a version, and texts that a shell refuses.
    const auto absent = std::count(versions.begin(), versions.end(), std::nullopt);
    EXPECT_GT(absent, 200);
    EXPECT_LT(absent, 800);
}

TEST(VersionFromOSRelease, WhatAShellWouldExpandOrRunIsAbsent) {
    for (const char* text :
         {"VERSION_ID=$HOME", "VERSION_ID=\"$HOME\"", "VERSION_ID=`id`", "VERSION_ID=\"`id`\"",
          "VERSION_ID=~", "VERSION_ID=~root", "VERSION_ID=a:~", "VERSION_ID=$'12'",
          "VERSION_ID=12\nVERSION_ID=$HOME", "VERSION_ID=12&", "VERSION_ID=12|cat",
          "VERSION_ID=12>file", "VERSION_ID=12<file", "VERSION_ID=$(id)", "VERSION_ID=12\\"}) {
        EXPECT_EQ(versionFromOSRelease(text), std::nullopt) << text;
    }
    EXPECT_EQ(versionFromOSRelease("VERSION_ID=$HOME\nVERSION_ID=12"), "12");
}

TEST(VersionFromOSRelease, BytesThatAreNoTextAreAbsent) {
    EXPECT_EQ(versionFromOSRelease("VERSION_ID=12\xff\n"), std::nullopt);
    EXPECT_EQ(versionFromOSRelease("VERSION_ID='\xed\xa0\x80'\n"), std::nullopt);
    EXPECT_EQ(versionFromOSRelease(std::string_view("VERSION_ID=1\0"
                                                    "2\n",
                                                    15)),
              std::nullopt);
    EXPECT_EQ(versionFromOSRelease(std::string_view("VERSION_ID=12\n\0", 15)), std::nullopt);
}

TEST(VersionFromOSRelease, ALongFileCostsLittle) {
    std::string text;
    while (text.size() < 1'000'000) {
        text += "A='" + std::string(50, 'x') + "' \\\n # c\n";
    }
    EXPECT_EQ(versionFromOSRelease(text + "VERSION_ID=12\n"), "12");
    EXPECT_EQ(versionFromOSRelease(std::string(1'000'000, '=') + "\nVERSION_ID=12\n"), "12");
    EXPECT_EQ(versionFromOSRelease("VERSION_ID=" + std::string(1'000'000, '1')),
              std::string(1'000'000, '1'));
}

TEST(LinuxPlatform, SaysThisMachinesProductVersion) {
    const auto shell = askOracle("if [ -e /etc/os-release ]; then . /etc/os-release; "
                                 "else . /usr/lib/os-release; fi; printf %s \"$VERSION_ID\"");
    EXPECT_EQ(VELPlatform::host()->productVersion().value_or(""), shell.output);
}

TEST(LinuxPlatform, SaysTheSameSerialNumberTwice) {
    EXPECT_EQ(VELPlatform::host()->serialNumber(), VELPlatform::host()->serialNumber());
}

} // namespace
