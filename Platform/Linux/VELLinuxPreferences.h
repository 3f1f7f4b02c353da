// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELPreferences.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>

/// Preferences as property lists (XML or binary), one file per application ID:
/// "/etc/vel_device_trust/preferences/APPID.plist" machine-wide, for the user the same name under
/// "vel_device_trust/preferences" of the folder for the user's configuration. Each look-up reads
/// its file afresh.
///
/// A store that cannot be read is absent, as the interface says: a file that may not be read, that
/// is longer than a property list may be, that does not parse, or that holds no dictionary. An
/// application ID that names no file of its folder (empty, ".", "..", with "/" or NUL) names no
/// application.
class VELLinuxPreferences final : public VELPreferences {
public:
    using Folder = std::function<std::optional<std::string>()>;

    /// `root` stands before the machine-wide path, empty for the machine itself.
    explicit VELLinuxPreferences(std::string root = {},
                                 Folder userConfiguration = userConfigurationFolder);

    [[nodiscard]] std::optional<VELValue> copyValue(std::string_view key,
                                                    std::string_view applicationID,
                                                    VELPreferencesScope scope) const override;

    /// Reads the machine-wide store alone: what a check trusts, a user must not be able to say.
    [[nodiscard]] IntegerValue appIntegerValue(std::string_view key,
                                               std::string_view applicationID) const override;

    /// The folder for the configuration of the user that runs this process: XDG_CONFIG_HOME where
    /// it is an absolute path, else ".config" in HOME, else in the home folder that the user
    /// database names. A process with raised privileges trusts none of its environment. Absent:
    /// none of these is known.
    static std::optional<std::string> userConfigurationFolder();

private:
    std::string _machineFolder;
    Folder _userConfiguration;
};
