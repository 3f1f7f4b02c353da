// SPDX-License-Identifier: Apache-2.0
#include "Tests/Support/KeptDocuments.h"

#include "Tests/Support/ChildProgram.h"
#include "Tests/Support/EngineTest.h"
#include "Tests/Support/FileContent.h"
#include "Tests/Support/TemporaryFolder.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <set>
#include <stdexcept>

namespace {

using Texts = std::multiset<std::string>;

/// Keeps documents in a folder of its own for a while.
class KeptDocuments : public testing::Test {
protected:
    KeptDocuments() {
        if (const char* folder = std::getenv(keptDocumentsVariable)) {
            _before = folder;
        }
        ::setenv(keptDocumentsVariable, _folder.path().c_str(), 1);
    }
    ~KeptDocuments() override {
        if (_before) {
            ::setenv(keptDocumentsVariable, _before->c_str(), 1);
        } else {
            ::unsetenv(keptDocumentsVariable);
        }
    }

    /// What is kept of the kind.
    [[nodiscard]] Texts kept(const std::string& kind) const {
        Texts texts;
        for (const auto& entry : std::filesystem::directory_iterator(_folder.path())) {
            const std::string name = entry.path().filename();
            if (name.starts_with(kind + "-") && name.ends_with(".json")) {
                texts.insert(contentOf(entry.path()));
            }
        }
        return texts;
    }

private:
    TemporaryFolder _folder;
    std::optional<std::string> _before;
};

TEST_F(KeptDocuments, EachContentOnce) {
    EXPECT_EQ(keepResult("a"), "a");
    static_cast<void>(keepResult("a"));
    static_cast<void>(keepResult("b"));
    keepMachineDescription("c");
    EXPECT_EQ(kept("result"), (Texts{"a", "b"}));
    EXPECT_EQ(kept("machine-description"), Texts{"c"});
}

TEST_F(KeptDocuments, WhatTheProgramWritesAsJSON) {
    ChildProgram program{{VEL_POSTURE_PROGRAM, "check"}};
    program.input = "7";
    const std::string output = program.run().output;
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"check", "--format", "text"}, {"catalogue"}, {"--version"}}) {
        program.arguments.resize(1);
        program.arguments.insert(program.arguments.end(), arguments.begin(), arguments.end());
        static_cast<void>(program.run());
    }
    EXPECT_EQ(kept("result"), Texts{output.substr(0, output.size() - 1)});
}

TEST_F(KeptDocuments, NothingWithoutAFolder) {
    ::unsetenv(keptDocumentsVariable);
    static_cast<void>(keepResult("a"));
    EXPECT_EQ(kept("result"), Texts());
}

TEST_F(KeptDocuments, AFolderThatCannotBeWrittenIsAnError) {
    ::setenv(keptDocumentsVariable, "/dev/null/folder", 1);
    EXPECT_THROW(static_cast<void>(keepResult("a")), std::runtime_error);
}

/// In a run of all tests the folder must then have a document of each kind: see KeptDocuments.py.
TEST(KeptDocumentsOfAllTests, EveryKindIsKept) {
    const char* folder = std::getenv(keptDocumentsVariable);
    if (folder == nullptr) {
        GTEST_SKIP() << keptDocumentsVariable << " is not set";
    }
    std::ofstream(std::filesystem::path(folder) / "whole-run").put('\n');
}

} // namespace
