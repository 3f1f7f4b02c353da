// SPDX-License-Identifier: Apache-2.0
#include "Platform/VELPlatform.h"
#include "Tests/Platform/TypedContractMachines.h"

namespace {

template <typename Machine> class PlatformRecordsContract : public PlatformContract<Machine> {};
TYPED_TEST_SUITE(PlatformRecordsContract, ContractMachines, ContractMachineNames);

TYPED_TEST(PlatformRecordsContract, ProductVersionIsAbsentWithoutARecord) {
    EXPECT_EQ(this->machine.platform().productVersion(), std::nullopt);
}

TYPED_TEST(PlatformRecordsContract, ProductVersionIsTheTextOfTheRecord) {
    for (const char* version : {"14.5", "12", "10.15.7", "12~rc1 (ä)", "007"}) {
        this->machine.setProductVersion(version);
        EXPECT_EQ(this->machine.platform().productVersion(), version);
    }
}

TYPED_TEST(PlatformRecordsContract, SerialNumberIsAbsentWithoutOne) {
    EXPECT_EQ(this->machine.platform().serialNumber(), std::nullopt);
}

TYPED_TEST(PlatformRecordsContract, SerialNumberIsTheHardwares) {
    for (const char* serialNumber :
         {"C02EXAMPLE", "VMware-56 4d 1c 7f", "PF-3N/QZ_1", "Zürich-9"}) {
        this->machine.setSerialNumber(serialNumber);
        EXPECT_EQ(this->machine.platform().serialNumber(), serialNumber);
    }
}

TYPED_TEST(PlatformRecordsContract, RecordsDoNotAnswerForOneAnother) {
    this->machine.setSerialNumber("C02EXAMPLE");
    EXPECT_EQ(this->machine.platform().productVersion(), std::nullopt);
    this->machine.setProductVersion("14.5");
    EXPECT_EQ(this->machine.platform().serialNumber(), "C02EXAMPLE");
}

TYPED_TEST(PlatformRecordsContract, TicksNeverGoBack) {
    const VELPlatform& platform = this->machine.platform();
    const VELTimePoint first = platform.ticks();
    EXPECT_LE(first, platform.ticks());
}

} // namespace
