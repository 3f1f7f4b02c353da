// SPDX-License-Identifier: Apache-2.0
//
// The Mac's calls to start a child and to learn of its exit, over those of the C library here. This
// file alone is compiled without the declarations of the Mac.
#include "Tests/Platform/Apple/StandIns/StandInSpawn.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <mutex>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr int setSignalDefaults = 0x0004;
constexpr int setSignalMask = 0x0008;
constexpr int closeByDefault = 0x4000;
constexpr int firstBeyondStandardStreams = 3;

std::mutex spawnMutex;

struct Attributes {
    short flags = 0;
    sigset_t mask{};
    sigset_t defaults{};
};

struct Action {
    enum class Kind { duplicate, open, inherit };
    Kind kind;
    int descriptor; ///< the one that the child gets
    int source = -1;
    std::string path = {};
    int flags = 0;
    mode_t mode = 0;

    [[nodiscard]] std::string text() const {
        const std::string number = std::to_string(descriptor);
        switch (kind) {
        case Kind::duplicate:
            return "dup2 " + std::to_string(source) + " " + number;
        case Kind::open:
            return "open " + number + " " + path;
        case Kind::inherit:
            return "inherit " + number;
        }
        std::abort();
    }
};
using Actions = std::vector<Action>;

/// The error number that the call is to answer, or 0.
int failureOf(const char* call) {
    const std::scoped_lock lock(spawnMutex);
    const auto& failures = StandInSpawn::ofProgram().failures;
    const auto failure = failures.find(call);
    return failure == failures.end() ? 0 : failure->second;
}

void countAlive(int change) {
    const std::scoped_lock lock(spawnMutex);
    StandInSpawn::ofProgram().leftAlive += change;
}

template <typename Content> int initialize(void** place, const char* call) {
    if (const int failure = failureOf(call)) {
        return failure;
    }
    *place = new Content;
    countAlive(1);
    return 0;
}

/// One whose making failed is null, and may be destroyed as well.
template <typename Content> int destroy(void** place) {
    if (*place != nullptr) {
        delete static_cast<Content*>(std::exchange(*place, nullptr));
        countAlive(-1);
    }
    return 0;
}

/// Applies `change` to what was made at `place`, unless the call is to fail.
template <typename Content, typename Change>
int change(void* const* place, const char* call, Change apply) {
    const int failure = *place == nullptr ? EINVAL : failureOf(call);
    if (failure == 0) {
        apply(*static_cast<Content*>(*place));
    }
    return failure;
}

void addAction(posix_spawn_file_actions_t& real, const Action& action) {
    switch (action.kind) {
    case Action::Kind::duplicate:
        ::posix_spawn_file_actions_adddup2(&real, action.source, action.descriptor);
        break;
    case Action::Kind::open:
        ::posix_spawn_file_actions_addopen(&real, action.descriptor, action.path.c_str(),
                                           action.flags, action.mode);
        break;
    case Action::Kind::inherit:
        ::posix_spawn_file_actions_adddup2(&real, action.descriptor, action.descriptor);
        break;
    }
}

/// Closes in the child what no action names.
void closeOthers(posix_spawn_file_actions_t& real, const Actions& actions) {
    int last = firstBeyondStandardStreams - 1;
    for (const Action& action : actions) {
        last = std::max(last, action.descriptor);
    }
    for (int descriptor = 0; descriptor <= last; ++descriptor) {
        const bool isNamed = std::any_of(actions.begin(), actions.end(), [&](const Action& action) {
            return action.descriptor == descriptor;
        });
        if (!isNamed) {
            ::posix_spawn_file_actions_addclose(&real, descriptor);
        }
    }
    ::posix_spawn_file_actions_addclosefrom_np(&real, last + 1);
}

int spawn(pid_t* process, const char* path, const Actions& actions, const Attributes& attributes,
          char* const arguments[], char* const environment[]) {
    posix_spawn_file_actions_t realActions;
    posix_spawnattr_t realAttributes;
    ::posix_spawn_file_actions_init(&realActions);
    ::posix_spawnattr_init(&realAttributes);
    for (const Action& action : actions) {
        addAction(realActions, action);
    }
    if ((attributes.flags & closeByDefault) != 0) {
        closeOthers(realActions, actions);
    }
    int flags = 0;
    if ((attributes.flags & setSignalMask) != 0) {
        flags |= POSIX_SPAWN_SETSIGMASK;
        ::posix_spawnattr_setsigmask(&realAttributes, &attributes.mask);
    }
    if ((attributes.flags & setSignalDefaults) != 0) {
        flags |= POSIX_SPAWN_SETSIGDEF;
        ::posix_spawnattr_setsigdefault(&realAttributes, &attributes.defaults);
    }
    ::posix_spawnattr_setflags(&realAttributes, static_cast<short>(flags));
    const int error =
        ::posix_spawn(process, path, &realActions, &realAttributes, arguments, environment);
    ::posix_spawn_file_actions_destroy(&realActions);
    ::posix_spawnattr_destroy(&realAttributes);
    return error;
}

bool namesClosedDescriptor(const Action& action) {
    return action.kind == Action::Kind::inherit && ::fcntl(action.descriptor, F_GETFD) < 0;
}

} // namespace

StandInSpawn& StandInSpawn::ofProgram() {
    static StandInSpawn spawn;
    return spawn;
}

// NOLINTBEGIN: names of the Mac
extern "C" {

int stand_in_posix_spawnattr_init(void** attributes) {
    return initialize<Attributes>(attributes, "posix_spawnattr_init");
}

int stand_in_posix_spawnattr_destroy(void** attributes) {
    return destroy<Attributes>(attributes);
}

int stand_in_posix_spawnattr_getflags(void* const* attributes, short* flags) {
    return change<Attributes>(attributes, "posix_spawnattr_getflags",
                              [&](const Attributes& content) { *flags = content.flags; });
}

int stand_in_posix_spawnattr_setflags(void** attributes, short flags) {
    return change<Attributes>(attributes, "posix_spawnattr_setflags",
                              [&](Attributes& content) { content.flags = flags; });
}

int stand_in_posix_spawnattr_setsigdefault(void** attributes, const sigset_t* signals) {
    return change<Attributes>(attributes, "posix_spawnattr_setsigdefault",
                              [&](Attributes& content) { content.defaults = *signals; });
}

int stand_in_posix_spawnattr_setsigmask(void** attributes, const sigset_t* signals) {
    return change<Attributes>(attributes, "posix_spawnattr_setsigmask",
                              [&](Attributes& content) { content.mask = *signals; });
}

int stand_in_posix_spawn_file_actions_init(void** actions) {
    return initialize<Actions>(actions, "posix_spawn_file_actions_init");
}

int stand_in_posix_spawn_file_actions_destroy(void** actions) {
    return destroy<Actions>(actions);
}

int stand_in_posix_spawn_file_actions_adddup2(void** actions, int descriptor, int newDescriptor) {
    return change<Actions>(actions, "posix_spawn_file_actions_adddup2", [&](Actions& content) {
        content.push_back({Action::Kind::duplicate, newDescriptor, descriptor});
    });
}

int stand_in_posix_spawn_file_actions_addopen(void** actions, int descriptor, const char* path,
                                              int flags, mode_t mode) {
    return change<Actions>(actions, "posix_spawn_file_actions_addopen", [&](Actions& content) {
        content.push_back({Action::Kind::open, descriptor, -1, path, flags, mode});
    });
}

int stand_in_posix_spawn_file_actions_addinherit_np(void** actions, int descriptor) {
    return change<Actions>(actions, "posix_spawn_file_actions_addinherit_np",
                           [&](Actions& content) {
                               content.push_back({Action::Kind::inherit, descriptor});
                           });
}

int stand_in_posix_spawn(pid_t* process, const char* path, void* const* actions,
                         void* const* attributes, char* const arguments[],
                         char* const environment[]) {
    const auto& wantedActions = *static_cast<const Actions*>(*actions);
    const auto& wantedAttributes = *static_cast<const Attributes*>(*attributes);
    StandInSpawn::Request request = {path, wantedAttributes.flags, {}, true};
    for (const Action& action : wantedActions) {
        request.actions.push_back(action.text());
        if (action.kind == Action::Kind::duplicate &&
            (::fcntl(action.source, F_GETFD) & FD_CLOEXEC) == 0) {
            request.sourcesCloseOnExec = false;
        }
    }
    {
        const std::scoped_lock lock(spawnMutex);
        StandInSpawn::ofProgram().requests.push_back(std::move(request));
    }
    if (const int failure = failureOf("posix_spawn")) {
        return failure;
    }
    if (std::any_of(wantedActions.begin(), wantedActions.end(), namesClosedDescriptor)) {
        return EBADF;
    }
    return spawn(process, path, wantedActions, wantedAttributes, arguments, environment);
}

/// Leaves `information` alone when there is nothing to tell.
int stand_in_waitid(idtype_t kind, id_t identifier, siginfo_t* information, int options) {
    siginfo_t found = {};
    const int result = ::waitid(kind, identifier, &found, options);
    if (result == 0 && found.si_pid != 0) {
        if (found.si_code == CLD_EXITED) {
            found.si_status |= StandInSpawn::ofProgram().furtherExitBits;
        }
        *information = found;
    }
    return result;
}

} // extern "C"
// NOLINTEND
