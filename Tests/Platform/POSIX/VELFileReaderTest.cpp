// SPDX-License-Identifier: Apache-2.0
#include "Platform/POSIX/VELFileReader.h"
#include "Platform/POSIX/VELDescriptor.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Tests/Support/UnprivilegedUser.h"

#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <iterator>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace vel {

static void PrintTo(FileStatus status, std::ostream* stream) {
    constexpr const char* names[] = {"read", "missing", "unreadable", "tooLarge"};
    *stream << names[static_cast<int>(status)];
}

} // namespace vel

namespace {

using vel::FileStatus;
using vel::readFile;

void expectWithoutBytes(const std::string& path, FileStatus status) {
    const auto file = readFile(path);
    EXPECT_EQ(file.status, status) << path;
    EXPECT_EQ(file.bytes, "") << path;
}

std::size_t openDescriptors() {
    const std::filesystem::directory_iterator open("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(open), end(open)));
}

TEST(FileReader, ReadsEveryByte) {
    const TemporaryFolder folder;
    for (const std::size_t size : {0U, 1U, 4095U, 4096U, 4097U, 8192U, 100'000U}) {
        std::string bytes(size, '\0');
        for (std::size_t index = 0; index < size; ++index) {
            bytes[index] = static_cast<char>(index * 31 >> 3U);
        }
        const auto file = readFile(folder.write("file", bytes));
        EXPECT_EQ(file.status, FileStatus::read) << size;
        EXPECT_TRUE(file.bytes == bytes) << size;
    }
}

TEST(FileReader, ReadsUpToTheLimitAndNoFurther) {
    const TemporaryFolder folder;
    const std::string path = folder.write("file", std::string(10'000, 'x'));
    EXPECT_EQ(readFile(path, 10'000).bytes, std::string(10'000, 'x'));
    EXPECT_EQ(readFile(path, 9'999).status, FileStatus::tooLarge);
    EXPECT_EQ(readFile(path, 9'999).bytes, "");
    EXPECT_EQ(readFile(path, 0).status, FileStatus::tooLarge);
    EXPECT_EQ(readFile(folder.write("empty", ""), 0).status, FileStatus::read);
}

TEST(FileReader, AFileAboveOneMebibyteIsTooLarge) {
    const TemporaryFolder folder;
    const std::string path = folder.write("file", "");
    std::filesystem::resize_file(path, std::uintmax_t{1} << 20U);
    EXPECT_EQ(readFile(path).bytes.size(), std::size_t{1} << 20U);
    std::filesystem::resize_file(path, (std::uintmax_t{1} << 20U) + 1);
    expectWithoutBytes(path, FileStatus::tooLarge);
    std::filesystem::resize_file(path, std::uintmax_t{1} << 40U);
    expectWithoutBytes(path, FileStatus::tooLarge);
}

TEST(FileReader, ReadsPseudoFilesWhoseSizeIsNotTheirLength) {
    ASSERT_EQ(std::filesystem::file_size("/proc/self/status"), 0U);
    const auto file = readFile("/proc/self/status");
    EXPECT_EQ(file.status, FileStatus::read);
    EXPECT_EQ(file.bytes.substr(0, 6), "Name:\t");
    EXPECT_NE(file.bytes.find("\nPid:\t" + std::to_string(::getpid()) + "\n"), std::string::npos);
}

TEST(FileReader, WhatNoFileIsNamedIsMissing) {
    const TemporaryFolder folder;
    const std::string file = folder.write("file", "text");
    std::filesystem::create_symlink("nowhere", folder.place("dangling"));
    expectWithoutBytes(folder.place("none"), FileStatus::missing);
    expectWithoutBytes(folder.place("dangling"), FileStatus::missing);
    expectWithoutBytes(file + "/below", FileStatus::missing);
    expectWithoutBytes(folder.place(std::string(300, 'a')), FileStatus::missing);
    expectWithoutBytes("", FileStatus::missing);
}

TEST(FileReader, APathIsNotReadUpToItsNUL) {
    const TemporaryFolder folder;
    expectWithoutBytes(folder.write("file", "text") + '\0' + "more", FileStatus::missing);
}

TEST(FileReader, FollowsSymbolicLinks) {
    const TemporaryFolder folder;
    folder.write("file", "text");
    std::filesystem::create_symlink("file", folder.place("link"));
    EXPECT_EQ(readFile(folder.place("link")).bytes, "text");
}

TEST(FileReader, ALoopOfLinksIsUnreadable) {
    const TemporaryFolder folder;
    std::filesystem::create_symlink("loop", folder.place("loop"));
    expectWithoutBytes(folder.place("loop"), FileStatus::unreadable);
}

TEST(FileReader, FoldersDevicesAndSocketsAreUnreadable) {
    const TemporaryFolder folder;
    expectWithoutBytes(folder.path(), FileStatus::unreadable);
    expectWithoutBytes("/dev/null", FileStatus::unreadable);
    expectWithoutBytes("/dev/zero", FileStatus::unreadable);

    const std::string path = folder.place("socket");
    const VELDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    expectWithoutBytes(path, FileStatus::unreadable);
}

TEST(FileReader, NeverWaitsForTheWriterOfAPipe) {
    const TemporaryFolder folder;
    const std::string path = folder.place("pipe");
    ASSERT_EQ(::mkfifo(path.c_str(), 0644), 0);
    EXPECT_EQ(readFile(path).status, FileStatus::unreadable);
}

TEST(FileReader, APipeThatHoldsTextIsUnreadableToo) {
    const TemporaryFolder folder;
    const std::string path = folder.place("pipe");
    ASSERT_EQ(::mkfifo(path.c_str(), 0644), 0);
    const VELDescriptor writer(::open(path.c_str(), O_RDWR | O_CLOEXEC));
    ASSERT_EQ(::write(writer.get(), "text", 4), 4);
    expectWithoutBytes(path, FileStatus::unreadable);
}

TEST(FileReader, AFileThatMayNotBeReadIsUnreadable) {
    const TemporaryFolder folder;
    const std::string file = folder.write("file", "secret");
    ASSERT_EQ(::chmod(file.c_str(), 0), 0);
    const std::string inFolder = folder.write("closed/file", "secret");
    ASSERT_EQ(::chmod((folder.path() + "/closed").c_str(), 0), 0);
    for (const std::string& path : {file, inFolder}) {
        const std::string answer = askedWithoutPrivileges([&] {
            const auto read = readFile(path);
            return std::string(read.status == FileStatus::unreadable ? "unreadable" : "other") +
                   read.bytes;
        });
        EXPECT_EQ(answer, "unreadable") << path;
    }
    ::chmod((folder.path() + "/closed").c_str(), 0755);
}

TEST(FileReader, AFileThatFailsWhileItIsReadIsUnreadable) {
    // Reading the memory of a process at address 0 is an input/output error.
    expectWithoutBytes("/proc/self/mem", FileStatus::unreadable);
}

TEST(FileReader, LeavesNoDescriptorOpen) {
    const TemporaryFolder folder;
    const std::string file = folder.write("file", "text");
    const std::size_t before = openDescriptors();
    for (const std::string& path : {file, folder.path(), folder.place("none"),
                                    std::string("/dev/zero"), std::string("/proc/self/mem")}) {
        readFile(path);
    }
    readFile(file, 1);
    EXPECT_EQ(openDescriptors(), before);
}

} // namespace
