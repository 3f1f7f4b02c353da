// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/OutputFile.h"

#include "Platform/POSIX/VELDescriptor.h"
#include "Tools/vel-posture/ProgramFailure.h"
#include "Tools/vel-posture/StandardStreams.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <random>

namespace {

constexpr mode_t readableByOwner = S_IRUSR | S_IWUSR;
constexpr mode_t readableByAll = readableByOwner | S_IRGRP | S_IROTH;

int writeAndSync(const VELDescriptor& file, std::string_view content) {
    if (const int errorNumber = vel::writeAll(file.get(), content)) {
        return errorNumber;
    }
    return ::fsync(file.get()) == 0 ? 0 : errno;
}

} // namespace

void replaceFile(const std::string& path, std::string_view content, FileReaders readers) {
    // In the same folder, because a file is moved in one step only within a file system. Not named
    // after the process: in a container its ID is that of the run before, which may have been
    // killed.
    const std::string temporary = path + "." + std::to_string(std::random_device()()) + ".tmp";
    const auto fail = [&path](int errorNumber) {
        throw ProgramFailure("cannot write \"" + path + "\": " + textOfErrorNumber(errorNumber));
    };
    const VELDescriptor file(
        ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW,
               readers == FileReaders::owner ? readableByOwner : readableByAll));
    if (!file) {
        fail(errno);
    }
    int errorNumber = writeAndSync(file, content);
    if (errorNumber == 0 && ::rename(temporary.c_str(), path.c_str()) != 0) {
        errorNumber = errno;
    }
    if (errorNumber != 0) {
        ::unlink(temporary.c_str());
        fail(errorNumber);
    }
}
