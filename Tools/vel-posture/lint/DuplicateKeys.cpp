// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/lint/DuplicateKeys.h"

#include <nlohmann/json.hpp>

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace {

/// Follows the reading events of a text and counts the keys of each object.
class KeyCounter : public nlohmann::json_sax<VELValue> {
public:
    explicit KeyCounter(FindingList& findings) : _findings(findings) {}

    bool null() override { return passValue(); }
    bool boolean(bool) override { return passValue(); }
    bool number_integer(number_integer_t) override { return passValue(); }
    bool number_unsigned(number_unsigned_t) override { return passValue(); }
    bool number_float(number_float_t, const string_t&) override { return passValue(); }
    bool string(string_t&) override { return passValue(); }
    bool binary(binary_t&) override { return passValue(); }

    bool start_object(std::size_t) override { return open(); }
    bool start_array(std::size_t) override { return open(); }
    bool end_array() override { return close(); }

    bool key(string_t& name) override {
        _open.back().key = name;
        ++_open.back().counts[std::move(name)];
        return true;
    }

    bool end_object() override {
        const Container object = std::move(_open.back());
        for (const auto& [name, count] : object.counts) {
            if (count > 1) {
                _findings.add(object.place.key(name),
                              "is given " + std::to_string(count) +
                                  " times: only the last one counts",
                              "keep one of them");
            }
        }
        return close();
    }

    bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override {
        return false;
    }

private:
    struct Container {
        Place place;
        std::string key = {};
        std::size_t index = 0;
        std::map<std::string, std::size_t> counts = {};
    };

    [[nodiscard]] Place currentPlace() const {
        if (_open.empty()) {
            return {};
        }
        const Container& container = _open.back();
        return container.counts.empty() ? container.place.element(container.index)
                                        : container.place.key(container.key);
    }

    bool open() {
        _open.push_back({currentPlace()});
        return true;
    }

    bool close() {
        _open.pop_back();
        return passValue();
    }

    bool passValue() {
        if (!_open.empty()) {
            ++_open.back().index;
        }
        return true;
    }

    FindingList& _findings;
    std::vector<Container> _open;
};

} // namespace

void findDuplicateKeys(std::string_view text, FindingList& findings) {
    KeyCounter counter(findings);
    VELValue::sax_parse(text.begin(), text.end(), &counter);
}
