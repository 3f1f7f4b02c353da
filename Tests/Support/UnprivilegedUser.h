// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/POSIX/VELDescriptor.h"

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
    const VELDescriptor reader(ends[0]);
    VELDescriptor writer(ends[1]);
    const pid_t child = ::fork();
    if (child == 0) {
        const bool dropped = ::setgroups(0, nullptr) == 0 && ::setresgid(user, user, user) == 0 &&
                             ::setresuid(user, user, user) == 0;
        const std::string answer = dropped ? question() : "root's rights cannot be given up";
        ::_exit(vel::writeAll(writer.get(), answer));
    }
    writer.close();
    std::string answer;
    int status = 0;
    if (child < 0 || vel::readAll(reader.get(), answer) != 0 ||
        ::waitpid(child, &status, 0) != child || status != 0) {
        throw std::runtime_error("the unprivileged child failed");
    }
    return answer;
}
