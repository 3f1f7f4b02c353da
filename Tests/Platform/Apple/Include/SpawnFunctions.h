// SPDX-License-Identifier: Apache-2.0
#pragma once

extern "C" int posix_spawn_file_actions_addinherit_np(posix_spawn_file_actions_t* actions,
                                                      int descriptor);
