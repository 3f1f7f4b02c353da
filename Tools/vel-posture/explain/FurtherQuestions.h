// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Recording/VELRecording.h"
#include "Platform/VELPlatform.h"

#include <span>

/// Asks what explaining needs beyond the `answers` that a check was given: why a helper failed or
/// printed nothing, which identities there are when none was found. `platform` records, so that its
/// answers stand behind those of the check. Logs nothing, and changes no outcome.
void askFurther(std::span<const VELRecordedAnswer> answers, const VELPlatform& platform);

/// The same for each entry in `recording`, which is that of `platform`. At its end no entry is set.
void askFurther(VELRecording& recording, const VELPlatform& platform);
