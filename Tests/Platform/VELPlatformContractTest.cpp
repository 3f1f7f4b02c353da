// SPDX-License-Identifier: Apache-2.0
#include "Platform/VELPlatform.h"
#include "Tests/Platform/ContractMachines.h"

namespace {

class PlatformRecordsContract : public ContractTest {};
INSTANTIATE_TEST_SUITE_P(, PlatformRecordsContract, testing::ValuesIn(allMachines()), machineName);

TEST_P(PlatformRecordsContract, ProductVersionIsAbsentWithoutARecord) {
    EXPECT_EQ(machine->platform().productVersion(), std::nullopt);
}

TEST_P(PlatformRecordsContract, ProductVersionIsTheTextOfTheRecord) {
    for (const char* version : {"14.5", "12", "10.15.7", "12~rc1 (ä)", "007"}) {
        machine->setProductVersion(version);
        EXPECT_EQ(machine->platform().productVersion(), version);
    }
}

TEST_P(PlatformRecordsContract, SerialNumberIsAbsentWithoutOne) {
    EXPECT_EQ(machine->platform().serialNumber(), std::nullopt);
}

TEST_P(PlatformRecordsContract, SerialNumberIsTheHardwares) {
    for (const char* serialNumber :
         {"C02EXAMPLE", "VMware-56 4d 1c 7f", "PF-3N/QZ_1", "Zürich-9"}) {
        machine->setSerialNumber(serialNumber);
        EXPECT_EQ(machine->platform().serialNumber(), serialNumber);
    }
}

TEST_P(PlatformRecordsContract, RecordsDoNotAnswerForOneAnother) {
    machine->setSerialNumber("C02EXAMPLE");
    EXPECT_EQ(machine->platform().productVersion(), std::nullopt);
    machine->setProductVersion("14.5");
    EXPECT_EQ(machine->platform().serialNumber(), "C02EXAMPLE");
}

TEST_P(PlatformRecordsContract, TicksNeverGoBack) {
    const VELTimePoint first = machine->platform().ticks();
    EXPECT_LE(first, machine->platform().ticks());
}

} // namespace
