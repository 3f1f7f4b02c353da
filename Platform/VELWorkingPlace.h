// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Where the tools of one query leave files for each other: a signature's certificates, which the
/// next tool reads. On macOS the host's current directory; on Linux a file in memory that each tool
/// inherits. Nothing of it is left when the place and its tasks are gone, unless the tools of macOS
/// leave it.
class VELWorkingPlace {
public:
    virtual ~VELWorkingPlace() = default;
};
