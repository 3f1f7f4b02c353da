// SPDX-License-Identifier: Apache-2.0
//
// An object model of CoreFoundation: the types and calls that the Mac's platform uses.
#include "Tests/Platform/Apple/StandIns/StandInCoreFoundation.h"

#include "Tests/Platform/Apple/StandIns/StandInObjects.h"

#include "Base/VELText.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <mutex>
#include <optional>
#include <utility>
#include <variant>

namespace {

using standin::abortOn;
using standin::contentOf;
using standin::FallibleCall;
using standin::make;
using standin::Object;
using standin::objectOf;
using standin::WideInteger;

/// An object of a type that has a name.
template <typename Self> class Typed : public Object {
public:
    [[nodiscard]] const char* type() const final { return Self::name; }
};

class String final : public Typed<String> {
public:
    static constexpr char name[] = "CFString";
    explicit String(std::u16string text) : units(std::move(text)) {}
    [[nodiscard]] bool equals(const Object& other) const override {
        return units == static_cast<const String&>(other).units;
    }
    const std::u16string units;
};

class TruthValue final : public Typed<TruthValue> {
public:
    static constexpr char name[] = "CFBoolean";
    explicit TruthValue(bool isTrue) : value(isTrue) {}
    const bool value;
};

class Null final : public Typed<Null> {
public:
    static constexpr char name[] = "CFNull";
};

class Number final : public Typed<Number> {
public:
    static constexpr char name[] = "CFNumber";
    using Value = std::variant<std::int64_t, WideInteger, double>;
    explicit Number(Value number) : value(number) {}
    [[nodiscard]] bool equals(const Object& other) const override {
        return value == static_cast<const Number&>(other).value;
    }
    const Value value;
};

class Date final : public Typed<Date> {
public:
    static constexpr char name[] = "CFDate";
    explicit Date(CFAbsoluteTime time) : seconds(time) {}
    [[nodiscard]] bool equals(const Object& other) const override {
        return seconds == static_cast<const Date&>(other).seconds;
    }
    const CFAbsoluteTime seconds;
};

class Data final : public Typed<Data> {
public:
    static constexpr char name[] = "CFData";
    explicit Data(std::vector<UInt8> content) : bytes(std::move(content)) {}
    [[nodiscard]] bool equals(const Object& other) const override {
        return bytes == static_cast<const Data&>(other).bytes;
    }
    const std::vector<UInt8> bytes;
};

/// References to other objects, each retained.
class References {
public:
    References() = default;
    References(const References&) = delete;
    References& operator=(const References&) = delete;
    ~References() {
        for (const CFTypeRef reference : _all) {
            CFRelease(reference);
        }
    }
    void add(CFTypeRef reference) { _all.push_back(CFRetain(reference)); }
    void replace(std::size_t index, CFTypeRef reference) {
        CFRelease(std::exchange(_all[index], CFRetain(reference)));
    }
    [[nodiscard]] const std::vector<CFTypeRef>& all() const { return _all; }

private:
    std::vector<CFTypeRef> _all;
};

bool areEqual(CFTypeRef left, CFTypeRef right) {
    const Object& first = objectOf(left);
    const Object& second = objectOf(right);
    return &first == &second || (first.type() == second.type() && first.equals(second));
}

class Array final : public Typed<Array> {
public:
    static constexpr char name[] = "CFArray";
    [[nodiscard]] bool equals(const Object& other) const override {
        const auto& left = values.all();
        const auto& right = static_cast<const Array&>(other).values.all();
        return std::equal(left.begin(), left.end(), right.begin(), right.end(), areEqual);
    }
    References values;
};

class Dictionary final : public Typed<Dictionary> {
public:
    static constexpr char name[] = "CFDictionary";
    explicit Dictionary(bool canChange) : isMutable(canChange) {}

    [[nodiscard]] std::optional<std::size_t> indexOf(CFTypeRef key) const {
        const auto& all = keys.all();
        const auto found = std::find_if(all.begin(), all.end(),
                                        [&](CFTypeRef each) { return areEqual(each, key); });
        return found == all.end() ? std::nullopt : std::optional<std::size_t>(found - all.begin());
    }

    void set(CFTypeRef key, CFTypeRef value) {
        if (const auto index = indexOf(key)) {
            values.replace(*index, value);
        } else {
            keys.add(key);
            values.add(value);
        }
    }

    const bool isMutable;
    References keys;
    References values;
};

class URL final : public Typed<URL> {
public:
    static constexpr char name[] = "CFURL";
    explicit URL(std::string bytes) : path(std::move(bytes)) {}
    const std::string path;
};

class Error final : public Typed<Error> {
public:
    static constexpr char name[] = "CFError";
    Error(CFErrorDomain errorDomain, CFIndex errorCode, CFDictionaryRef information)
        : code(errorCode) {
        references.add(errorDomain);
        if (information != nullptr) {
            references.add(information);
        }
    }
    [[nodiscard]] CFErrorDomain domain() const {
        return static_cast<CFErrorDomain>(references.all().front());
    }
    [[nodiscard]] CFDictionaryRef userInfo() const {
        return references.all().size() < 2 ? nullptr
                                           : static_cast<CFDictionaryRef>(references.all().back());
    }
    const CFIndex code;
    References references;
};

template <typename Type, typename... Arguments> CFTypeRef makeOf(Arguments&&... arguments) {
    return make(std::make_unique<Type>(std::forward<Arguments>(arguments)...));
}

/// A reference as the system's own types have it.
template <typename Reference> Reference as(CFTypeRef reference) {
    return static_cast<Reference>(const_cast<void*>(reference));
}

template <typename Type, typename... Arguments> CFTypeRef constantOf(Arguments&&... arguments) {
    return standin::makeConstant(std::make_unique<Type>(std::forward<Arguments>(arguments)...));
}

std::u16string unitsOf(std::u32string_view characters) {
    constexpr char32_t firstBeyondOneUnit = 0x10000;
    std::u16string units;
    for (const char32_t character : characters) {
        if (character < firstBeyondOneUnit) {
            units += static_cast<char16_t>(character);
        } else {
            const char32_t rest = character - firstBeyondOneUnit;
            units += static_cast<char16_t>(0xD800 + (rest >> 10U));
            units += static_cast<char16_t>(0xDC00 + (rest & 0x3FFU));
        }
    }
    return units;
}

/// The characters of valid UTF-8. Nothing: it is not.
std::optional<std::u32string> charactersOf(std::string_view text) {
    if (!vel::isValidUTF8(text)) {
        return std::nullopt;
    }
    std::u32string characters;
    for (std::size_t index = 0; index < text.size();) {
        const auto lead = static_cast<unsigned char>(text[index]);
        const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        char32_t character = length == 1 ? lead : lead & (0xFFU >> (length + 1));
        for (std::size_t next = 1; next < length; ++next) {
            character = character << 6U | (static_cast<unsigned char>(text[index + next]) & 0x3FU);
        }
        characters += character;
        index += length;
    }
    return characters;
}

/// The character that starts at `index` and the units that it takes: none for half a pair.
std::pair<char32_t, std::size_t> characterAt(std::u16string_view units, std::size_t index) {
    const auto isBetween = [&](std::size_t at, char16_t first, char16_t last) {
        return at < units.size() && units[at] >= first && units[at] <= last;
    };
    if (isBetween(index, 0xD800, 0xDBFF) && isBetween(index + 1, 0xDC00, 0xDFFF)) {
        return {0x10000U + ((units[index] - 0xD800U) << 10U) + (units[index + 1] - 0xDC00U), 2};
    }
    return isBetween(index, 0xD800, 0xDFFF) ? std::pair(U'\0', std::size_t{0})
                                            : std::pair(char32_t{units[index]}, std::size_t{1});
}

std::string utf8Of(char32_t character) {
    const auto byte = [](char32_t bits) { return static_cast<char>(bits); };
    if (character < 0x80) {
        return {byte(character)};
    }
    const auto following = [&](unsigned shift) {
        return byte(0x80U | ((character >> shift) & 0x3FU));
    };
    if (character < 0x800) {
        return {byte(0xC0U | character >> 6U), following(0)};
    }
    if (character < 0x10000) {
        return {byte(0xE0U | character >> 12U), following(6), following(0)};
    }
    return {byte(0xF0U | character >> 18U), following(12), following(6), following(0)};
}

/// A value as a number of the type `Target`, and whether it is the same number.
template <typename Target> bool storeNumber(const Number::Value& value, void* target) {
    const auto store = [target](Target converted) {
        std::memcpy(target, &converted, sizeof converted);
    };
    if (const auto* whole = std::get_if<std::int64_t>(&value)) {
        const auto converted = static_cast<Target>(*whole);
        store(converted);
        if constexpr (std::is_same_v<Target, double>) {
            return static_cast<WideInteger>(converted) == *whole;
        }
        return static_cast<std::int64_t>(converted) == *whole;
    }
    if (const auto* large = std::get_if<WideInteger>(&value)) {
        const auto converted = static_cast<Target>(*large);
        store(converted);
        if constexpr (std::is_same_v<Target, double>) {
            return static_cast<WideInteger>(converted) == *large;
        }
        return sizeof(Target) == sizeof(std::int64_t); // wrapped, and true all the same
    }
    const double number = std::get<double>(value);
    if constexpr (std::is_same_v<Target, double>) {
        store(number);
        return true;
    } else {
        constexpr auto limit = static_cast<double>(std::numeric_limits<Target>::max());
        if (!(std::abs(number) < limit)) {
            store(number > 0 ? std::numeric_limits<Target>::max()
                             : std::numeric_limits<Target>::min());
            return false;
        }
        store(static_cast<Target>(number));
        return std::trunc(number) == number;
    }
}

void requireRetaining(const void* callBacks, const void* retaining) {
    if (callBacks != retaining) {
        abortOn("a container that does not retain what it holds");
    }
}

} // namespace

CFNumberRef standin::makeLargeNumber(WideInteger value) {
    return as<CFNumberRef>(makeOf<Number>(Number::Value(value)));
}

extern "C" {

const CFAllocatorRef kCFAllocatorDefault = nullptr;
const CFBooleanRef kCFBooleanTrue = as<CFBooleanRef>(constantOf<TruthValue>(true));
const CFBooleanRef kCFBooleanFalse = as<CFBooleanRef>(constantOf<TruthValue>(false));
const CFNullRef kCFNull = as<CFNullRef>(constantOf<Null>());
const CFTimeInterval kCFAbsoluteTimeIntervalSince1970 = 978'307'200;
const CFArrayCallBacks kCFTypeArrayCallBacks = {};
const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks = {};
const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks = {};
const CFErrorDomain kCFErrorDomainOSStatus = CFSTR("NSOSStatusErrorDomain");
const CFStringRef kCFErrorLocalizedDescriptionKey = CFSTR("NSLocalizedDescription");

CFTypeID CFGetTypeID(CFTypeRef object) {
    return reinterpret_cast<CFTypeID>(objectOf(object).type());
}

Boolean CFEqual(CFTypeRef left, CFTypeRef right) {
    return areEqual(left, right);
}

CFTypeID CFStringGetTypeID() {
    return standin::typeID<String>();
}

CFStringRef __CFStringMakeConstantString(const char* text) {
    static std::mutex mutex;
    static auto* const constants = new std::map<std::string, CFTypeRef>;
    const std::scoped_lock lock(mutex);
    CFTypeRef& constant = (*constants)[text];
    if (constant == nullptr) {
        constant = constantOf<String>(unitsOf(charactersOf(text).value()));
    }
    return as<CFStringRef>(constant);
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef /*allocator*/, const UInt8* bytes, CFIndex count,
                                    CFStringEncoding encoding, Boolean /*isExternal*/) {
    const FallibleCall call("CFStringCreateWithBytes");
    if (encoding != kCFStringEncodingUTF8) {
        abortOn("an encoding other than UTF-8");
    }
    const auto* const text = reinterpret_cast<const char*>(bytes);
    auto characters = charactersOf(
        count == 0 ? std::string_view() : std::string_view(text, static_cast<std::size_t>(count)));
    if (call.fails() || !characters) {
        return nullptr;
    }
    if (characters->starts_with(U'\uFEFF')) {
        characters->erase(0, 1);
    }
    return as<CFStringRef>(makeOf<String>(unitsOf(*characters)));
}

CFStringRef CFStringCreateWithCharacters(CFAllocatorRef /*allocator*/, const UniChar* characters,
                                         CFIndex count) {
    const FallibleCall call("CFStringCreateWithCharacters");
    if (call.fails()) {
        return nullptr;
    }
    return as<CFStringRef>(makeOf<String>(std::u16string(characters, characters + count)));
}

CFIndex CFStringGetLength(CFStringRef string) {
    return static_cast<CFIndex>(contentOf<String>(string).units.size());
}

CFIndex CFStringGetBytes(CFStringRef string, CFRange range, CFStringEncoding encoding,
                         UInt8 lossByte, Boolean isExternalRepresentation, UInt8* buffer,
                         CFIndex bufferLength, CFIndex* usedLength) {
    const std::u16string& all = contentOf<String>(string).units;
    if (range.location < 0 || range.length < 0 ||
        range.location + range.length > static_cast<CFIndex>(all.size())) {
        abortOn("a range outside of its CFString");
    }
    if (encoding != kCFStringEncodingUTF8 || lossByte != 0 || isExternalRepresentation != 0) {
        abortOn("a conversion of a CFString that is not modelled");
    }
    const auto units = std::u16string_view(all).substr(static_cast<std::size_t>(range.location),
                                                       static_cast<std::size_t>(range.length));
    std::size_t converted = 0;
    std::string text;
    while (converted < units.size()) {
        const auto [character, taken] = characterAt(units, converted);
        const std::string bytes = utf8Of(character);
        const bool fits =
            buffer == nullptr || static_cast<CFIndex>(text.size() + bytes.size()) <= bufferLength;
        if (taken == 0 || !fits) {
            break;
        }
        text += bytes;
        converted += taken;
    }
    if (buffer != nullptr && !text.empty()) {
        std::memcpy(buffer, text.data(), text.size());
    }
    if (usedLength != nullptr) {
        *usedLength = static_cast<CFIndex>(text.size());
    }
    return static_cast<CFIndex>(converted);
}

CFTypeID CFBooleanGetTypeID() {
    return standin::typeID<TruthValue>();
}

Boolean CFBooleanGetValue(CFBooleanRef boolean) {
    return contentOf<TruthValue>(boolean).value;
}

CFTypeID CFNumberGetTypeID() {
    return standin::typeID<Number>();
}

CFNumberRef CFNumberCreate(CFAllocatorRef /*allocator*/, CFNumberType type, const void* value) {
    const FallibleCall call("CFNumberCreate");
    const auto read = [value](auto number) {
        std::memcpy(&number, value, sizeof number);
        return number;
    };
    Number::Value number;
    switch (type) {
    case kCFNumberSInt32Type:
    case kCFNumberIntType:
        number = std::int64_t{read(std::int32_t{})};
        break;
    case kCFNumberSInt64Type:
    case kCFNumberLongType:
    case kCFNumberLongLongType:
    case kCFNumberCFIndexType:
        number = read(std::int64_t{});
        break;
    case kCFNumberFloat64Type:
    case kCFNumberDoubleType:
        number = read(double{});
        break;
    default:
        abortOn("a type of CFNumber that is not modelled");
    }
    return call.fails() ? nullptr : as<CFNumberRef>(makeOf<Number>(number));
}

Boolean CFNumberIsFloatType(CFNumberRef number) {
    return std::holds_alternative<double>(contentOf<Number>(number).value);
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value) {
    const Number::Value& content = contentOf<Number>(number).value;
    switch (type) {
    case kCFNumberSInt32Type:
    case kCFNumberIntType:
        return storeNumber<std::int32_t>(content, value);
    case kCFNumberSInt64Type:
    case kCFNumberLongType:
    case kCFNumberLongLongType:
    case kCFNumberCFIndexType:
        return storeNumber<std::int64_t>(content, value);
    case kCFNumberFloat64Type:
    case kCFNumberDoubleType:
        return storeNumber<double>(content, value);
    }
    abortOn("a type of CFNumber that is not modelled");
}

CFTypeID CFDateGetTypeID() {
    return standin::typeID<Date>();
}

CFDateRef CFDateCreate(CFAllocatorRef /*allocator*/, CFAbsoluteTime time) {
    const FallibleCall call("CFDateCreate");
    return call.fails() ? nullptr : as<CFDateRef>(makeOf<Date>(time));
}

CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef date) {
    return contentOf<Date>(date).seconds;
}

CFTypeID CFDataGetTypeID() {
    return standin::typeID<Data>();
}

CFDataRef CFDataCreate(CFAllocatorRef /*allocator*/, const UInt8* bytes, CFIndex length) {
    const FallibleCall call("CFDataCreate");
    if (length < 0) {
        abortOn("a CFData of negative length");
    }
    if (call.fails()) {
        return nullptr;
    }
    return as<CFDataRef>(makeOf<Data>(std::vector<UInt8>(bytes, bytes + length)));
}

CFIndex CFDataGetLength(CFDataRef data) {
    return static_cast<CFIndex>(contentOf<Data>(data).bytes.size());
}

const UInt8* CFDataGetBytePtr(CFDataRef data) {
    const auto& bytes = contentOf<Data>(data).bytes;
    return bytes.empty() ? nullptr : bytes.data();
}

CFTypeID CFArrayGetTypeID() {
    return standin::typeID<Array>();
}

CFArrayRef CFArrayCreate(CFAllocatorRef /*allocator*/, const void** values, CFIndex count,
                         const CFArrayCallBacks* callBacks) {
    const FallibleCall call("CFArrayCreate");
    requireRetaining(callBacks, &kCFTypeArrayCallBacks);
    if (call.fails()) {
        return nullptr;
    }
    auto array = std::make_unique<Array>();
    std::for_each(values, values + count, [&](CFTypeRef value) { array->values.add(value); });
    return as<CFArrayRef>(make(std::move(array)));
}

CFIndex CFArrayGetCount(CFArrayRef array) {
    return static_cast<CFIndex>(contentOf<Array>(array).values.all().size());
}

const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index) {
    const auto& values = contentOf<Array>(array).values.all();
    if (index < 0 || index >= static_cast<CFIndex>(values.size())) {
        abortOn("an index outside of its CFArray");
    }
    return values[static_cast<std::size_t>(index)];
}

CFTypeID CFDictionaryGetTypeID() {
    return standin::typeID<Dictionary>();
}

CFDictionaryRef CFDictionaryCreate(CFAllocatorRef /*allocator*/, const void** keys,
                                   const void** values, CFIndex count,
                                   const CFDictionaryKeyCallBacks* keyCallBacks,
                                   const CFDictionaryValueCallBacks* valueCallBacks) {
    const FallibleCall call("CFDictionaryCreate");
    requireRetaining(keyCallBacks, &kCFTypeDictionaryKeyCallBacks);
    requireRetaining(valueCallBacks, &kCFTypeDictionaryValueCallBacks);
    if (call.fails()) {
        return nullptr;
    }
    auto dictionary = std::make_unique<Dictionary>(false);
    for (CFIndex index = 0; index < count; ++index) {
        dictionary->set(keys[index], values[index]);
    }
    return as<CFDictionaryRef>(make(std::move(dictionary)));
}

CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef /*allocator*/, CFIndex /*capacity*/,
                                                 const CFDictionaryKeyCallBacks* keyCallBacks,
                                                 const CFDictionaryValueCallBacks* valueCallBacks) {
    const FallibleCall call("CFDictionaryCreateMutable");
    requireRetaining(keyCallBacks, &kCFTypeDictionaryKeyCallBacks);
    requireRetaining(valueCallBacks, &kCFTypeDictionaryValueCallBacks);
    return call.fails() ? nullptr : as<CFMutableDictionaryRef>(makeOf<Dictionary>(true));
}

void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key, const void* value) {
    auto& content = contentOf<Dictionary>(dictionary);
    if (!content.isMutable) {
        abortOn("a change of a CFDictionary that does not change");
    }
    content.set(key, value);
}

CFIndex CFDictionaryGetCount(CFDictionaryRef dictionary) {
    return static_cast<CFIndex>(contentOf<Dictionary>(dictionary).keys.all().size());
}

const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key) {
    const auto& content = contentOf<Dictionary>(dictionary);
    const auto index = content.indexOf(key);
    return index ? content.values.all()[*index] : nullptr;
}

void CFDictionaryGetKeysAndValues(CFDictionaryRef dictionary, const void** keys,
                                  const void** values) {
    const auto& content = contentOf<Dictionary>(dictionary);
    if (keys != nullptr) {
        std::ranges::copy(content.keys.all(), keys);
    }
    if (values != nullptr) {
        std::ranges::copy(content.values.all(), values);
    }
}

CFTypeID CFNullGetTypeID() {
    return standin::typeID<Null>();
}

CFTypeID CFURLGetTypeID() {
    return standin::typeID<URL>();
}

CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef /*allocator*/, const UInt8* path,
                                                 CFIndex length, Boolean /*isDirectory*/) {
    const FallibleCall call("CFURLCreateFromFileSystemRepresentation");
    if (call.fails() || length == 0) {
        return nullptr;
    }
    return as<CFURLRef>(makeOf<URL>(std::string(path, path + length)));
}

Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean /*resolveAgainstBase*/,
                                         UInt8* buffer, CFIndex bufferLength) {
    const std::string& path = contentOf<URL>(url).path;
    if (static_cast<CFIndex>(path.size()) >= bufferLength) {
        return false;
    }
    std::memcpy(buffer, path.c_str(), path.size() + 1);
    return true;
}

CFTypeID CFErrorGetTypeID() {
    return standin::typeID<Error>();
}

CFErrorRef CFErrorCreate(CFAllocatorRef /*allocator*/, CFErrorDomain domain, CFIndex code,
                         CFDictionaryRef userInfo) {
    const FallibleCall call("CFErrorCreate");
    return call.fails() ? nullptr : as<CFErrorRef>(makeOf<Error>(domain, code, userInfo));
}

CFErrorDomain CFErrorGetDomain(CFErrorRef error) {
    return contentOf<Error>(error).domain();
}

CFIndex CFErrorGetCode(CFErrorRef error) {
    return contentOf<Error>(error).code;
}

CFStringRef CFErrorCopyDescription(CFErrorRef error) {
    const FallibleCall call("CFErrorCopyDescription");
    const auto& content = contentOf<Error>(error);
    if (call.fails()) {
        return nullptr;
    }
    const void* description =
        content.userInfo() == nullptr
            ? nullptr
            : CFDictionaryGetValue(content.userInfo(), kCFErrorLocalizedDescriptionKey);
    return as<CFStringRef>(CFRetain(
        description != nullptr ? description : CFSTR("The operation couldn’t be completed.")));
}

} // extern "C"
