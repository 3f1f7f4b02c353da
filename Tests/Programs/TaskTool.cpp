// SPDX-License-Identifier: Apache-2.0
//
// A tool that behaves as it is told, for tests of child processes. Options come in any order:
//   --output-hex BYTES, --output-size COUNT   what it prints (COUNT times "x")
//   --status N, --signal N                    how it ends
//   --seconds N                               how long it runs
//   --status-on-termination N                 exits with this when it is asked to end
//   --ignore-termination                      goes on when it is asked to end
//   --seconds-output-is-held N                leaves a process behind that holds its output
//   --close-output                            closes its standard output once it has printed
//   --report                                  prints what it inherited, one line each
//   --ready-file PATH                         makes this file once it is ready to be asked to end

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

struct Behaviour {
    std::string output;
    int status = 0;
    int signal = 0;
    double seconds = 0;
    int statusOnTermination = -1;
    bool ignoresTermination = false;
    double secondsOutputIsHeld = 0;
    bool closesOutput = false;
    bool reports = false;
    std::string readyFile;
};

std::string bytesOf(std::string_view hexadecimal) {
    std::string bytes;
    for (std::size_t at = 0; at + 1 < hexadecimal.size(); at += 2) {
        bytes += static_cast<char>(std::stoi(std::string(hexadecimal.substr(at, 2)), nullptr, 16));
    }
    return bytes;
}

Behaviour parse(const std::vector<std::string>& words) {
    Behaviour behaviour;
    for (std::size_t at = 1; at < words.size(); ++at) {
        const std::string& option = words[at];
        const auto value = [&] { return words.at(++at); };
        if (option == "--output-hex") {
            behaviour.output = bytesOf(value());
        } else if (option == "--output-size") {
            behaviour.output.assign(std::stoul(value()), 'x');
        } else if (option == "--status") {
            behaviour.status = std::stoi(value());
        } else if (option == "--signal") {
            behaviour.signal = std::stoi(value());
        } else if (option == "--seconds") {
            behaviour.seconds = std::stod(value());
        } else if (option == "--status-on-termination") {
            behaviour.statusOnTermination = std::stoi(value());
        } else if (option == "--ignore-termination") {
            behaviour.ignoresTermination = true;
        } else if (option == "--seconds-output-is-held") {
            behaviour.secondsOutputIsHeld = std::stod(value());
        } else if (option == "--close-output") {
            behaviour.closesOutput = true;
        } else if (option == "--report") {
            behaviour.reports = true;
        } else if (option == "--ready-file") {
            behaviour.readyFile = value();
        } else {
            std::abort();
        }
    }
    return behaviour;
}

void sleepFor(double seconds) {
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

int exitStatusOnTermination = 0;

void handleTermination(const Behaviour& behaviour) {
    if (behaviour.ignoresTermination) {
        std::signal(SIGTERM, SIG_IGN);
    } else if (behaviour.statusOnTermination >= 0) {
        exitStatusOnTermination = behaviour.statusOnTermination;
        std::signal(SIGTERM, [](int) { ::_exit(exitStatusOnTermination); });
    }
}

// The process left behind learns from the end of a pipe that the tool has exited. It holds the
// tool's output alone: whoever waits for the end of what the tests print would wait for it, too.
void leaveProcessBehind(double seconds) {
    int ends[2];
    if (::pipe(ends) != 0) {
        std::abort();
    }
    const pid_t process = ::fork();
    if (process == 0) {
        ::close(ends[1]);
        ::close(STDERR_FILENO);
        char nothing = 0;
        while (::read(ends[0], &nothing, 1) < 0 && errno == EINTR) {
        }
        sleepFor(seconds);
        ::_exit(0);
    }
    ::close(ends[0]);
}

std::string descriptors() {
    std::vector<int> open;
    DIR* folder = ::opendir("/proc/self/fd");
    if (folder == nullptr) {
        return "unknown";
    }
    while (const dirent* entry = ::readdir(folder)) {
        const int number = std::atoi(entry->d_name);
        if (entry->d_name[0] != '.' && number != ::dirfd(folder)) {
            open.push_back(number);
        }
    }
    ::closedir(folder);
    std::sort(open.begin(), open.end());
    std::string text;
    for (const int number : open) {
        text += " " + std::to_string(number);
    }
    return text;
}

std::string signalsThat(bool (*isSo)(int)) {
    std::string text;
    for (int signal = 1; signal <= SIGRTMAX; ++signal) {
        if (isSo(signal)) {
            text += " " + std::to_string(signal);
        }
    }
    return text;
}

bool isBlocked(int signal) {
    sigset_t blocked;
    ::sigprocmask(SIG_SETMASK, nullptr, &blocked);
    return ::sigismember(&blocked, signal) == 1;
}

bool isIgnored(int signal) {
    struct sigaction action = {};
    return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

std::string fileAt(int descriptor) {
    struct stat status = {};
    return ::fstat(descriptor, &status) == 0
               ? std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino)
               : "none";
}

std::string report() {
    char directory[PATH_MAX] = "";
    const char* found = ::getcwd(directory, sizeof directory);
    const char* variable = std::getenv("VEL_TASK_TEST");
    return "descriptors" + descriptors() + "\nblocked" + signalsThat(isBlocked) + "\nignored" +
           signalsThat(isIgnored) + "\ninput " + fileAt(STDIN_FILENO) + "\nerror " +
           fileAt(STDERR_FILENO) + "\ndirectory " + (found != nullptr ? found : "unknown") +
           "\nvariable " + (variable != nullptr ? variable : "none") + "\n";
}

void print(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(STDOUT_FILENO, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            std::abort();
        }
        bytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
    }
}

} // namespace

int main(int count, char** words) {
    const Behaviour behaviour = parse(std::vector<std::string>(words, words + count));
    const std::string found = behaviour.reports ? report() : "";
    handleTermination(behaviour);
    if (behaviour.secondsOutputIsHeld > 0) {
        leaveProcessBehind(behaviour.secondsOutputIsHeld);
    }
    if (!behaviour.readyFile.empty()) {
        ::close(::open(behaviour.readyFile.c_str(), O_WRONLY | O_CREAT, 0600));
    }
    print(behaviour.output + found);
    if (behaviour.closesOutput) {
        ::close(STDOUT_FILENO);
    }
    sleepFor(behaviour.seconds);
    if (behaviour.signal != 0) {
        ::prctl(PR_SET_DUMPABLE, 0); // no core file
        ::kill(::getpid(), behaviour.signal);
    }
    return behaviour.status;
}
