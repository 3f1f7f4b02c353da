// SPDX-License-Identifier: Apache-2.0
#include "Base/VELJSON.h"

#include "Base/VELNumber.h"
#include "Base/VELText.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <utility>
#include <vector>

namespace vel {
namespace {

constexpr const char* cocoaErrorDomain = "NSCocoaErrorDomain";
constexpr std::int64_t readCorruptError = 3840;
constexpr std::int64_t writeInvalidError = 3851;

// The reader quotes what it read last, which may be a whole document.
constexpr std::size_t maximumDetailLength = 256;

/// What the JSON library says, without its own bookkeeping in front ("[json.exception...] ").
std::string detailOf(const std::exception& exception) {
    std::string_view text = exception.what();
    if (text.starts_with('[')) {
        if (const auto end = text.find("] "); end != std::string_view::npos) {
            text.remove_prefix(end + 2);
        }
    }
    if (text.size() <= maximumDetailLength) {
        return validUTF8(text);
    }
    std::size_t end = maximumDetailLength;
    while (end > 0 && isContinuation(text[end])) {
        --end;
    }
    return validUTF8(text.substr(0, end)) + "…";
}

/// Where `text`, JSON as far as it was read, opens a container deeper than `maximumJSONDepth`:
/// from 1. The reader's events do not say it.
std::size_t byteOfExcessiveDepth(std::string_view text) {
    std::size_t depth = 0;
    bool inString = false;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char character = text[at];
        if (character == '"') {
            inString = !inString;
        } else if (inString) {
            at += character == '\\' ? 1 : 0;
        } else if (character == '[' || character == '{') {
            if (++depth > maximumJSONDepth) {
                return at + 1;
            }
        } else if (character == ']' || character == '}') {
            --depth;
        }
    }
    return text.size();
}

/// Builds a value from reading events: bounded in depth, and exact where the library's own builder
/// is not (it reads -0 as the integer 0).
class DocumentBuilder {
public:
    using number_integer_t = VELValue::number_integer_t;
    using number_unsigned_t = VELValue::number_unsigned_t;
    using number_float_t = VELValue::number_float_t;
    using string_t = VELValue::string_t;
    using binary_t = VELValue::binary_t;

    explicit DocumentBuilder(std::string_view text) : _text(text) {}

    bool null() { return add(nullptr); }
    bool boolean(bool value) { return add(value); }
    bool number_integer(number_integer_t value) {
        // Of the integers that carry a sign, zero alone is not exact as an integer.
        return value == 0 ? add(-0.0) : add(value);
    }
    bool number_unsigned(number_unsigned_t value) { return add(value); }
    bool number_float(number_float_t value, const string_t&) { return add(value); }
    bool string(string_t& value) { return add(std::move(value)); }
    bool binary(binary_t& value) { return add(std::move(value)); }
    bool start_object(std::size_t) { return open(VELValue::object()); }
    bool start_array(std::size_t) { return open(VELValue::array()); }
    bool end_object() { return close(); }
    bool end_array() { return close(); }

    bool key(string_t& name) {
        _member = &(*_open.back())[std::move(name)];
        return true;
    }

    bool parse_error(std::size_t position, const std::string&, const std::exception& exception) {
        _failure = detailOf(exception);
        if (_failure.find("parse error at") == std::string::npos) {
            _failure += " at byte " + std::to_string(position);
        }
        return false;
    }

    VELValue takeDocument() { return std::move(_document); }
    std::string takeFailure() { return std::move(_failure); }

private:
    template <typename Value> VELValue* place(Value&& value) {
        if (_open.empty()) {
            _document = std::forward<Value>(value);
            return &_document;
        }
        if (_open.back()->is_array()) {
            return &_open.back()->emplace_back(std::forward<Value>(value));
        }
        *_member = std::forward<Value>(value);
        return _member;
    }

    template <typename Value> bool add(Value&& value) {
        place(std::forward<Value>(value));
        return true;
    }

    bool open(VELValue container) {
        if (_open.size() == maximumJSONDepth) {
            _failure = "arrays and objects are nested deeper than " +
                       std::to_string(maximumJSONDepth) + " at byte " +
                       std::to_string(byteOfExcessiveDepth(_text));
            return false;
        }
        // A container stands still while it is open: what is added goes into the innermost one.
        _open.push_back(place(std::move(container)));
        return true;
    }

    bool close() {
        _open.pop_back();
        return true;
    }

    std::string_view _text;
    VELValue _document;
    VELValue* _member = nullptr;
    std::vector<VELValue*> _open;
    std::string _failure;
};

void setError(std::optional<VELError>* error, std::int64_t code, std::string text) {
    if (error != nullptr) {
        *error = VELError::withLocalizedDescription(cocoaErrorDomain, code, std::move(text));
    }
}

bool holdsOnlyFiniteNumbers(const VELValue& value) {
    if (value.is_number_float()) {
        return std::isfinite(value.get<double>());
    }
    if (value.is_structured()) {
        for (const VELValue& element : value) {
            if (!holdsOnlyFiniteNumbers(element)) {
                return false;
            }
        }
    }
    return true;
}

} // namespace

std::optional<VELValue> readJSON(std::string_view text, std::optional<VELError>* error) {
    // The JSON library reads numbers by the decimal point of the locale, and wrongly where that has
    // several bytes.
    const DecimalPointScope decimalPoint;
    DocumentBuilder builder(text);
    if (!VELValue::sax_parse(text.begin(), text.end(), &builder)) {
        setError(error, readCorruptError, builder.takeFailure());
        return std::nullopt;
    }
    // The JSON library takes a NUL byte for the end of the text, whatever follows it.
    if (const auto end = text.find('\0'); end != std::string_view::npos) {
        setError(error, readCorruptError,
                 "a NUL byte follows the document at byte " + std::to_string(end + 1));
        return std::nullopt;
    }
    return builder.takeDocument();
}

std::optional<std::string> writeJSON(const VELValue& value, std::optional<VELError>* error) {
    // The JSON library would write such a number as null.
    if (!holdsOnlyFiniteNumbers(value)) {
        setError(error, writeInvalidError, "a number that is not finite cannot be written as JSON");
        return std::nullopt;
    }
    try {
        return value.dump();
    } catch (const VELValue::exception& exception) {
        setError(error, writeInvalidError, detailOf(exception));
        return std::nullopt;
    }
}

const VELValue* valueUnder(std::string_view key, const VELValue& value) {
    const auto entry = value.find(key); // the end where `value` is no object
    return entry == value.end() ? nullptr : &*entry;
}

std::string compactText(const VELValue& value) {
    return value.dump(-1, ' ', false, VELValue::error_handler_t::replace);
}

std::string displayText(const VELValue& value) {
    const auto* text = value.get_ptr<const std::string*>();
    return text != nullptr ? *text : compactText(value);
}

} // namespace vel
