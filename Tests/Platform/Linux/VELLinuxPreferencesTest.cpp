// SPDX-License-Identifier: Apache-2.0
#include "Platform/Linux/VELLinuxPreferences.h"
#include "Tests/Support/Oracle.h"
#include "Tests/Support/PropertyListText.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Tests/Support/UnprivilegedUser.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr VELPreferencesScope anyUser = VELPreferencesScope::anyUser;
constexpr VELPreferencesScope currentUser = VELPreferencesScope::currentUser;
constexpr const char* application = "com.example.product";
constexpr const char* machineFile = "etc/vel_device_trust/preferences/com.example.product.plist";
constexpr const char* userFile = "user/vel_device_trust/preferences/com.example.product.plist";

using Found = std::optional<VELValue>;

class LinuxPreferences : public ::testing::Test {
protected:
    Found copy(VELPreferencesScope scope) const {
        return preferences.copyValue("state", application, scope);
    }

    TemporaryFolder root;
    std::optional<std::string> userConfiguration = root.path() + "/user";
    VELLinuxPreferences preferences{root.path(), [this] { return userConfiguration; }};
};

const std::string stateOne = propertyListXML({{"state", 1}});

TEST_F(LinuxPreferences, AUserCannotSetAnInteger) {
    root.write(userFile, stateOne);
    EXPECT_FALSE(preferences.appIntegerValue("state", application).found);
    EXPECT_EQ(copy(currentUser), Found(1));

    root.write(machineFile, propertyListXML({{"state", 0}}));
    EXPECT_TRUE(preferences.appIntegerValue("state", application).found);
    EXPECT_EQ(preferences.appIntegerValue("state", application).value, 0);
}

TEST_F(LinuxPreferences, WithoutAConfigurationFolderTheUserHasNone) {
    root.write(machineFile, stateOne);
    root.write(userFile, stateOne);
    userConfiguration = std::nullopt;
    EXPECT_EQ(copy(currentUser), std::nullopt);
    EXPECT_EQ(copy(anyUser), Found(1));
}

TEST_F(LinuxPreferences, ABinaryStoreIsReadAsAnXMLOne) {
    const std::string xml = root.write("source.plist", stateOne);
    const std::string binary = root.place(machineFile);
    const auto converted = askOracle("plistutil -i '" + xml + "' -o '" + binary + "' -f bin 2>&1");
    ASSERT_EQ(converted.status, 0) << converted.output;
    EXPECT_EQ(copy(anyUser), Found(1));
    EXPECT_EQ(preferences.appIntegerValue("state", application).value, 1);
}

TEST_F(LinuxPreferences, AStoreThatIsNoDictionaryHoldsNothing) {
    for (const char* value : {"[\"state\", 1]", "\"state\"", "1", "true"}) {
        root.write(machineFile, propertyListXML(VELValue::parse(value)));
        EXPECT_EQ(copy(anyUser), std::nullopt) << value;
        EXPECT_FALSE(preferences.appIntegerValue("state", application).found) << value;
    }
}

TEST_F(LinuxPreferences, AStoreThatDoesNotParseHoldsNothing) {
    std::string everyByte;
    for (int byte = 0; byte < 256; ++byte) {
        everyByte += static_cast<char>(byte);
    }
    const std::string withNUL = stateOne.substr(0, 80) + '\0' + stateOne.substr(80);
    for (const std::string& bytes :
         {std::string(), std::string("\n"), std::string("{\"state\": 1}"), everyByte, withNUL,
          std::string("bplist00"), "bplist00" + everyByte, stateOne.substr(0, stateOne.size() / 2),
          stateOne + stateOne}) {
        root.write(machineFile, bytes);
        EXPECT_EQ(copy(anyUser), std::nullopt) << bytes;
        EXPECT_FALSE(preferences.appIntegerValue("state", application).found) << bytes;
    }
}

TEST_F(LinuxPreferences, AStoreThatIsNoFileHoldsNothing) {
    std::filesystem::create_directories(root.place(machineFile));
    EXPECT_EQ(copy(anyUser), std::nullopt);

    std::filesystem::remove(root.place(machineFile));
    ASSERT_EQ(::mkfifo(root.place(machineFile).c_str(), 0644), 0);
    EXPECT_EQ(copy(anyUser), std::nullopt);

    std::filesystem::remove(root.place(machineFile));
    std::filesystem::create_symlink("com.example.product.plist", root.place(machineFile));
    EXPECT_EQ(copy(anyUser), std::nullopt);

    std::filesystem::remove(root.place(machineFile));
    std::filesystem::create_symlink("/dev/zero", root.place(machineFile));
    EXPECT_EQ(copy(anyUser), std::nullopt);

    std::filesystem::remove(root.place(machineFile));
    root.write(machineFile, stateOne);
    EXPECT_EQ(copy(anyUser), Found(1));
}

TEST_F(LinuxPreferences, AStoreMayBeOneMebibyteLong) {
    const std::size_t limit = std::size_t{1} << 20U;
    root.write(machineFile, stateOne + std::string(limit - stateOne.size(), '\n'));
    EXPECT_EQ(copy(anyUser), Found(1));
    root.write(machineFile, stateOne + std::string(limit - stateOne.size() + 1, '\n'));
    EXPECT_EQ(copy(anyUser), std::nullopt);
}

TEST_F(LinuxPreferences, AStoreThatMayNotBeReadHoldsNothing) {
    ASSERT_EQ(::chmod(root.write(machineFile, stateOne).c_str(), 0), 0);
    const auto asked = [this] { return copy(anyUser) ? "found" : "absent"; };
    EXPECT_EQ(askedWithoutPrivileges(asked), "absent");
    ASSERT_EQ(::chmod(root.place(machineFile).c_str(), 0644), 0);
    EXPECT_EQ(askedWithoutPrivileges(asked), "found");
}

TEST_F(LinuxPreferences, NoApplicationIDLeavesTheFolderOfItsStores) {
    root.write("etc/vel_device_trust/outside.plist", stateOne);
    root.write("etc/vel_device_trust/preferences/below/inside.plist", stateOne);
    root.write("etc/vel_device_trust/preferences/.plist", stateOne);
    root.write("etc/vel_device_trust/preferences/..plist", stateOne);
    root.write("etc/vel_device_trust/preferences/...plist", stateOne);
    for (const std::string& name :
         {std::string("../outside"), std::string("below/inside"), std::string(), std::string("."),
          std::string(".."), root.path() + "/etc/vel_device_trust/outside"}) {
        EXPECT_EQ(preferences.copyValue("state", name, anyUser), std::nullopt) << name;
        EXPECT_FALSE(preferences.appIntegerValue("state", name).found) << name;
    }
}

/// Sets variables of the environment (null: unset) and puts back what was there.
class Environment {
public:
    Environment(const char* configuration, const char* home) {
        set("XDG_CONFIG_HOME", configuration);
        set("HOME", home);
    }
    ~Environment() {
        for (const auto& [name, value] : _before) {
            value ? ::setenv(name, value->c_str(), 1) : ::unsetenv(name);
        }
    }
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

private:
    void set(const char* name, const char* value) {
        const char* before = std::getenv(name);
        _before.emplace_back(name,
                             before != nullptr ? std::optional<std::string>(before) : std::nullopt);
        value != nullptr ? ::setenv(name, value, 1) : ::unsetenv(name);
    }

    std::vector<std::pair<const char*, std::optional<std::string>>> _before;
};

std::string configurationOfAccount() {
    const auto account = askOracle("getent passwd " + std::to_string(::geteuid()));
    std::size_t start = 0;
    for (int field = 0; field < 5; ++field) {
        start = account.output.find(':', start) + 1;
    }
    return account.output.substr(start, account.output.find(':', start) - start) + "/.config";
}

TEST(UserConfigurationFolder, IsWhatTheEnvironmentSays) {
    const Environment environment("/made/configuration", "/made/home");
    EXPECT_EQ(VELLinuxPreferences::userConfigurationFolder(), "/made/configuration");
}

TEST(UserConfigurationFolder, IsInTheHomeFolderWhereNoAbsolutePathIsSaid) {
    for (const char* configuration : {static_cast<const char*>(nullptr), "", "relative", "./x"}) {
        const Environment environment(configuration, "/made/home");
        EXPECT_EQ(VELLinuxPreferences::userConfigurationFolder(), "/made/home/.config");
    }
}

TEST(UserConfigurationFolder, IsInTheAccountsHomeFolderWhereNoneIsSaid) {
    for (const char* home : {static_cast<const char*>(nullptr), "", "relative"}) {
        const Environment environment(nullptr, home);
        EXPECT_EQ(VELLinuxPreferences::userConfigurationFolder(), configurationOfAccount());
    }
}

TEST(UserConfigurationFolder, IsAbsentForAUserWithoutAnAccount) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can become a user without an account";
    }
    const Environment environment(nullptr, nullptr);
    EXPECT_EQ(askedWithoutPrivileges(
                  [] { return VELLinuxPreferences::userConfigurationFolder().value_or("absent"); },
                  4'000'000'000U),
              "absent");
}

TEST(UserConfigurationFolder, IsWhereTheDefaultPreferencesLook) {
    const TemporaryFolder folder;
    folder.write("vel_device_trust/preferences/com.example.product.plist", stateOne);
    const Environment environment(folder.path().c_str(), nullptr);
    EXPECT_EQ(VELLinuxPreferences().copyValue("state", application, currentUser), Found(1));
}

} // namespace
