// SPDX-License-Identifier: Apache-2.0
#pragma once

extern "C" int getmntinfo_r_np(struct statfs** mounts, int flags);
