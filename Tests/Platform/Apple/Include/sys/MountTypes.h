// SPDX-License-Identifier: Apache-2.0
#pragma once

// NOLINTBEGIN

#define MFSTYPENAMELEN 16

/// Only the fields in use.
struct statfs {
    char f_fstypename[MFSTYPENAMELEN];
    char f_mntonname[1024];
    char f_mntfromname[1024];
};

// NOLINTEND
