// SPDX-License-Identifier: Apache-2.0
#pragma once

#include_next <sys/wait.h>

// The rest of the header is the same as on other systems, the exit status that it tells is not.
extern "C" int waitid(idtype_t kind, id_t identifier, siginfo_t* information,
                      int options) __asm__("stand_in_waitid");
