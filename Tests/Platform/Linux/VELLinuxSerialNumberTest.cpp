// SPDX-License-Identifier: Apache-2.0
#include "Platform/Linux/VELLinuxSerialNumber.h"
#include "Tests/Support/Oracle.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Tests/Support/UnprivilegedUser.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace {

using vel::serialNumberFromFirmware;

constexpr const char* productSerial = "sys/class/dmi/id/product_serial";
constexpr const char* chassisSerial = "sys/class/dmi/id/chassis_serial";
constexpr const char* boardSerial = "sys/class/dmi/id/board_serial";
constexpr const char* deviceTreeSerial = "sys/firmware/devicetree/base/serial-number";
const std::vector<std::string> sources = {productSerial, chassisSerial, boardSerial,
                                          deviceTreeSerial};

class LinuxSerialNumber : public ::testing::Test {
protected:
    std::optional<std::string> read() const { return serialNumber.read(); }

    TemporaryFolder root;
    mutable int machineIDQuestions = 0;
    std::optional<std::string> machineID = "machine-id";
    VELLinuxSerialNumber serialNumber{root.path(), [this] {
                                          ++machineIDQuestions;
                                          return machineID;
                                      }};
};

TEST_F(LinuxSerialNumber, TheFirstSourceThatHasOneAnswers) {
    // From the last source to the first: each hides those after it.
    for (auto source = sources.rbegin(); source != sources.rend(); ++source) {
        root.write(*source, "S-" + std::filesystem::path(*source).filename().string() + "\n");
        EXPECT_EQ(read(), "S-" + std::filesystem::path(*source).filename().string());
    }
    EXPECT_EQ(machineIDQuestions, 0);
}

TEST_F(LinuxSerialNumber, TheDeviceTreesTrailingNULIsDropped) {
    root.write(deviceTreeSerial, std::string("10000000abcdef01\0", 17));
    EXPECT_EQ(read(), "10000000abcdef01");
}

TEST_F(LinuxSerialNumber, TheMachineIDStandsInWhereNoSourceExists) {
    EXPECT_EQ(read(), "machine-id");
    EXPECT_EQ(machineIDQuestions, 1);
    machineID = std::nullopt;
    EXPECT_EQ(read(), std::nullopt);
}

TEST_F(LinuxSerialNumber, EachPlaceholderIsPassedOver) {
    for (const std::string& source : sources) {
        root.write(source, "To Be Filled By O.E.M.\n");
    }
    EXPECT_EQ(read(), "machine-id");
    root.write(boardSerial, "BOARD-7\n");
    EXPECT_EQ(read(), "BOARD-7");
    root.write(chassisSerial, "CHASSIS-7\n");
    EXPECT_EQ(read(), "CHASSIS-7");
}

TEST_F(LinuxSerialNumber, ASourceThatMayNotBeReadEndsTheSearch) {
    for (const std::string& closed : sources) {
        const TemporaryFolder folder;
        for (const std::string& source : sources) {
            folder.write(source, "C02EXAMPLE\n");
        }
        for (const std::string& source : sources) {
            if (source == closed) {
                ASSERT_EQ(::chmod(folder.place(source).c_str(), 0), 0);
                break;
            }
            folder.write(source, "Not Specified\n");
        }
        const VELLinuxSerialNumber asked(folder.path(), [] { return std::optional("machine-id"); });
        const std::string answer =
            askedWithoutPrivileges([&] { return asked.read().value_or("absent"); });
        EXPECT_EQ(answer, "absent") << closed;
    }
}

TEST_F(LinuxSerialNumber, WhatIsReadBeforeTheClosedSourceStillAnswers) {
    root.write(productSerial, "C02EXAMPLE\n");
    ASSERT_EQ(::chmod(root.write(chassisSerial, "CHASSIS-7\n").c_str(), 0), 0);
    EXPECT_EQ(askedWithoutPrivileges([this] { return read().value_or("absent"); }), "C02EXAMPLE");
}

TEST_F(LinuxSerialNumber, ASourceThatIsNoFileEndsTheSearch) {
    std::filesystem::create_directories(root.place(productSerial));
    root.write(chassisSerial, "CHASSIS-7\n");
    EXPECT_EQ(read(), std::nullopt);

    std::filesystem::remove(root.place(productSerial));
    std::filesystem::create_symlink("product_serial", root.place(productSerial));
    EXPECT_EQ(read(), std::nullopt);

    std::filesystem::remove(root.place(productSerial));
    ASSERT_EQ(::mkfifo(root.place(productSerial).c_str(), 0644), 0);
    EXPECT_EQ(read(), std::nullopt);

    std::filesystem::remove(root.place(productSerial));
    root.write(productSerial, std::string((std::size_t{1} << 20U) + 1, 'A'));
    EXPECT_EQ(read(), std::nullopt);

    std::filesystem::remove(root.place(productSerial));
    EXPECT_EQ(read(), "CHASSIS-7");
    EXPECT_EQ(machineIDQuestions, 0);
}

TEST(SerialNumberFromFirmware, IsTheTextWithoutItsPadding) {
    for (const char* text : {"C02EXAMPLE", "C02EXAMPLE\n", "  C02EXAMPLE  \r\n", "\tC02EXAMPLE"}) {
        EXPECT_EQ(serialNumberFromFirmware(text), "C02EXAMPLE") << text;
    }
    EXPECT_EQ(serialNumberFromFirmware(std::string_view("C02EXAMPLE\0\0", 12)), "C02EXAMPLE");
    EXPECT_EQ(serialNumberFromFirmware("VMware-56 4d 1c 7f\n"), "VMware-56 4d 1c 7f");
    EXPECT_EQ(serialNumberFromFirmware("Zürich-9"), "Zürich-9");
}

TEST(SerialNumberFromFirmware, APlaceholderIsNone) {
    for (const char* text : {"To Be Filled By O.E.M.",
                             "To be filled by O.E.M.",
                             "TO BE FILLED BY OEM",
                             "Default string",
                             "DEFAULT STRING",
                             "Default",
                             "System Serial Number",
                             "Chassis Serial Number",
                             "Base Board Serial Number",
                             "Not Specified",
                             "not-specified",
                             "Not Applicable",
                             "Not Available",
                             "None",
                             "NONE",
                             "N/A",
                             "n.a.",
                             "OEM",
                             "O.E.M.",
                             "Unknown",
                             "INVALID",
                             "Empty",
                             "Null",
                             "Serial",
                             "SerNum",
                             "0123456789",
                             "0123456789ABCDEF",
                             "012345678",
                             "123456789",
                             "1234567890",
                             "12345",
                             "1234-5678",
                             "01 23 45 67 89"}) {
        EXPECT_EQ(serialNumberFromFirmware(text), std::nullopt) << text;
    }
}

TEST(SerialNumberFromFirmware, OneRepeatedCharacterIsNone) {
    for (const char* text : {"0", "00000000", "0000-0000-0000", "XXXXXXXX", "xxXX xxXX", "........",
                             "-", "1", "FFFFFFFF"}) {
        EXPECT_EQ(serialNumberFromFirmware(text), std::nullopt) << text;
    }
}

TEST(SerialNumberFromFirmware, WhatOnlyResemblesAPlaceholderIsOne) {
    for (const char* text : {"NONE7", "OEM-000", "0123456789X", "00000001", "12346", "Default 2",
                             "NA1", "XXXXXXXY", "123456789012"}) {
        EXPECT_EQ(serialNumberFromFirmware(text), text);
    }
}

TEST(SerialNumberFromFirmware, EmptyOrUnprintableIsNone) {
    EXPECT_EQ(serialNumberFromFirmware(""), std::nullopt);
    EXPECT_EQ(serialNumberFromFirmware(" \n"), std::nullopt);
    EXPECT_EQ(serialNumberFromFirmware(std::string_view("\0\0\0", 3)), std::nullopt);
    EXPECT_EQ(serialNumberFromFirmware(std::string_view("C02\0EXAMPLE", 11)), std::nullopt);
    EXPECT_EQ(serialNumberFromFirmware("C02\nEXAMPLE"), std::nullopt);
    EXPECT_EQ(serialNumberFromFirmware("C02\x1b[31m"), std::nullopt);
    EXPECT_EQ(serialNumberFromFirmware("C02\x7f"
                                       "9"),
              std::nullopt);
    EXPECT_EQ(serialNumberFromFirmware("\xff\xfe\xff\xfe\xfd"), std::nullopt);
    EXPECT_EQ(serialNumberFromFirmware("C02\xc3"), std::nullopt);
}

TEST(LinuxMachineID, IsTheOneThatTheSystemsOwnToolDerives) {
    const auto derived = askOracle("systemd-id128 machine-id "
                                   "--app-specific=b584acf32d1c4068b2f8efa52eccd33d 2>/dev/null");
    const auto machineID = vel::applicationSpecificMachineID();
    constexpr int commandNotFound = 127;
    if (derived.status == commandNotFound) {
        GTEST_SKIP() << "this machine has no systemd-id128 to compare with";
    }
    if (derived.status != 0) {
        EXPECT_EQ(machineID, std::nullopt);
        return;
    }
    EXPECT_EQ(machineID.value_or("absent") + "\n", derived.output);
    EXPECT_EQ(vel::applicationSpecificMachineID(), machineID);
}

TEST(LinuxMachineID, IsNotTheMachineIDItself) {
    const auto raw = askOracle("cat /etc/machine-id");
    EXPECT_NE(vel::applicationSpecificMachineID().value_or("absent") + "\n", raw.output);
}

} // namespace
