// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELFiles.h"

/// The files of the machine.
class VELPOSIXFiles final : public VELFiles {
public:
    /// `root` stands before the absolute paths that are asked, empty for the machine itself.
    explicit VELPOSIXFiles(std::string root = {});

    [[nodiscard]] bool exists(const std::string& path) const override;
    [[nodiscard]] std::optional<std::string> read(const std::string& path) const override;

private:
    std::string _root;
};
