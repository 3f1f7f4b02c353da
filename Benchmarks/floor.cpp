// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cctype>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <poll.h>
#include <spawn.h>
#include <string_view>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

// The floor of two helper programs in whole-program.py: the system calls that they make after their
// start, with the same buffers, and nothing else. It is linked statically.
//
//     floor processes                 what process-listing calls for /proc
//     floor firewall [PROGRAM]        what firewall-state calls, with or without its two runs of
//     nft floor -j|-a list ruleset        in nft's place: prints an empty set of rules

namespace {

using Buffer = std::array<char, 65'536>;

void begin() {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::signal(SIGCHLD, SIG_DFL);
}

void require(bool holds, const char* what) {
    if (!holds) {
        std::perror(what);
        std::exit(1);
    }
}

void print(std::string_view text) {
    require(::write(STDOUT_FILENO, text.data(), text.size()) >= 0, "write");
}

void processes() {
    static Buffer listing;
    std::array<char, 4096> buffer; // NOLINT: filled by read
    DIR* folder = ::opendir("/proc");
    require(folder != nullptr, "/proc");
    const int descriptor = ::dirfd(folder);
    while (const dirent* entry = ::readdir(folder)) {
        if (std::isdigit(static_cast<unsigned char>(*entry->d_name)) == 0) {
            continue;
        }
        std::array<char, NAME_MAX + sizeof "/stat"> path; // NOLINT: filled by snprintf
        std::snprintf(path.data(), path.size(), "%s/stat", entry->d_name);
        const int file = ::openat(descriptor, path.data(), O_RDONLY | O_CLOEXEC);
        if (file < 0) {
            continue;
        }
        const ssize_t length = ::read(file, buffer.data(), buffer.size() - 1);
        ::close(file);
        buffer[static_cast<std::size_t>(length > 0 ? length : 0)] = '\0';
        // The ninth field has the flags; a kernel thread is not looked at further.
        const char* name = std::strrchr(buffer.data(), ')');
        unsigned flags = 0;
        constexpr unsigned kernelThread = 0x00200000;
        if (name == nullptr || std::sscanf(name, ") %*c %*d %*d %*d %*d %*d %u", &flags) != 1 ||
            (flags & kernelThread) != 0) {
            continue;
        }
        std::snprintf(path.data(), path.size(), "%s/exe", entry->d_name);
        std::array<char, PATH_MAX> target; // NOLINT: filled by readlinkat
        static_cast<void>(!::readlinkat(descriptor, path.data(), target.data(), target.size()));
    }
    ::closedir(folder);
    ::fcntl(STDOUT_FILENO, F_GETPIPE_SZ);
    print({listing.data(), 4096});
}

/// The answer to a question about all links or routes.
void askNetwork(unsigned short type) {
    static Buffer buffer;
    const int connection = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
    const timeval limit = {2, 0};
    ::setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    struct {
        nlmsghdr header;
        rtgenmsg family;
    } request = {};
    request.header.nlmsg_len = NLMSG_LENGTH(sizeof request.family);
    request.header.nlmsg_type = type;
    request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    require(::send(connection, &request, request.header.nlmsg_len, 0) > 0, "netlink");
    for (bool ends = false; !ends;) {
        ssize_t left = ::recv(connection, buffer.data(), buffer.size(), 0);
        require(left > 0, "netlink");
        const auto* message = reinterpret_cast<const nlmsghdr*>(buffer.data());
        for (; NLMSG_OK(message, left); message = NLMSG_NEXT(message, left)) {
            ends = ends || message->nlmsg_type == NLMSG_DONE || message->nlmsg_type == NLMSG_ERROR;
        }
    }
    ::close(connection);
}

/// A run of a program, and the pipe that it writes to.
struct Child {
    pid_t process;
    int handle;
    int output;
};

Child startChild(char* program, const char* form) {
    std::array<int, 2> ends{};
    struct stat status;
    require(::stat(program, &status) == 0 &&
                ::faccessat(AT_FDCWD, program, X_OK, AT_EACCESS) == 0 &&
                ::pipe2(ends.data(), O_CLOEXEC) == 0,
            program);
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    sigset_t none;
    sigset_t all;
    ::sigemptyset(&none);
    ::sigfillset(&all);
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawnattr_init(&attributes);
    ::posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDWR, 0);
    ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_RDWR, 0);
    ::posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    ::posix_spawnattr_setsigmask(&attributes, &none);
    ::posix_spawnattr_setsigdefault(&attributes, &all);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    std::array<char, 3> option = {'-', form[1], '\0'};
    std::array<char, 5> list = {"list"};
    std::array<char, 8> ruleset = {"ruleset"};
    std::array<char*, 5> arguments = {program, option.data(), list.data(), ruleset.data(), nullptr};
    std::array<char*, 1> environment = {nullptr};
    pid_t process = 0;
    require(::posix_spawn(&process, program, &actions, &attributes, arguments.data(),
                          environment.data()) == 0,
            program);
    ::close(ends[1]);
    return {process, static_cast<int>(::syscall(SYS_pidfd_open, process, 0)), ends[0]};
}

void readChild(const Child& child) {
    static Buffer buffer;
    pollfd exited = {child.handle, POLLIN, 0};
    pollfd readable = {child.output, POLLIN, 0};
    do {
        ::poll(&readable, 1, 4000);
    } while (::read(child.output, buffer.data(), buffer.size()) > 0);
    ::poll(&exited, 1, 4000);
    siginfo_t information;
    ::waitid(P_PID, static_cast<id_t>(child.process), &information, WEXITED | WNOWAIT);
    ::waitid(P_PID, static_cast<id_t>(child.process), &information, WEXITED);
    ::close(child.handle);
    ::close(child.output);
}

void firewall(char* program) {
    ::signal(SIGALRM, SIG_DFL);
    ::alarm(6);
    std::array<Child, 2> children{};
    if (program != nullptr) {
        children = {startChild(program, "-j"), startChild(program, "-a")};
    }
    askNetwork(RTM_GETLINK);
    askNetwork(RTM_GETROUTE);
    struct stat status;
    ::stat("/proc/sys/net", &status);
    ::stat("/proc/sys/net/ipv6", &status);
    if (DIR* folder = ::opendir("/proc/sys/net/ipv6/conf")) {
        while (const dirent* entry = ::readdir(folder)) {
            if (*entry->d_name == '.' || std::strcmp(entry->d_name, "lo") == 0) {
                continue;
            }
            std::array<char, PATH_MAX> path; // NOLINT: filled by snprintf
            std::snprintf(path.data(), path.size(), "/proc/sys/net/ipv6/conf/%s/disable_ipv6",
                          entry->d_name);
            const int file = ::open(path.data(), O_RDONLY | O_CLOEXEC);
            ::fstat(file, &status);
            std::array<char, 4096> buffer; // NOLINT: filled by read
            const ssize_t length = ::read(file, buffer.data(), buffer.size());
            static_cast<void>(!::read(file, buffer.data() + 2, buffer.size() - 2));
            ::close(file);
            if (length < 1 || buffer[0] == '0') {
                break;
            }
        }
        ::closedir(folder);
    }
    if (program != nullptr) {
        readChild(children[0]);
        readChild(children[1]);
    }
    print("Firewall is disabled. (State = 0)\n");
}

} // namespace

int main(int count, char** arguments) {
    const std::string_view what = count > 1 ? arguments[1] : "";
    if (what == "-j") {
        print(R"({"nftables": [{"metainfo": {"version": "1.0.6", "json_schema_version": 1}}]})"
              "\n");
    } else if (what == "processes") {
        begin();
        processes();
    } else if (what == "firewall") {
        begin();
        firewall(count > 2 ? arguments[2] : nullptr);
    } else if (what != "-a") {
        std::fprintf(stderr, "usage: floor processes | firewall [PROGRAM] | -j | -a\n");
        return 2;
    }
    return 0;
}
