// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/explain/FurtherQuestions.h"

#include "Classes/Mac/NSTask+Timeout.h"
#include "Classes/Mac/VELCertificateCheck.h"
#include "Tools/vel-posture/explain/ExplainedResult.h"
#include "Tools/vel-posture/explain/ToolEvidence.h"

using namespace vel::recorded;

namespace {

/// A tool of macOS itself has no such argument: only a helper that stands for it is asked.
bool canSayWhy(const Run& run) {
    return !run.command.empty() && run.launchPath != run.command.front() && !run.launchFailure &&
           !run.terminatedAfter && !asksWhy(run);
}

void askWhy(const Run& run, const VELPlatform& platform) {
    std::vector<std::string> arguments(run.command.begin() + 1, run.command.end());
    arguments.emplace_back(whyArgument);
    static_cast<void>(
        runWithTimeout(platform.task(run.command.front(), std::move(arguments), nullptr),
                       toolTimeout, nullptr, platform));
}

class FurtherQuestions {
public:
    explicit FurtherQuestions(const VELPlatform& platform) : _platform(platform) {}

    void operator()(const Run& run) const {
        const bool isSilent = run.outputState == Run::Output::complete && run.output.empty() &&
                              speaks(run.command.front());
        if (canSayWhy(run) && (run.status.value_or(0) > 0 || isSilent)) {
            askWhy(run, _platform);
        }
    }

    void operator()(const PreferenceInteger& integer) const {
        using enum VELPreferencesScope;
        const VELPreferences& preferences = _platform.preferences();
        if (!integer.value.found &&
            !preferences.copyValue(integer.key, integer.applicationID, anyUser)) {
            static_cast<void>(
                preferences.copyValue(integer.key, integer.applicationID, currentUser));
        }
    }

    void operator()(const Certificates& certificates) const {
        askKeychainHelper(certificates.status);
    }

    void operator()(const Identities& identities) const {
        askKeychainHelper(identities.status);
        if (identities.status == VELSecurityStatus::itemNotFound) {
            static_cast<void>(_platform.keychain().allIdentities());
            static_cast<void>(
                _platform.keychain().certificates(VELCertificateCheck::maximumCertificates));
        }
    }

    template <typename Other> void operator()(const Other& /*answer*/) const {}

private:
    /// Whether a tool that knows its answer prints something.
    static bool speaks(std::string_view tool) {
        return tool == "/usr/libexec/ApplicationFirewall/socketfilterfw" ||
               tool == "/usr/sbin/dsconfigad";
    }

    /// Where a helper reads the keychains, it knows why that failed.
    void askKeychainHelper(VELSecurityStatus status) const {
        if (status == VELSecurityStatus::success || status == VELSecurityStatus::itemNotFound) {
            return;
        }
        const auto task = _platform.task(keychainTool, {std::string(whyArgument)}, nullptr);
        if (task->launchPath() != keychainTool) {
            static_cast<void>(runWithTimeout(task, toolTimeout, nullptr, _platform));
        }
    }

    const VELPlatform& _platform;
};

} // namespace

void askFurther(std::span<const VELRecordedAnswer> answers, const VELPlatform& platform) {
    for (const VELRecordedAnswer& answer : answers) {
        std::visit(FurtherQuestions(platform), answer.answer);
    }
}

void askFurther(VELRecording& recording, const VELPlatform& platform) {
    for (const auto& [entry, answers] : answersByEntry(recording.answers())) {
        recording.setEntry(entry);
        askFurther(answers, platform);
    }
    recording.setEntry(std::nullopt);
}
