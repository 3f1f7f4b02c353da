// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/lint/DocumentWalk.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>

namespace {

/// Where the tokens of a JSON text without errors begin, except commas and colons.
class TokenOffsets {
public:
    explicit TokenOffsets(std::string_view text) : _text(text) {}

    std::size_t next() {
        const std::size_t start =
            std::min(_text.find_first_not_of(" \t\r\n,:", _end), _text.size());
        _end = start + lengthAt(start);
        return start;
    }

private:
    [[nodiscard]] std::size_t lengthAt(std::size_t start) const {
        if (start == _text.size()) {
            return 0;
        }
        if (_text[start] != '"') {
            const bool isBracket = std::string_view("{}[]").find(_text[start]) != std::string::npos;
            return isBracket
                       ? 1
                       : std::min(_text.find_first_of(" \t\r\n,:]}", start), _text.size()) - start;
        }
        std::size_t end = start + 1;
        while (end < _text.size() && _text[end] != '"') {
            end += _text[end] == '\\' ? 2U : 1U;
        }
        return end + 1 - start;
    }

    std::string_view _text;
    std::size_t _end = 0;
};

/// Follows the reading events of a text: says where each place begins, and which keys an object has
/// more than once.
class DocumentWalk : public nlohmann::json_sax<VELValue> {
public:
    using PlaceFound = std::function<void(const Place& place, std::size_t offset)>;
    using KeyRepeated = std::function<void(const Place& place, std::size_t count)>;

    /// Either may be empty.
    DocumentWalk(std::string_view text, PlaceFound placeFound, KeyRepeated keyRepeated)
        : _tokens(text), _placeFound(std::move(placeFound)), _keyRepeated(std::move(keyRepeated)) {}

    bool null() override { return passValue(); }
    bool boolean(bool) override { return passValue(); }
    bool number_integer(number_integer_t) override { return passValue(); }
    bool number_unsigned(number_unsigned_t) override { return passValue(); }
    bool number_float(number_float_t, const string_t&) override { return passValue(); }
    bool string(string_t&) override { return passValue(); }
    bool binary(binary_t&) override { return passValue(); }

    bool start_object(std::size_t) override { return open(true); }
    bool start_array(std::size_t) override { return open(false); }
    bool end_array() override { return close(); }

    bool key(string_t& name) override {
        Container& object = _open.back();
        object.key = name;
        tell(object.place, std::as_const(object.key), _tokens.next());
        ++object.counts[std::move(name)];
        return true;
    }

    bool end_object() override {
        const Container object = std::move(_open.back());
        for (const auto& [name, count] : object.counts) {
            if (count > 1 && _keyRepeated) {
                _keyRepeated(object.place.key(name), count);
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
        bool isObject;
        std::string key = {};
        std::size_t index = 0;
        std::map<std::string, std::size_t> counts = {};
    };

    void tell(const Place& object, const std::string& name, std::size_t offset) const {
        if (_placeFound) {
            _placeFound(object.key(name), offset);
        }
    }

    [[nodiscard]] Place currentPlace() const {
        if (_open.empty()) {
            return {};
        }
        const Container& container = _open.back();
        return container.isObject ? container.place.key(container.key)
                                  : container.place.element(container.index);
    }

    /// A value begins. One that has a key is found at its key.
    void begin() {
        const std::size_t offset = _tokens.next();
        if (_placeFound && (_open.empty() || !_open.back().isObject)) {
            _placeFound(currentPlace(), offset);
        }
    }

    bool open(bool isObject) {
        begin();
        _open.push_back({currentPlace(), isObject});
        return true;
    }

    bool close() {
        _tokens.next();
        _open.pop_back();
        return endValue();
    }

    bool passValue() {
        begin();
        return endValue();
    }

    bool endValue() {
        if (!_open.empty()) {
            ++_open.back().index;
        }
        return true;
    }

    TokenOffsets _tokens;
    PlaceFound _placeFound;
    KeyRepeated _keyRepeated;
    std::vector<Container> _open;
};

void walk(std::string_view text, DocumentWalk::PlaceFound placeFound,
          DocumentWalk::KeyRepeated keyRepeated) {
    DocumentWalk events(text, std::move(placeFound), std::move(keyRepeated));
    VELValue::sax_parse(text.begin(), text.end(), &events);
}

void setPosition(Finding& finding, std::string_view text, std::size_t offset) {
    const std::string_view before = text.substr(0, offset);
    const std::size_t lineStart = before.find_last_of('\n') + 1; // npos + 1 is 0
    finding.line = 1 + static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n'));
    finding.column = 1;
    for (const char character : before.substr(lineStart)) {
        finding.column += (static_cast<unsigned char>(character) & 0xC0U) != 0x80U ? 1U : 0U;
    }
}

} // namespace

void findDuplicateKeys(std::string_view text, FindingList& findings) {
    walk(text, {}, [&findings](const Place& place, std::size_t count) {
        findings.add(rule::duplicateKey, place,
                     "is given " + std::to_string(count) + " times: only the last one counts",
                     "keep one of them");
    });
}

void locateFindings(std::string_view text, std::vector<Finding>& findings) {
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (text.starts_with(byteOrderMark)) {
        text.remove_prefix(byteOrderMark.size());
    }
    // Where each place of a finding is; until it is found, where one around it is.
    struct Position {
        std::size_t offset = 0;
        std::size_t matched = 0; // how much of the place's text
    };
    std::map<std::string, Position, std::less<>> positions;
    for (const Finding& finding : findings) {
        positions.emplace(finding.place, Position());
    }
    walk(text,
         [&positions](const Place& place, std::size_t offset) {
             // The findings in or at this place follow one another in the map.
             const std::string& found = place.text();
             for (auto position = positions.lower_bound(found);
                  position != positions.end() && position->first.starts_with(found); ++position) {
                 if (found.size() >= position->second.matched) {
                     position->second = {offset, found.size()};
                 }
             }
         },
         {});
    for (Finding& finding : findings) {
        setPosition(finding, text, positions.find(finding.place)->second.offset);
    }
}
