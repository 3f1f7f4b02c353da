// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Linux/VELLinuxMachineID.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>

/// The serial number of the machine: what its firmware says of the product, the chassis, the board
/// (DMI) or the device tree, the first that is one; on a machine without any, an id made from its
/// machine id.
class VELLinuxSerialNumber {
public:
    using MachineID = std::function<std::optional<std::string>()>;

    /// `root` stands before the absolute paths that are read, empty for the machine itself.
    explicit VELLinuxSerialNumber(std::string root = {},
                                  MachineID machineID = vel::applicationSpecificMachineID);

    /// Absent: a source that is asked before an answer is found exists but cannot be read (mostly:
    /// by anybody but root), or no source has an answer. Without spaces at its ends, UTF-8.
    ///
    /// A source that exists but cannot be read ends the search, so that one machine never has one
    /// serial number for one user and another for the next.
    [[nodiscard]] std::optional<std::string> read() const;

private:
    std::string _root;
    MachineID _machineID;
};

namespace vel {

/// The serial number in what firmware gives as one: without spaces, line ends and NULs at its ends.
/// Absent: empty, not UTF-8, with control characters, or a placeholder that the maker left in
/// ("To be filled by O.E.M.", "Default string", "0123456789", "00000000").
std::optional<std::string> serialNumberFromFirmware(std::string_view bytes);

} // namespace vel
