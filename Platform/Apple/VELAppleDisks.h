// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELDiskArbitration.h"

/// The disks of this Mac, through DiskArbitration. Each question is answered by the service afresh,
/// without a time-out.
class VELAppleDisks final : public VELDiskArbitration {
public:
    [[nodiscard]] std::unique_ptr<VELDiskSession> createSession() const override;
    [[nodiscard]] std::optional<std::vector<VELMount>> mountTable() const override;
};
