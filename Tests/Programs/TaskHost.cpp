// SPDX-License-Identifier: Apache-2.0
//
// A host in an odd state that runs tools: `task-host SCENARIO`. What went wrong is said on standard
// error, one line each, and the exit status is 1; 77 says why a scenario can not be had here.
#include "Classes/Mac/NSTask+Timeout.h"
#include "Classes/Shared/VELDTLogger.h"
#include "Platform/Linux/VELLinuxPlatform.h"
#include "Platform/POSIX/VELPOSIXTask.h"
#include "Tests/Support/ProcessResources.h"
#include "vel_device_trust/VELPostureCheckRunner.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <iostream>
#include <linux/sched.h>
#include <map>
#include <nlohmann/json.hpp>
#include <sched.h>
#include <sstream>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define VEL_HAS_SANITIZER 1
#endif
#if __has_feature(undefined_behavior_sanitizer)
#define VEL_CHECKS_TYPES 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define VEL_HAS_SANITIZER 1
#endif

namespace {

#ifdef VEL_HAS_SANITIZER
constexpr bool hasSanitizer = true;
#else
constexpr bool hasSanitizer = false;
#endif

#ifdef VEL_CHECKS_TYPES
constexpr bool checksTypes = true;
#else
constexpr bool checksTypes = false;
#endif

constexpr int skipped = 77;
constexpr const char* terminated = "Task " VEL_TASK_TOOL " exited with status code 15.";

// Standard error may be closed by the scenario.
int reportDescriptor = STDERR_FILENO;
std::atomic<int> failures = 0;

void say(const std::string& line) {
    const std::string text = line + "\n";
    if (::write(reportDescriptor, text.data(), text.size()) < 0) {
        std::abort();
    }
}

[[noreturn]] void skip(const std::string& reason) {
    say(reason);
    ::_exit(skipped);
}

/// What a run gave: "output TEXT", "nothing", or "error CODE TEXT".
struct Outcome {
    std::string text;
};

const VELLinuxPlatform& platform() {
    static const VELLinuxPlatform platform;
    return platform;
}

Outcome run(std::vector<std::string> arguments, double timeout = 30, bool usesHandle = true) {
    VELPOSIXTask::Options options;
    options.usesProcessHandle = usesHandle;
    const auto task = std::make_shared<VELPOSIXTask>(VEL_TASK_TOOL, std::move(arguments), options);
    std::optional<VELError> error;
    const std::optional<std::string> output = runWithTimeout(task, timeout, &error, platform());
    if (error) {
        return {"error " + std::to_string(error->code()) + " " + error->message()};
    }
    return {output ? "output " + *output : "nothing"};
}

std::vector<std::string> printing(const std::string& text) {
    constexpr const char* digits = "0123456789abcdef";
    std::string hexadecimal;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        hexadecimal += digits[byte >> 4U];
        hexadecimal += digits[byte & 0xFU];
    }
    return {"--output-hex", hexadecimal};
}

void expect(const Outcome& found, const std::string& expected, const std::string& where = {}) {
    if (found.text != expected) {
        ++failures;
        say(where + ": expected <" + expected + ">, found <" + found.text + ">");
    }
}

template <typename Value>
void expectEqual(const Value& found, const Value& expected, const std::string& where) {
    if (!(found == expected)) {
        std::ostringstream line;
        line << where << ": expected " << expected << ", found " << found;
        ++failures;
        say(line.str());
    }
}

/// Makes the worker, so that what is held may be compared before and after.
ProcessResources resourcesWithWorker() {
    std::atomic<bool> ran = false;
    platform().workQueue().after(std::chrono::seconds(0), [&ran] { ran = true; });
    while (!ran) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return ProcessResources::now();
}

void expectNothingLeft(const ProcessResources& before, const std::string& where) {
    expectEqual(ProcessResources::settled(before), before, where);
}

std::string fileAt(int descriptor) {
    struct stat status = {};
    return ::fstat(descriptor, &status) == 0
               ? std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino)
               : "none";
}

void closedStreams() {
    reportDescriptor = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 100);
    const int spare = ::fcntl(::open("/dev/null", O_RDWR | O_CLOEXEC), F_DUPFD_CLOEXEC, 200);
    ::close(3);
    for (unsigned closed = 0; closed < 8; ++closed) {
        for (int stream = 0; stream < 3; ++stream) {
            ::dup2(spare, stream);
            if ((closed >> static_cast<unsigned>(stream) & 1U) != 0) {
                ::close(stream);
            }
        }
        const ProcessResources before = resourcesWithWorker();
        const std::string where = "streams closed: " + std::to_string(closed);
        expect(run(printing("text")), "output text", where);
        const Outcome report = run({"--report"});
        // Those that are open here are /dev/null, too.
        const std::string null = fileAt(spare);
        const std::string streams = "\ninput " + null + "\nerror " + null + "\n";
        expectEqual(report.text.find(streams) != std::string::npos, true, where + report.text);
        const std::string start = "output descriptors 0 1 2\n";
        expect({report.text.substr(0, start.size())}, start, where);
        expect(run({"--seconds", "30"}, 0.2), std::string("error 3 ") + terminated, where);

        VELPOSIXTask task(VEL_TASK_TOOL, {"--seconds", "30"});
        task.launch();
        for (int stream = 0; stream < 3; ++stream) {
            expectEqual(::fcntl(stream, F_GETFD) < 0,
                        (closed >> static_cast<unsigned>(stream) & 1U) != 0,
                        where + ", stays so while a tool runs: " + std::to_string(stream));
        }
        task.terminate();
        task.waitUntilExit();
        task.close();
        expectNothingLeft(before, where);
    }
}

void childrenIgnored() {
    std::signal(SIGCHLD, SIG_IGN);
    const ProcessResources before = resourcesWithWorker();
    const std::string lost = "error 3 Task " VEL_TASK_TOOL " exited with status code -1.";
    for (const bool usesHandle : {true, false}) {
        const std::string where = usesHandle ? "by handle" : "by number";
        expect(run(printing("text"), 30, usesHandle), lost, where);
        expect(run({"--status", "3"}, 30, usesHandle), lost, where);
        expect(run({"--seconds", "30"}, 0.2, usesHandle), lost, where);
    }
    expectNothingLeft(before, "children ignored");
}

void childrenReaped() {
    const ProcessResources before = resourcesWithWorker();
    for (const bool usesHandle : {true, false}) {
        VELPOSIXTask::Options options;
        options.usesProcessHandle = usesHandle;
        VELPOSIXTask task(VEL_TASK_TOOL, {}, options);
        task.launch();
        const std::string where = usesHandle ? "by handle" : "by number";
        expectEqual(::waitpid(-1, nullptr, 0) > 0, true, where + ", reaped by the host");
        expectEqual(task.isRunning(), false, where + ", is running");
        task.terminate();
        task.waitUntilExit();
        expectEqual(task.terminationStatus(), -1, where + ", status");
        task.close();
    }
    expectNothingLeft(before, "children reaped");
}

void otherChildren() {
    const pid_t other = ::fork();
    if (other == 0) {
        ::_exit(5);
    }
    expect(run(printing("text")), "output text", "beside another child");
    expect(run({"--seconds", "30"}, 0.2), std::string("error 3 ") + terminated,
           "beside another child");
    int status = 0;
    expectEqual(::waitpid(other, &status, WNOHANG), other, "the other child is left to the host");
    expectEqual(WEXITSTATUS(status), 5, "status of the other child");
}

void signalsBlocked() {
    sigset_t all;
    sigset_t none;
    ::sigfillset(&all);
    ::sigemptyset(&none);
    for (const int signal : {SIGTERM, SIGPIPE, SIGINT, SIGHUP}) {
        std::signal(signal, SIG_IGN);
    }
    ::pthread_sigmask(SIG_SETMASK, &all, nullptr);
    expect(run({"--seconds", "30"}, 0.2), std::string("error 3 ") + terminated, "blocked");
    const Outcome report = run({"--report"});
    expectEqual(report.text.find("\nblocked\nignored\n") != std::string::npos, true,
                "no signal is blocked or ignored in the tool: " + report.text);

    sigset_t blocked;
    ::pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    expectEqual(::sigismember(&blocked, SIGTERM), 1, "SIGTERM is blocked in the host still");
    struct sigaction action = {};
    ::sigaction(SIGTERM, nullptr, &action);
    expectEqual(action.sa_handler == SIG_IGN, true, "SIGTERM is ignored in the host still");
}

std::atomic<int> handled = 0;

void interrupted() {
    struct sigaction action = {};
    action.sa_handler = [](int) { ++handled; };
    ::sigaction(SIGALRM, &action, nullptr); // without SA_RESTART
    const itimerval often = {{0, 5000}, {0, 5000}};
    ::setitimer(ITIMER_REAL, &often, nullptr);
    expect(run({"--output-hex", "6f6b", "--seconds", "0.3", "--seconds-output-is-held", "0.3"}),
           "output ok", "interrupted");
    expect(run({"--seconds", "30"}, 0.2), std::string("error 3 ") + terminated, "interrupted");
    const itimerval never = {};
    ::setitimer(ITIMER_REAL, &never, nullptr);
    expectEqual(handled > 20, true, "the host's handler ran");
}

/// Opens descriptors until there are `count`, or no more to be had. How many were opened.
std::size_t openDescriptors(std::size_t count) {
    std::size_t opened = 0;
    while (opened < count && ::open("/dev/null", O_RDWR) >= 0) {
        ++opened;
    }
    return opened;
}

void manyDescriptors() {
    constexpr rlim_t wanted = 10'200;
    rlimit limit = {};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_max < wanted) {
        skip("the machine allows fewer than 10,000 descriptors");
    }
    limit.rlim_cur = std::max(limit.rlim_cur, wanted);
    ::setrlimit(RLIMIT_NOFILE, &limit);
    expectEqual(openDescriptors(10'000), std::size_t{10'000}, "opened");
    const ProcessResources before = resourcesWithWorker();
    const Outcome report = run({"--report"});
    expect({report.text.substr(0, report.text.find('\n'))}, "output descriptors 0 1 2",
           "10,000 descriptors");
    expect(run({"--seconds", "30"}, 0.2), std::string("error 3 ") + terminated,
           "10,000 descriptors");
    expectNothingLeft(before, "10,000 descriptors");
}

void descriptorLimit() {
    if (checksTypes) {
        skip("a sanitizer that looks at an object's type needs a free descriptor");
    }
    const rlimit limit = {64, 64};
    ::setrlimit(RLIMIT_NOFILE, &limit);
    ProcessResources before = resourcesWithWorker();
    const int highest = static_cast<int>(openDescriptors(64)) + 2;
    const std::string refused =
        "error 2 Error launching task " VEL_TASK_TOOL ": Couldn't create a pipe: error 24";
    expect(run(printing("text")), refused, "none free");
    ::close(STDIN_FILENO);
    ::close(STDOUT_FILENO);
    expect(run(printing("text")), refused, "those of standard streams free");
    expectEqual(openDescriptors(64), std::size_t{2}, "free after that");
    ::close(highest);
    expect(run(printing("text")), refused, "one free");
    expectEqual(openDescriptors(64), std::size_t{1}, "free after that");
    ::close(highest);
    ::close(highest - 1);
    expect(run(printing("text")), "output text", "two free");
    expect(run({"--seconds", "30"}, 0.2), std::string("error 3 ") + terminated, "two free");
    expectEqual(openDescriptors(64), std::size_t{2}, "free after that");
    ::closefrom(3);
    before.descriptors = ProcessResources::now().descriptors;
    expectNothingLeft(before, "descriptor limit");
}

void sixteenThreads() {
    const ProcessResources before = resourcesWithWorker();
    std::vector<std::thread> threads;
    for (int number = 0; number < 16; ++number) {
        threads.emplace_back([number] {
            const std::string text = "thread " + std::to_string(number);
            for (int repetition = 0; repetition < 10; ++repetition) {
                expect(run(printing(text), 30, repetition % 2 == 0), "output " + text, text);
            }
            expect(run({"--status", std::to_string(number + 1)}),
                   "error 3 Task " VEL_TASK_TOOL " exited with status code " +
                       std::to_string(number + 1) + ".",
                   text);
            expect(run({"--seconds", "30"}, 0.2), std::string("error 3 ") + terminated, text);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    expectNothingLeft(before, "sixteen threads");
}

void largeHost() {
    constexpr std::size_t size = std::size_t{4} << 30U;
    if (hasSanitizer) {
        skip("a sanitizer multiplies the memory");
    }
    std::ifstream information("/proc/meminfo");
    std::string word;
    std::size_t available = 0;
    while (information >> word && word != "MemAvailable:") {
    }
    information >> available;
    if (available < (size >> 10U) + (std::size_t{1} << 20U)) {
        skip("less than 5 GiB of memory is available");
    }
    void* memory = ::mmap(nullptr, size, PROT_READ | PROT_WRITE,
                          MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
    if (memory == MAP_FAILED) {
        skip("the system has no 4 GiB to give");
    }
    const ProcessResources before = resourcesWithWorker();
    expect(run(printing("text")), "output text", "4 GiB resident");
    expect(run({"--seconds", "30"}, 0.2), std::string("error 3 ") + terminated, "4 GiB resident");
    expectNothingLeft(before, "4 GiB resident");
}

void noWorker() {
    if (hasSanitizer) {
        skip("a sanitizer needs more address space than can be refused");
    }
    // Room for a spawned process, not for the stack of a thread.
    std::ifstream sizes("/proc/self/statm");
    rlim_t pages = 0;
    sizes >> pages;
    const rlim_t room = pages * static_cast<rlim_t>(::sysconf(_SC_PAGESIZE)) + (rlim_t{1} << 20U);
    const rlimit limit = {room, RLIM_INFINITY};
    ::setrlimit(RLIMIT_AS, &limit);
    ProcessResources before = ProcessResources::now();
    expectEqual(platform().workQueue().after(std::chrono::seconds(0), [] { std::abort(); }), false,
                "a worker");
    expect(run({"--seconds", "30"}), std::string("error 3 ") + terminated, "no worker");
    expectNothingLeft(before, "no worker");

    const rlimit unlimited = {RLIM_INFINITY, RLIM_INFINITY};
    ::setrlimit(RLIMIT_AS, &unlimited);
    expect(run(printing("text")), "output text", "a worker again");
    ++before.threads;
    expectNothingLeft(before, "a worker again");
}

void exitWhilePending() {
    expect(run(printing("text"), 3600), "output text", "exit");
    if (failures == 0) {
        std::exit(0); // with the deadline an hour away, and the static destructors of a host
    }
}

/// A run that prints, and one that its deadline has to end.
void expectRuns(const std::string& where) {
    expect(run(printing("text")), "output text", where);
    expect(run({"--seconds", "30"}, 0.2), std::string("error 3 ") + terminated, where);
}

/// Forks, lets the child do something, and answers how many failures it had.
int forked(const std::function<void()>& inChild) {
    const pid_t process = ::fork();
    if (process == 0) {
        failures = 0;
        inChild();
        ::_exit(std::min<int>(failures, 100));
    }
    int status = 0;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 100 + WTERMSIG(status);
}

void forkWithoutExec() {
    expectRuns("before the fork");
    const ProcessResources before = resourcesWithWorker();
    const int inChild = forked([] {
        expectRuns("in the child");
        expectEqual(forked([] { expectRuns("in the child's child"); }), 0, "child's child");
        expectRuns("in the child again");
    });
    expectEqual(inChild, 0, "failures of the child");
    expectRuns("in the parent");
    expectNothingLeft(before, "in the parent");
}

/// The host reaps a tool and has another child that gets its number.
void reapAndReuseNumber() {
    VELPOSIXTask task(VEL_TASK_TOOL, {});
    task.launch();
    const pid_t number = ::waitpid(-1, nullptr, 0);
    clone_args arguments = {};
    arguments.exit_signal = SIGCHLD;
    arguments.set_tid = reinterpret_cast<std::uintptr_t>(&number);
    arguments.set_tid_size = 1;
    const auto other = static_cast<pid_t>(::syscall(SYS_clone3, &arguments, sizeof arguments));
    if (other == 0) {
        ::_exit(5);
    }
    if (other < 0) {
        skip("a process cannot choose the number of its child");
    }
    expectEqual(other, number, "number of the other child");
    task.waitUntilExit();
    expectEqual(task.terminationStatus(), -1, "status of the reaped tool");
    int status = 0;
    expectEqual(::waitpid(other, &status, 0), other, "the other child is left to the host");
    expectEqual(WEXITSTATUS(status), 5, "status of the other child");
}

void numberReused() {
    const int result = forked([] {
        // Where nobody else takes a number.
        if (::unshare(CLONE_NEWUSER | CLONE_NEWPID) != 0) {
            skip("no numbers of processes of its own");
        }
        failures = forked(reapAndReuseNumber);
    });
    if (result == skipped) {
        ::_exit(skipped);
    }
    expectEqual(result, 0, "failures of the host");
}

// The lock of the queue is likely to be held at some of these forks.
void forkWhileBusy() {
    const ProcessResources before = resourcesWithWorker();
    std::atomic<bool> stop = false;
    std::thread busy([&stop] {
        while (!stop) {
            platform().workQueue().after(std::chrono::microseconds(10), [] {});
        }
    });
    for (int fork = 0; fork < 40; ++fork) {
        expectEqual(forked([] { expect(run(printing("text")), "output text", "busy child"); }), 0,
                    "failures of a busy child");
    }
    stop = true;
    busy.join();
    expectRuns("busy parent");
    expectNothingLeft(before, "busy parent");
}

class SilentLogger final : public VELHostLogger {
public:
    void logMessage(std::string_view, std::int64_t, const char*, const char*,
                    std::int32_t) noexcept override {}
};

// The lock of the process-wide logger is likely to be held at some of these forks.
void forkWhileLogging() {
    VELDTLogger::setLogger(std::make_shared<SilentLogger>());
    const auto log = [] { VELDTLogger::logMessageWithLevel(VELLogLevel::trace, "host", "busy"); };
    std::atomic<bool> stop = false;
    std::thread busy([&stop, log] {
        while (!stop) {
            log();
        }
    });
    for (int fork = 0; fork < 200; ++fork) {
        const int inChild = forked([log] {
            ::alarm(10); // whoever waits for a lock for ever dies of it
            log();
        });
        expectEqual(inChild, 0, "failures of a child that logs");
        if (inChild != 0) {
            break;
        }
    }
    stop = true;
    busy.join();
    VELDTLogger::setLogger(nullptr);
}

void environment() {
    ::setenv("VEL_TASK_TEST", "inherited", 1);
    const int input = ::open("/usr", O_RDONLY | O_CLOEXEC);
    if (::chdir("/usr") != 0 || ::dup2(input, STDIN_FILENO) != STDIN_FILENO) {
        skip("no /usr");
    }
    const std::string report = run({"--report"}).text;
    const std::string streams =
        "\ninput " + fileAt(STDIN_FILENO) + "\nerror " + fileAt(STDERR_FILENO) + "\n";
    expectEqual(report.find(streams) != std::string::npos, true, "inherits" + streams);
    const std::string end = "directory /usr\nvariable inherited\n";
    expectEqual(report.substr(report.find("directory")), end, "inherited");
}

/// The entries of a result, without what differs from run to run.
std::string answersOfTheChecks() {
    const auto runner = VELPostureCheckRunner::macPostureCheckRunner(nullptr);
    const VELDictionary result = runner->runDeviceTrustCheckFromDictionary(
        {{"mac",
          {{{"type", "localFirewall"}},
           {{"type", "certificatePresent"}, {"sha1", "00"}},
           {{"type", "perDeviceCertificatePresent"}, {"cert", "AAAA"}},
           {{"type", "minimumOSVersion"}, {"version", "0"}}}}});
    return result["checks"].dump();
}

void checksWithoutStreams() {
    const std::string expected = answersOfTheChecks();
    reportDescriptor = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 100);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        ::close(stream);
    }
    expectEqual(answersOfTheChecks(), expected, "with closed standard streams");
}

/// Makes requests when the static objects made after it are gone.
class LastRequest {
public:
    ~LastRequest() {
        if (_expected != answersOfTheChecks()) {
            ::_exit(1);
        }
    }
    void expect(std::string answers) { _expected = std::move(answers); }

private:
    std::string _expected;
};

void staticDestructor() {
    static LastRequest last;
    last.expect(answersOfTheChecks());
}

const std::map<std::string, void (*)()> scenarios = {
    {"closed-streams", closedStreams},
    {"children-ignored", childrenIgnored},
    {"children-reaped", childrenReaped},
    {"other-children", otherChildren},
    {"signals-blocked", signalsBlocked},
    {"interrupted", interrupted},
    {"many-descriptors", manyDescriptors},
    {"descriptor-limit", descriptorLimit},
    {"sixteen-threads", sixteenThreads},
    {"large-host", largeHost},
    {"no-worker", noWorker},
    {"exit-while-pending", exitWhilePending},
    {"fork-without-exec", forkWithoutExec},
    {"fork-while-busy", forkWhileBusy},
    {"fork-while-logging", forkWhileLogging},
    {"environment", environment},
    {"checks-without-streams", checksWithoutStreams},
    {"static-destructor", staticDestructor},
    {"number-reused", numberReused},
};

} // namespace

int main(int count, char** words) {
    const auto scenario = count == 2 ? scenarios.find(words[1]) : scenarios.end();
    if (scenario == scenarios.end()) {
        say("usage: task-host SCENARIO");
        return 2;
    }
    scenario->second();
    return failures == 0 ? 0 : 1;
}
