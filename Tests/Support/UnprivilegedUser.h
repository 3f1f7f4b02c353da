// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <grp.h>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

/// What `question` answers when a user asks whose rights are none but everybody's: in a child
/// process that gives root's rights up for those of `user`. Who is not root asks directly.
inline std::string askedWithoutPrivileges(const std::function<std::string()>& question,
                                          uid_t user = 65534) {
    if (::geteuid() != 0) {
        return question();
    }
    int ends[2];
    if (::pipe(ends) != 0) {
        throw std::runtime_error("no pipe");
    }
    const pid_t child = ::fork();
    if (child == 0) {
        const bool dropped = ::setgroups(0, nullptr) == 0 && ::setresgid(user, user, user) == 0 &&
                             ::setresuid(user, user, user) == 0;
        const std::string answer = dropped ? question() : "root's rights cannot be given up";
        const ssize_t written = ::write(ends[1], answer.data(), answer.size());
        ::_exit(written == static_cast<ssize_t>(answer.size()) ? 0 : 1);
    }
    ::close(ends[1]);
    std::string answer;
    char buffer[512];
    for (ssize_t count = 0; (count = ::read(ends[0], buffer, sizeof buffer)) > 0;) {
        answer.append(buffer, static_cast<std::size_t>(count));
    }
    ::close(ends[0]);
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) != child || status != 0) {
        throw std::runtime_error("the unprivileged child failed");
    }
    return answer;
}
