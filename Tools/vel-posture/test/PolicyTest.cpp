// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/test/PolicyTest.h"

#include "Base/VELJSON.h"
#include "Tools/vel-posture/ProgramFailure.h"
#include "Tools/vel-posture/StandardStreams.h"

#include <algorithm>
#include <filesystem>
#include <utility>

namespace {

using Kind = CheckOutcome::Kind;

/// Reads values of one file, and says which is wrong.
class Reader {
public:
    explicit Reader(std::string path) : _path(std::move(path)) {}

    void require(bool condition, const std::string& otherwise) const {
        if (!condition) {
            throw ProgramFailure("\"" + _path + "\": " + otherwise);
        }
    }

    void requireKeys(const VELValue& value, const std::string& place,
                     const std::vector<std::string>& known) const {
        require(value.is_object(), place + " is not an object");
        for (const auto& [key, member] : value.items()) {
            require(std::ranges::find(known, key) != known.end(),
                    "unknown key " + vel::compactText(key) + " in " + place);
        }
    }

    const VELValue& member(const VELValue& value, const std::string& place, const char* key) const {
        const VELValue* found = vel::valueUnder(key, value);
        require(found != nullptr, place + " has no \"" + key + "\"");
        return *found;
    }

    bool boolean(const VELValue& value, const std::string& place) const {
        require(value.is_boolean(), place + " is not a boolean");
        return value.get<bool>();
    }

    /// The path of a file that this one names.
    [[nodiscard]] std::string pathOf(const VELValue& value) const {
        const auto folder = std::filesystem::path(_path).parent_path();
        return folder / value.get<std::string>();
    }

    VELValue read(const std::string& path) const {
        std::optional<VELError> error;
        auto value = vel::readJSON(readFile(path), &error);
        require(value.has_value(),
                (path == _path ? "" : "\"" + path + "\": ") + (error ? error->message() : ""));
        return *std::move(value);
    }

    ExpectedOutcome outcome(const VELValue& value, const std::string& place) const {
        if (value.is_object()) {
            requireKeys(value, place, {"error"});
            const VELValue& text = member(value, place, "error");
            require(text.is_string(), place + ".error is not a string");
            return {Kind::error, text.get<std::string>()};
        }
        for (const Kind kind : {Kind::pass, Kind::fail, Kind::error}) {
            if (value == nameOf(kind)) {
                return {kind, std::nullopt};
            }
        }
        require(false, place + R"( is neither "pass", "fail", "error" nor {"error": TEXT})");
        return {};
    }

    std::vector<ExpectedOutcome> outcomes(const VELValue& named, const std::string& place,
                                          const std::vector<std::string>& types) const {
        require(named.is_object(), place + " is not an object");
        std::vector<ExpectedOutcome> outcomes(types.size());
        for (const auto& [type, value] : named.items()) {
            const std::string here = place + "." + type;
            const auto count = static_cast<std::size_t>(std::ranges::count(types, type));
            require(count > 0, here + ": the request has no such check");
            require(value.is_array() ? value.size() == count : count == 1,
                    here + " has to be a list of " + std::to_string(count) +
                        ": the request has as many checks of this type");
            std::size_t next = 0;
            for (std::size_t index = 0; index < types.size(); ++index) {
                if (types[index] == type) {
                    outcomes[index] =
                        value.is_array()
                            ? outcome(value[next], here + "[" + std::to_string(next) + "]")
                            : outcome(value, here);
                    ++next;
                }
            }
        }
        return outcomes;
    }

private:
    std::string _path;
};

} // namespace

PolicyTest policyTestOfFile(const std::string& path) {
    const Reader reader(path);
    const VELValue document = reader.read(path);
    reader.requireKeys(document, "the document", {"$schema", "request", "machines"});
    PolicyTest test;
    const VELValue& request = reader.member(document, "the document", "request");
    reader.require(request.is_string() || request.is_object(),
                   "request is neither a path nor an object");
    test.requestName = request.is_string() ? reader.pathOf(request) : path + ": request";
    test.request = request.is_string() ? readFile(test.requestName) : vel::compactText(request);
    const VELValue& machines = reader.member(document, "the document", "machines");
    reader.require(machines.is_array() && !machines.empty(),
                   "machines is not a list with an element");
    test.machines.assign(machines.begin(), machines.end());
    return test;
}

ExpectedMachine expectedMachine(const std::string& path, const PolicyTest& test, std::size_t index,
                                const std::vector<std::string>& types) {
    const Reader reader(path);
    const std::string place = "machines[" + std::to_string(index) + "]";
    const VELValue& value = test.machines[index];
    reader.requireKeys(value, place, {"machine", "pass", "checks"});
    const VELValue& machine = reader.member(value, place, "machine");
    reader.require(machine.is_string() || machine.is_object(),
                   place + ".machine is neither a path nor an object");
    ExpectedMachine expected;
    if (machine.is_string()) {
        expected.name = machine.get<std::string>();
        expected.description = reader.read(reader.pathOf(machine));
    } else {
        const VELValue* name = vel::valueUnder("name", machine);
        expected.name = name != nullptr && name->is_string() ? name->get<std::string>() : place;
        expected.description = machine;
    }
    expected.passes = reader.boolean(reader.member(value, place, "pass"), place + ".pass");
    if (const VELValue* checks = vel::valueUnder("checks", value)) {
        expected.checks = reader.outcomes(*checks, place + ".checks", types);
    }
    return expected;
}
