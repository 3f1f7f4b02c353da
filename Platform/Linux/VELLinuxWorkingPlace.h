// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/POSIX/VELDescriptor.h"
#include "Platform/VELWorkingPlace.h"

/// A file in memory, without a name. It is gone with the last process that holds it, so that a host
/// that is killed leaves nothing behind, and no other query can reach it.
class VELLinuxWorkingPlace final : public VELWorkingPlace {
public:
    VELLinuxWorkingPlace();

    /// None when the file could not be made.
    [[nodiscard]] const VELDescriptor& file() const { return _file; }

private:
    VELDescriptor _file;
};
