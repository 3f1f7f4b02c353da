// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tests/Helpers/Linux/ToolRun.h"

#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <variant>
#include <vector>

/// A message bus of the test's own, which stands for the system bus.
class PrivateBus {
public:
    PrivateBus();

    [[nodiscard]] const std::string& address() const { return _address; }

private:
    TestFolder _folder;
    std::string _address;
    std::unique_ptr<RunningProgram> _daemon;
};

/// A service on a bus that answers with properties given to it.
class FakeService {
public:
    using Pairs = std::vector<std::pair<std::string, std::string>>;
    /// A text, object paths, pairs of texts, or a number.
    using Value = std::variant<std::string, std::vector<std::string>, Pairs, unsigned>;
    /// Object, interface and property to value.
    using Properties = std::map<std::tuple<std::string, std::string, std::string>, Value>;
    /// What "GetUnit" answers: unit to object.
    using Units = std::map<std::string, std::string>;
    /// A text, texts, or settings by name; pairs stand for a list of structures of two texts.
    using Settings = std::map<std::string, Value>;
    using Answer = std::variant<std::string, std::vector<std::string>, Settings>;
    /// What other methods answer: method and argument (or none, empty) to answer.
    using Answers = std::map<std::pair<std::string, std::string>, Answer>;

    FakeService(const std::string& address, std::string name, Properties properties = {},
                Units units = {}, Answers answers = {});
    FakeService(const FakeService&) = delete;
    FakeService& operator=(const FakeService&) = delete;
    ~FakeService();

    struct Content {
        Properties properties;
        Units units;
        Answers answers;
    };

private:
    Content _content;
    std::atomic<bool> _isReady = false;
    std::atomic<bool> _isOver = false;
    std::thread _thread;
};
