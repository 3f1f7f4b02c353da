// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELPlatform.h"
#include "Tools/vel-posture/ReportText.h"

#include <memory>
#include <string>
#include <vector>

/// Whether a source of answers can be asked.
struct Diagnosis {
    /// "firewall", "disks" and so on.
    std::string source;
    bool canBeAsked;
    /// As in `Evidence`.
    std::string code;
    std::string text;
    /// How to fix it; empty if nothing is known or nothing is wrong.
    std::string remedy;
};

/// Asks every source of `platform` once. Switches the log of the process off.
std::vector<Diagnosis> diagnosesOf(const std::shared_ptr<const VELPlatform>& platform);

/// The diagnoses as a report for people, and as the document {"sources": [...]}.
std::string diagnosisReport(const std::vector<Diagnosis>& diagnoses, const ReportStyle& style);
std::string diagnosisJSON(const std::vector<Diagnosis>& diagnoses);
