// SPDX-License-Identifier: Apache-2.0
#include "Platform/VELFiles.h"
#include "Tests/Platform/ContractMachines.h"

namespace {

class FilesContract : public ContractTest {
protected:
    const VELFiles& files = machine->platform().files();
};
INSTANTIATE_TEST_SUITE_P(, FilesContract, testing::ValuesIn(allMachines()), machineName);

const std::string path = "/Library/Application Support/status.plist";

TEST_P(FilesContract, AFileThatIsNotThereIsAbsent) {
    EXPECT_FALSE(files.exists(path));
    EXPECT_EQ(files.read(path), std::nullopt);
}

TEST_P(FilesContract, AFileIsItsBytes) {
    for (const std::string& bytes : {std::string("text\n"), std::string("a\0\xFF", 3),
                                     std::string(100'000, 'x'), std::string()}) {
        machine->setFile(path, bytes);
        EXPECT_TRUE(files.exists(path));
        EXPECT_EQ(files.read(path), bytes);
    }
}

TEST_P(FilesContract, AFileMayBeThereAndNotBeReadable) {
    machine->setUnreadableFile(path);
    EXPECT_TRUE(files.exists(path));
    EXPECT_EQ(files.read(path), std::nullopt);
}

TEST_P(FilesContract, ANameWithNULIsNoFile) {
    machine->setFile(path, "text");
    const std::string longer = path + std::string("\0x", 2);
    EXPECT_FALSE(files.exists(longer));
    EXPECT_EQ(files.read(longer), std::nullopt);
}

} // namespace
