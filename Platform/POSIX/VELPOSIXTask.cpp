// SPDX-License-Identifier: Apache-2.0
#include "Platform/POSIX/VELPOSIXTask.h"

#include "Platform/POSIX/VELChildProcess.h"
#include "Platform/POSIX/VELMonotonicClock.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <utility>

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
        sigemptyset(&signals); // a macro on some systems
        keep(::posix_spawnattr_setsigmask(&attributes, &signals));
        sigfillset(&signals);
        keep(::posix_spawnattr_setsigdefault(&attributes, &signals));
        keep(
            vel::child::addSpawnFlags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF));
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

std::array<VELDescriptor, 2> makePipe() {
    auto pipe = vel::child::makePipe();
    if (!pipe) {
        failLaunch("Couldn't create a pipe", errno);
    }
    for (VELDescriptor& end : *pipe) {
        end.moveAboveStandardStreams();
        if (!end) {
            failLaunch("Couldn't create a pipe", errno);
        }
    }
    return *std::move(pipe);
}

bool isClosed(int descriptor) {
    return ::fcntl(descriptor, F_GETFD) < 0 && errno == EBADF;
}

/// Until `deadline`, rounded up, as `poll` counts; 0 when it has passed.
int millisecondsUntil(VELTimePoint deadline) {
    const VELTimePoint now = vel::monotonicNow();
    if (now >= deadline) {
        return 0;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - now).count();
    return static_cast<int>(std::min<std::int64_t>(left, INT_MAX));
}

/// As `posix_spawn` takes them.
std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

enum class Readiness { bytes, nothingMoreIsWritten, deadline, failure };

Readiness waitForBytes(int descriptor, VELTimePoint deadline) {
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

int vel::child::addSpawnFlags(posix_spawnattr_t* attributes, short flags) {
    short before = 0;
    const int failure = ::posix_spawnattr_getflags(attributes, &before);
    return failure != 0
               ? failure
               : ::posix_spawnattr_setflags(attributes, static_cast<short>(before | flags));
}

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
    int firstClosed = inheritedDescriptor;
    if (_options.inherited != nullptr) {
        settings.keep(::posix_spawn_file_actions_adddup2(
            &settings.actions, _options.inherited->get(), inheritedDescriptor));
        ++firstClosed;
    }
    for (const int stream : {STDIN_FILENO, STDERR_FILENO}) {
        // A tool that starts without a stream would open some other file in its place.
        if (_options.usesNullStreams || isClosed(stream)) {
            settings.keep(::posix_spawn_file_actions_addopen(&settings.actions, stream, "/dev/null",
                                                             O_RDWR, 0));
        }
    }
    settings.keep(vel::child::closeInheritedDescriptors(&settings.actions, &settings.attributes,
                                                        firstClosed));
    settings.resetSignals();

    std::vector<std::string> words = {_launchPath};
    words.insert(words.end(), _arguments.begin(), _arguments.end());
    auto variables = _options.environment.value_or(std::vector<std::string>());

    pid_t process = 0;
    if (settings.error == 0) {
        settings.error = ::posix_spawn(&process, _launchPath.c_str(), &settings.actions,
                                       &settings.attributes, pointersTo(words).data(),
                                       _options.environment ? pointersTo(variables).data()
                                                            : vel::child::environment());
    }
    if (settings.error != 0) {
        failLaunch("Couldn't posix_spawn", settings.error);
    }
    return process;
}

void VELPOSIXTask::launch() {
    if (_options.objection) {
        if (const std::string reason = _options.objection(_launchPath); !reason.empty()) {
            throw VELTaskLaunchFailure(reason);
        }
    }
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
        _handle.moveAboveStandardStreams();
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

void VELPOSIXTask::sendSignal(int signal) const {
    if (!_handle || !vel::child::sendSignal(_handle, signal)) {
        ::kill(_process, signal);
    }
}

void VELPOSIXTask::terminate() {
    const std::scoped_lock lock(_mutex);
    if (!runsNow()) {
        return;
    }
    // A stopped process takes notice of the first signal when the second lets it continue.
    sendSignal(SIGTERM);
    sendSignal(SIGCONT);
}

void VELPOSIXTask::kill() {
    const std::scoped_lock lock(_mutex);
    if (runsNow()) {
        sendSignal(SIGKILL);
    }
}

void VELPOSIXTask::reap(int options) {
    siginfo_t information;
    if (wait(information, WEXITED | options) == 0 && information.si_pid != 0) {
        // Some systems put more bits of an exit status there than a process can end with.
        constexpr int exitStatusBits = 0xFF;
        _status = information.si_code == CLD_EXITED ? information.si_status & exitStatusBits
                                                    : information.si_status;
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

bool VELPOSIXTask::exitsBefore(VELTimePoint deadline) const {
    while (isRunning()) {
        const int left = millisecondsUntil(deadline);
        if (left == 0) {
            return false;
        }
        // A handle is readable when the child has exited; without one it is asked again soon.
        pollfd exited = {_handle ? _handle.get() : -1, POLLIN, 0};
        ::poll(&exited, 1, _handle ? left : 1);
    }
    return true;
}

std::int32_t VELPOSIXTask::terminationStatus() const {
    return _status;
}

std::optional<std::string> VELPOSIXTask::readOutputToEnd(VELTimePoint deadline) {
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
        if (count < 0 || bytes.size() > _options.outputLimit ||
            (readiness == Readiness::bytes && vel::monotonicNow() >= deadline)) {
            break;
        }
    }
    return std::nullopt;
}

void VELPOSIXTask::close() noexcept {
    _output.close();
}
