// SPDX-License-Identifier: Apache-2.0
#include "Tests/Support/KeptDocuments.h"

#include "Platform/Simulated/VELMachineDescription.h"
#include "Tests/Support/ChildProgram.h"
#include "Tests/Support/EngineTest.h"
#include "Tests/Support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <set>
#include <sstream>

namespace {

/// Keeps documents in a folder of its own for a while.
class KeptDocuments : public EngineTest {
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

    using Texts = std::multiset<std::string>;

    /// What is kept of the kind, and that the folder holds nothing else.
    [[nodiscard]] Texts kept(const std::string& kind = "result") const {
        Texts texts;
        for (const auto& entry : std::filesystem::directory_iterator(_folder.path())) {
            const std::string name = entry.path().filename();
            EXPECT_TRUE(name.starts_with(kind + "-") && name.ends_with(".json")) << name;
            std::ostringstream text;
            text << std::ifstream(entry.path(), std::ios::binary).rdbuf();
            texts.insert(text.str());
        }
        return texts;
    }

private:
    TemporaryFolder _folder;
    std::optional<std::string> _before;
};

TEST_F(KeptDocuments, WhatARunnerAnswersInEveryForm) {
    const auto runner = macRunner();
    const std::string empty = runner->runPostureCheckFromDocumentString("{}");
    EXPECT_EQ(kept(), Texts{empty});
    const std::string request = R"({"identity_params":[]})";
    const auto bytes = runner->runPostureCheckFromDocument(
        {reinterpret_cast<const std::uint8_t*>(request.data()), request.size()});
    const std::string identity(bytes.begin(), bytes.end());
    EXPECT_EQ(kept(), (Texts{empty, identity}));
    static_cast<void>(runner->errorResult("why"));
    EXPECT_EQ(kept(), (Texts{empty, identity, R"({"error":"why"})"}));
}

TEST_F(KeptDocuments, TheSameContentOnce) {
    const auto runner = macRunner();
    static_cast<void>(runner->errorResult("why"));
    static_cast<void>(runner->errorResult("why"));
    EXPECT_EQ(kept(), Texts{R"({"error":"why"})"});
}

TEST_F(KeptDocuments, AcceptedMachineDescriptions) {
    EXPECT_EQ(vel::machineFromDescription("[]", nullptr), nullptr);
    EXPECT_EQ(kept(), Texts());
    EXPECT_NE(vel::machineFromDescription(R"({"name":"a"})", nullptr), nullptr);
    EXPECT_EQ(kept("machine-description"), Texts{R"({"name":"a"})"});
}

TEST_F(KeptDocuments, WhatTheProgramWritesAsJSON) {
    ChildProgram program{{VEL_POSTURE_PROGRAM, "check"}};
    program.input = "7";
    const std::string output = program.run().output;
    EXPECT_EQ(output, "{\"error\":\"the request is not an object\"}\n");
    EXPECT_EQ(kept(), Texts{output});
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"check", "--format", "text"}, {"catalogue"}, {"--version"}}) {
        program.arguments.resize(1);
        program.arguments.insert(program.arguments.end(), arguments.begin(), arguments.end());
        static_cast<void>(program.run());
    }
    EXPECT_EQ(kept(), Texts{output});
}

TEST_F(KeptDocuments, NothingWithoutAFolder) {
    ::unsetenv(keptDocumentsVariable);
    static_cast<void>(macRunner()->errorResult("why"));
    EXPECT_EQ(kept(), Texts());
}

TEST_F(KeptDocuments, AFolderThatCannotBeWrittenIsAnError) {
    ::setenv(keptDocumentsVariable, "/dev/null/folder", 1);
    EXPECT_THROW(static_cast<void>(macRunner()->errorResult("why")), std::runtime_error);
}

/// In a run of all tests the folder must then have a document of each kind: see KeptDocuments.py.
TEST(KeptDocumentsOfAllTests, EveryKindIsKept) {
    const char* folder = std::getenv(keptDocumentsVariable);
    if (folder == nullptr) {
        GTEST_SKIP() << keptDocumentsVariable << " is not set";
    }
    std::ofstream(std::filesystem::path(folder) / "whole-run").put('\n');
    const auto machine = vel::machineFromDescription(R"({"serialNumber":"C02KEPT"})", nullptr);
    const auto runner = VELPlatformRunnerFactory::macPostureCheckRunner(nullptr, machine);
    for (const char* request : {R"({"mac":[{"type":"minimumOSVersion","version":"1"}]})",
                                R"({"identity_params":["device_serial_number"]})", "[]"}) {
        static_cast<void>(runner->runPostureCheckFromDocumentString(request));
    }
    std::size_t documents = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        documents += entry.path().extension() == ".json" ? 1U : 0U;
    }
    EXPECT_GE(documents, 4U);
}

} // namespace
