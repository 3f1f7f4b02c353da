// SPDX-License-Identifier: Apache-2.0
#include "Base/VELBase64.h"
#include "Base/VELNumber.h"
#include "Base/VELPropertyListBuilder.h"
#include "Base/VELText.h"

#include <expat.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <memory>
#include <new>
#include <system_error>
#include <utility>

namespace vel {
namespace {

using Next = PropertyListBuilder::Next;

enum class Element {
    dictionary,
    array,
    key,
    string,
    integer,
    real,
    date,
    data,
    trueValue,
    falseValue
};

struct ElementName {
    std::string_view name;
    Element element;
};

constexpr std::array elementNames = {
    ElementName{"dict", Element::dictionary}, ElementName{"array", Element::array},
    ElementName{"key", Element::key},         ElementName{"string", Element::string},
    ElementName{"integer", Element::integer}, ElementName{"real", Element::real},
    ElementName{"date", Element::date},       ElementName{"data", Element::data},
    ElementName{"true", Element::trueValue},  ElementName{"false", Element::falseValue},
};

std::optional<Element> elementNamed(std::string_view name) {
    const auto* found = std::find_if(elementNames.begin(), elementNames.end(),
                                     [&](const ElementName& known) { return known.name == name; });
    return found != elementNames.end() ? std::optional(found->element) : std::nullopt;
}

/// A part of the document as a message quotes it: not at any length.
std::string inQuotes(std::string_view text) {
    constexpr std::size_t maximumLength = 64;
    std::string quotation = "\"";
    quotation += validUTF8(text.substr(0, maximumLength));
    quotation += text.size() > maximumLength ? "…\"" : "\"";
    return quotation;
}

std::string_view withoutSurroundingSpace(std::string_view text) {
    constexpr std::string_view space = " \t\n\r";
    const std::size_t start = text.find_first_not_of(space);
    if (start == std::string_view::npos) {
        return {};
    }
    return text.substr(start, text.find_last_not_of(space) + 1 - start);
}

/// Reads the whole of `text` as an integer of 64 bits: decimal, or hexadecimal after "0x", with an
/// optional sign. `invalid_argument` if it is not, `result_out_of_range` if it is too large.
std::errc readInteger(std::string_view text, VELValue& value) {
    const bool isNegative = text.starts_with('-');
    if (isNegative || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
    if (isHexadecimal) {
        text.remove_prefix(2);
    }
    std::uint64_t magnitude = 0;
    const auto [end, failure] =
        std::from_chars(text.data(), text.data() + text.size(), magnitude, isHexadecimal ? 16 : 10);
    if (end != text.data() + text.size()) {
        return std::errc::invalid_argument;
    }
    if (failure != std::errc{}) {
        return failure;
    }
    constexpr std::uint64_t largestNegative = std::uint64_t{1} << 63U;
    if (!isNegative || magnitude == 0) {
        value = magnitude;
    } else if (magnitude <= largestNegative) {
        value = static_cast<std::int64_t>(0 - magnitude);
    } else {
        return std::errc::result_out_of_range;
    }
    return {};
}

/// Reads the whole of `text` as a real, as `readInteger` does. One that is not finite is too large.
std::errc readReal(std::string_view text, VELValue& value) {
    if (text.starts_with('+') && !text.starts_with("+-")) {
        text.remove_prefix(1);
    }
    const std::string name = lowercase(text.substr(text.starts_with('-') ? 1 : 0));
    if (name == "inf" || name == "infinity" || name == "nan") {
        return std::errc::result_out_of_range;
    }
    double real = 0;
    const std::errc failure = readDecimal(text, real);
    if (failure == std::errc{}) {
        value = real;
    }
    return failure;
}

/// Whether `text` is a date and time that exist, in the one form "2026-11-21T08:30:00Z".
bool isDate(std::string_view text) {
    constexpr std::string_view form = "0000-00-00T00:00:00Z";
    if (text.size() != form.size()) {
        return false;
    }
    for (std::size_t index = 0; index < form.size(); ++index) {
        const bool isDigit = text[index] >= '0' && text[index] <= '9';
        if (form[index] == '0' ? !isDigit : text[index] != form[index]) {
            return false;
        }
    }
    const auto pair = [&](std::size_t start) {
        return static_cast<unsigned>((text[start] - '0') * 10 + (text[start + 1] - '0'));
    };
    const auto date =
        std::chrono::year_month_day(std::chrono::year(static_cast<int>(pair(0) * 100 + pair(2))),
                                    std::chrono::month(pair(5)), std::chrono::day(pair(8)));
    return date.ok() && pair(11) < 24 && pair(14) < 60 && pair(17) < 60;
}

/// Takes the events of the XML parser. The first failure stops it.
class XMLReader {
public:
    XMLReader();
    PropertyListReading read(std::string_view bytes);

private:
    static XMLReader& from(void* reader) { return *static_cast<XMLReader*>(reader); }

    void start(std::string_view name);
    void startValue(Element element);
    void end();
    void endText(Element element);
    void endNumber(Element element, std::string_view text);
    void endDictionaryOrArray();
    void characters(std::string_view text);
    void fail(std::string what) { fail(std::move(what), line()); }
    void fail(std::string what, XML_Size line);
    void require(bool withinLimits);
    [[nodiscard]] XML_Size line() const { return XML_GetCurrentLineNumber(_parser.get()); }
    [[nodiscard]] bool hasFailed() const { return !_failure.empty(); }
    [[nodiscard]] std::string_view elementName() const;

    std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> _parser;
    PropertyListBuilder _builder;
    bool _isInPropertyList = false;
    std::optional<Element> _element; // the open one, unless it is a container
    XML_Size _elementLine = 0;
    std::string _text;
    std::string _failure;
};

XMLReader::XMLReader() : _parser(XML_ParserCreate(nullptr), &XML_ParserFree) {
    if (!_parser) {
        throw std::bad_alloc();
    }
    XML_SetUserData(_parser.get(), this);
    XML_SetElementHandler(
        _parser.get(),
        [](void* reader, const XML_Char* name, const XML_Char**) { from(reader).start(name); },
        [](void* reader, const XML_Char*) { from(reader).end(); });
    XML_SetCharacterDataHandler(_parser.get(), [](void* reader, const XML_Char* text, int length) {
        from(reader).characters({text, static_cast<std::size_t>(length)});
    });
    // Entities, and attributes by the thousand for every element, are declared there.
    XML_SetStartDoctypeDeclHandler(_parser.get(), [](void* reader, const XML_Char*, const XML_Char*,
                                                     const XML_Char*, int hasSubset) {
        if (hasSubset != 0) {
            from(reader).fail("declarations within the document type");
        }
    });
    // With an external document type the parser leaves an unknown entity out instead of failing.
    XML_SetSkippedEntityHandler(_parser.get(), [](void* reader, const XML_Char* name, int) {
        from(reader).fail("the unknown entity " + inQuotes(name));
    });
}

PropertyListReading XMLReader::read(std::string_view bytes) {
    // One call for the whole document: the parser's work is then linear in its length.
    const auto status =
        XML_Parse(_parser.get(), bytes.data(), static_cast<int>(bytes.size()), XML_TRUE);
    if (status == XML_STATUS_OK && !hasFailed()) {
        return {_builder.takeRoot(), {}};
    }
    if (!hasFailed()) {
        fail(XML_ErrorString(XML_GetErrorCode(_parser.get())));
    }
    return {std::nullopt, std::move(_failure)};
}

void XMLReader::fail(std::string what, XML_Size line) {
    if (!hasFailed()) {
        _failure = std::move(what) + " at line " + std::to_string(line);
        XML_StopParser(_parser.get(), XML_FALSE);
    }
}

void XMLReader::require(bool withinLimits) {
    if (!withinLimits) {
        fail(_builder.failure());
    }
}

void XMLReader::start(std::string_view name) {
    if (hasFailed()) {
        return;
    }
    if (!_isInPropertyList) {
        _isInPropertyList = true;
        return name == "plist" ? void() : fail("the root element " + inQuotes(name));
    }
    if (_element) {
        return fail("the element " + inQuotes(name) + " within " + inQuotes(elementName()));
    }
    const auto element = elementNamed(name);
    if (!element) {
        return fail("the unknown element " + inQuotes(name));
    }
    if (_builder.next() == Next::nothing) {
        return fail("more than one value");
    }
    if ((_builder.next() == Next::key) != (element == Element::key)) {
        return fail("the element " + inQuotes(name) +
                    (element == Element::key ? " where a value belongs" : " where a key belongs"));
    }
    startValue(*element);
}

void XMLReader::startValue(Element element) {
    if (element == Element::dictionary) {
        require(_builder.open(VELValue::object()));
    } else if (element == Element::array) {
        require(_builder.open(VELValue::array()));
    } else {
        _element = element;
        _elementLine = line();
        _text.clear();
    }
}

void XMLReader::end() {
    if (hasFailed()) {
        return;
    }
    if (_element) {
        endText(*std::exchange(_element, std::nullopt));
    } else {
        endDictionaryOrArray();
    }
}

void XMLReader::endDictionaryOrArray() {
    switch (_builder.next()) {
    case Next::root:
        return fail("no value");
    case Next::member:
        return fail("a key without a value");
    case Next::nothing: // the end of the property list
        return;
    case Next::key:
    case Next::element:
        return _builder.close();
    }
}

void XMLReader::endText(Element element) {
    switch (element) {
    case Element::key:
        return require(_builder.addKey(std::exchange(_text, {})));
    case Element::string:
        return require(_builder.add(std::exchange(_text, {})));
    case Element::trueValue:
    case Element::falseValue:
        return require(_builder.add(element == Element::trueValue));
    case Element::date: {
        const auto text = withoutSurroundingSpace(_text);
        return isDate(text) ? require(_builder.add(text))
                            : fail("the invalid date " + inQuotes(_text), _elementLine);
    }
    case Element::data: {
        const auto bytes = bytesOfBase64(_text);
        return bytes ? require(_builder.add(base64Text(*bytes)))
                     : fail("data that are not base64", _elementLine);
    }
    default:
        return endNumber(element, withoutSurroundingSpace(_text));
    }
}

void XMLReader::endNumber(Element element, std::string_view text) {
    const std::string_view kind = element == Element::integer ? "integer " : "real ";
    VELValue value;
    const std::errc failure =
        element == Element::integer ? readInteger(text, value) : readReal(text, value);
    if (failure == std::errc::result_out_of_range) {
        return fail("the " + std::string(kind) + inQuotes(text) + " out of range", _elementLine);
    }
    if (failure != std::errc{}) {
        return fail("the invalid " + std::string(kind) + inQuotes(_text), _elementLine);
    }
    require(_builder.add(std::move(value)));
}

void XMLReader::characters(std::string_view text) {
    if (hasFailed()) {
        return;
    }
    if (_element && _element != Element::trueValue && _element != Element::falseValue) {
        _text += text;
    } else if (const auto stray = withoutSurroundingSpace(text); !stray.empty()) {
        fail("the text " + inQuotes(stray) + " where none belongs");
    }
}

std::string_view XMLReader::elementName() const {
    return std::find_if(elementNames.begin(), elementNames.end(),
                        [&](const ElementName& known) { return known.element == _element; })
        ->name;
}

} // namespace

PropertyListReading readXMLPropertyList(std::string_view bytes) {
    return XMLReader().read(bytes);
}

} // namespace vel
