// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "vel_device_trust/VELPostureCheckItem.h"

#include <nlohmann/json.hpp>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// A check whose one operation is given by the test, and that counts its runs.
class ScriptedCheck final : public VELPostureCheckItem {
public:
    using Script = std::function<bool(const VELDictionary&, std::optional<VELError>*)>;

    explicit ScriptedCheck(Script script,
                           std::optional<std::vector<std::string>> required = std::nullopt)
        : _script(std::move(script)), _required(std::move(required)) {}

    bool runCheckWithParameters(const VELDictionary& parameters,
                                std::optional<VELError>* error) const override {
        ++runs;
        return _script(parameters, error);
    }

    [[nodiscard]] std::optional<std::vector<std::string>> requiredParameters() const override {
        return _required;
    }

    mutable std::atomic<unsigned> runs = 0;

private:
    Script _script;
    std::optional<std::vector<std::string>> _required;
};

inline std::shared_ptr<ScriptedCheck> answering(bool answer) {
    return std::make_shared<ScriptedCheck>(
        [answer](const VELDictionary&, std::optional<VELError>*) { return answer; });
}

inline std::shared_ptr<ScriptedCheck> failingWith(VELError failure, bool answer = false) {
    return std::make_shared<ScriptedCheck>(
        [failure = std::move(failure), answer](const VELDictionary&,
                                               std::optional<VELError>* error) {
            *error = failure;
            return answer;
        });
}

template <typename Exception> std::shared_ptr<ScriptedCheck> raising(Exception exception) {
    return std::make_shared<ScriptedCheck>(
        [exception](const VELDictionary&, std::optional<VELError>*) -> bool { throw exception; });
}
