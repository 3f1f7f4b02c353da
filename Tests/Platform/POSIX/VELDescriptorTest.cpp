// SPDX-License-Identifier: Apache-2.0
#include "Platform/POSIX/VELDescriptor.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <future>
#include <gtest/gtest.h>
#include <sys/time.h>

namespace {

TEST(Descriptor, OfNothingIsNotMoved) {
    errno = ENOENT;
    VELDescriptor none;
    none.moveAboveStandardStreams();
    EXPECT_FALSE(none);
    EXPECT_EQ(errno, ENOENT) << "why there is none";
}

class DescriptorPipe : public testing::Test {
protected:
    void SetUp() override {
        std::array<int, 2> ends{};
        ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK), 0);
        reader = VELDescriptor(ends[0]);
        writer = VELDescriptor(ends[1]);
    }

    VELDescriptor reader;
    VELDescriptor writer;
};

TEST_F(DescriptorPipe, CarriesMoreThanItHoldsThoughNeitherEndBlocks) {
    const std::string text(std::size_t{1} << 20U, 'x');
    auto writing = std::async(std::launch::async, [&] {
        const int problem = vel::writeAll(writer.get(), text);
        writer.close();
        return problem;
    });
    std::string bytes = "before";
    EXPECT_EQ(vel::readAll(reader.get(), bytes), 0);
    EXPECT_EQ(writing.get(), 0);
    EXPECT_EQ(bytes, text);
}

VELDescriptor* lateWriter = nullptr;

TEST_F(DescriptorPipe, IsReadAfterASignalThatInterruptsTheWait) {
    lateWriter = &writer;
    struct sigaction action = {};
    struct sigaction before = {};
    action.sa_handler = [](int) {
        static_cast<void>(vel::writeAll(lateWriter->get(), "late"));
        lateWriter->close();
    };
    ASSERT_EQ(::sigaction(SIGALRM, &action, &before), 0);
    const itimerval soon = {{}, {0, 50'000}};
    ASSERT_EQ(::setitimer(ITIMER_REAL, &soon, nullptr), 0);
    std::string bytes;
    EXPECT_EQ(vel::readAll(reader.get(), bytes), 0);
    EXPECT_EQ(bytes, "late");
    ::sigaction(SIGALRM, &before, nullptr);
}

TEST_F(DescriptorPipe, IsReadUpToALimit) {
    ASSERT_EQ(vel::writeAll(writer.get(), "123456"), 0);
    writer.close();
    std::string bytes;
    EXPECT_EQ(vel::readAll(reader.get(), bytes, 5), EFBIG);
    EXPECT_EQ(vel::readAll(reader.get(), bytes, 0), 0) << "the end";
    EXPECT_EQ(bytes, "");
}

TEST_F(DescriptorPipe, SaysWhatFails) {
    std::string bytes;
    EXPECT_EQ(vel::readAll(writer.get(), bytes), EBADF);
    EXPECT_EQ(vel::writeAll(reader.get(), "x"), EBADF);
    EXPECT_EQ(vel::writeAll(reader.get(), ""), 0);
    EXPECT_EQ(vel::readAll(-1, bytes), EBADF);
}

} // namespace
