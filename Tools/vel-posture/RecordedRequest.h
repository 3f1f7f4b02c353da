// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Recording/VELRecording.h"
#include "Platform/VELPlatform.h"
#include "vel_device_trust/VELPostureCheckRunner.h"

#include <memory>

/// A catalogue of the same checks, which tell `recording` to which entry of `request` the answers
/// belong: the first check that runs is that of the first entry that reaches one, and so on.
/// `request` is the request that is run, once.
VELPostureCheckCatalogue catalogueWithRecording(const VELPostureCheckCatalogue& catalogue,
                                                const VELValue& request,
                                                std::shared_ptr<VELRecording> recording);
