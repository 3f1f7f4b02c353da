// SPDX-License-Identifier: Apache-2.0
#include "Platform/POSIX/VELPOSIXTask.h"

#include "Platform/POSIX/VELChildProcess.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <utility>

extern char** environ;

namespace {

/// The two settings of a spawn. Whatever fails while they are made is kept as the error.
class SpawnSettings {
public:
    SpawnSettings() {
        keep(::posix_spawn_file_actions_init(&actions));
        keep(::posix_spawnattr_init(&attributes));
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;
    ~SpawnSettings() {
        ::posix_spawn_file_actions_destroy(&actions);
        ::posix_spawnattr_destroy(&attributes);
    }

    void keep(int failure) {
        if (error == 0) {
            error = failure;
        }
    }

    void resetSignals() {
        sigset_t signals;
        ::sigemptyset(&signals);
        keep(::posix_spawnattr_setsigmask(&attributes, &signals));
        ::sigfillset(&signals);
        keep(::posix_spawnattr_setsigdefault(&attributes, &signals));
        keep(::posix_spawnattr_setflags(&attributes,
                                        POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF));
    }

    posix_spawn_file_actions_t actions = {};
    posix_spawnattr_t attributes = {};
    int error = 0;
};

[[noreturn]] void failLaunch(const char* what, int error) {
    throw VELTaskLaunchFailure(what + (": error " + std::to_string(error)));
}

bool isExecutableFile(const std::string& path) {
    struct stat status = {};
    return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
           ::faccessat(AT_FDCWD, path.c_str(), X_OK, AT_EACCESS) == 0;
}

/// A host whose standard streams are closed goes on writing to them: it must not hit the pipe.
bool moveAboveStandardStreams(VELDescriptor& descriptor) {
    if (descriptor.get() <= STDERR_FILENO) {
        descriptor = VELDescriptor(::fcntl(descriptor.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    }
    return static_cast<bool>(descriptor);
}

std::array<VELDescriptor, 2> makePipe() {
    auto ends = vel::child::makePipe();
    if (!ends || !moveAboveStandardStreams((*ends)[0]) || !moveAboveStandardStreams((*ends)[1])) {
        failLaunch("Couldn't create a pipe", errno);
    }
    return std::move(*ends);
}

std::uint64_t now() {
    return static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch() /
                                      std::chrono::nanoseconds(1));
}

/// Until `deadline`, rounded up, as `poll` counts; 0 when it has passed.
int millisecondsUntil(std::uint64_t deadline) {
    constexpr std::uint64_t nanosecondsPerMillisecond = 1'000'000;
    const std::uint64_t moment = now();
    if (moment >= deadline) {
        return 0;
    }
    return static_cast<int>(
        std::min<std::uint64_t>((deadline - moment - 1) / nanosecondsPerMillisecond + 1, INT_MAX));
}

enum class Readiness { bytes, nothingMoreIsWritten, deadline, failure };

Readiness waitForBytes(int descriptor, std::uint64_t deadline) {
    while (true) {
        pollfd readable = {descriptor, POLLIN, 0};
        const int timeout = millisecondsUntil(deadline);
        const int count = ::poll(&readable, 1, timeout);
        if (count > 0) {
            if ((readable.revents & POLLHUP) != 0) {
                return Readiness::nothingMoreIsWritten;
            }
            return readable.revents == POLLIN ? Readiness::bytes : Readiness::failure;
        }
        if (count < 0 && errno != EINTR) {
            return Readiness::failure;
        }
        if (count == 0 && timeout == 0) {
            return Readiness::deadline;
        }
    }
}

/// Appends the next bytes. Their number, 0 at the end, negative on failure.
ssize_t readMore(int descriptor, std::string& bytes) {
    std::array<char, 16'384> buffer; // NOLINT(cppcoreguidelines-pro-type-member-init)
    ssize_t count = 0;
    do {
        count = ::read(descriptor, buffer.data(), buffer.size());
    } while (count < 0 && errno == EINTR);
    if (count > 0) {
        bytes.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return count;
}

} // namespace

VELPOSIXTask::VELPOSIXTask(std::string launchPath, std::vector<std::string> arguments)
    : VELPOSIXTask(std::move(launchPath), std::move(arguments), Options()) {}

VELPOSIXTask::VELPOSIXTask(std::string launchPath, std::vector<std::string> arguments,
                           Options options)
    : _launchPath(std::move(launchPath)), _arguments(std::move(arguments)),
      _options(std::move(options)) {}

VELPOSIXTask::~VELPOSIXTask() {
    if (_process != 0) {
        reap(WNOHANG);
    }
}

const std::string& VELPOSIXTask::launchPath() const {
    return _launchPath;
}

pid_t VELPOSIXTask::spawn(int output) const {
    SpawnSettings settings;
    settings.keep(::posix_spawn_file_actions_adddup2(&settings.actions, output, STDOUT_FILENO));
    settings.keep(vel::child::closeInheritedDescriptors(&settings.actions, &settings.attributes));
    if (!_options.workingDirectory.empty()) {
        settings.keep(::posix_spawn_file_actions_addchdir_np(&settings.actions,
                                                             _options.workingDirectory.c_str()));
    }
    settings.resetSignals();

    std::vector<char*> words;
    words.push_back(const_cast<char*>(_launchPath.c_str())); // it is not written to
    for (const std::string& argument : _arguments) {
        words.push_back(const_cast<char*>(argument.c_str()));
    }
    words.push_back(nullptr);

    pid_t process = 0;
    if (settings.error == 0) {
        settings.error = ::posix_spawn(&process, _launchPath.c_str(), &settings.actions,
                                       &settings.attributes, words.data(), environ);
    }
    if (settings.error != 0) {
        failLaunch("Couldn't posix_spawn", settings.error);
    }
    return process;
}

void VELPOSIXTask::launch() {
    if (!isExecutableFile(_launchPath)) {
        throw VELTaskLaunchFailure("launch path not accessible");
    }
    std::array<VELDescriptor, 2> pipe = makePipe();
    const std::scoped_lock lock(_mutex);
    _process = spawn(pipe[1].get());
    // Before the handle is opened: at the host's descriptor limit it takes this one's place.
    pipe[1].close();
    _output = std::move(pipe[0]);
    if (_options.usesProcessHandle) {
        _handle = vel::child::openHandle(_process);
    }
}

int VELPOSIXTask::wait(siginfo_t& information, int options) const {
    int result = 0;
    do {
        information = {};
        result = -1;
        errno = EINVAL;
        if (_handle) {
            result = vel::child::waitForExit(_handle, information, options);
        }
        if (result != 0 && errno == EINVAL) {
            result = ::waitid(P_PID, static_cast<id_t>(_process), &information, options);
        }
    } while (result != 0 && errno == EINTR);
    return result;
}

bool VELPOSIXTask::runsNow() const {
    if (_process == 0) {
        return false;
    }
    if (_handle) {
        return vel::child::isRunning(_handle);
    }
    siginfo_t information;
    return wait(information, WEXITED | WNOWAIT | WNOHANG) == 0 && information.si_pid == 0;
}

bool VELPOSIXTask::isRunning() const {
    const std::scoped_lock lock(_mutex);
    return runsNow();
}

void VELPOSIXTask::terminate() {
    const std::scoped_lock lock(_mutex);
    if (!runsNow()) {
        return;
    }
    if (!_handle || !vel::child::sendSignal(_handle, SIGTERM)) {
        ::kill(_process, SIGTERM);
    }
}

void VELPOSIXTask::reap(int options) {
    siginfo_t information;
    if (wait(information, WEXITED | options) == 0 && information.si_pid != 0) {
        _status = information.si_status;
    }
    _process = 0;
    _handle.close();
}

void VELPOSIXTask::waitUntilExit() {
    if (_process == 0) {
        return;
    }
    // Without the lock, and leaving the child unreaped: it may be asked to end meanwhile.
    siginfo_t information;
    wait(information, WEXITED | WNOWAIT);
    const std::scoped_lock lock(_mutex);
    reap(WNOHANG);
}

std::int32_t VELPOSIXTask::terminationStatus() const {
    return _status;
}

std::optional<std::string> VELPOSIXTask::readOutputToEnd(std::uint64_t deadline) {
    std::string bytes;
    while (_output) {
        const Readiness readiness = waitForBytes(_output.get(), deadline);
        if (readiness == Readiness::deadline || readiness == Readiness::failure) {
            break;
        }
        const ssize_t count = readMore(_output.get(), bytes);
        if (count == 0) {
            return bytes;
        }
        if (count < 0 || (readiness == Readiness::bytes && now() >= deadline)) {
            break;
        }
    }
    return std::nullopt;
}

void VELPOSIXTask::close() {
    _output.close();
}
