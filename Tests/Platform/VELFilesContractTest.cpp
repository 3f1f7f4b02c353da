// SPDX-License-Identifier: Apache-2.0
#include "Platform/VELFiles.h"
#include "Tests/Platform/TypedContractMachines.h"

namespace {

template <typename Machine> class FilesContract : public PlatformContract<Machine> {};
TYPED_TEST_SUITE(FilesContract, ContractMachines, ContractMachineNames);

const std::string path = "/Library/Application Support/status.plist";

TYPED_TEST(FilesContract, AFileThatIsNotThereIsAbsent) {
    const VELFiles& files = this->machine.platform().files();
    EXPECT_FALSE(files.exists(path));
    EXPECT_EQ(files.read(path), std::nullopt);
}

TYPED_TEST(FilesContract, AFileIsItsBytes) {
    const VELFiles& files = this->machine.platform().files();
    for (const std::string& bytes : {std::string("text\n"), std::string("a\0\xFF", 3),
                                     std::string(100'000, 'x'), std::string()}) {
        this->machine.setFile(path, bytes);
        EXPECT_TRUE(files.exists(path));
        EXPECT_EQ(files.read(path), bytes);
    }
}

TYPED_TEST(FilesContract, AFileMayBeThereAndNotBeReadable) {
    const VELFiles& files = this->machine.platform().files();
    this->machine.setUnreadableFile(path);
    EXPECT_TRUE(files.exists(path));
    EXPECT_EQ(files.read(path), std::nullopt);
}

TYPED_TEST(FilesContract, ANameWithNULIsNoFile) {
    const VELFiles& files = this->machine.platform().files();
    this->machine.setFile(path, "text");
    const std::string longer = path + std::string("\0x", 2);
    EXPECT_FALSE(files.exists(longer));
    EXPECT_EQ(files.read(longer), std::nullopt);
}

} // namespace
