// SPDX-License-Identifier: Apache-2.0
#include "Platform/Apple/VELCFValue.h"

#include "Base/VELBase64.h"
#include "Base/VELMoment.h"
#include "Base/VELPropertyList.h"
#include "Platform/VELSecurityStatus.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vel {
namespace {

std::optional<std::string> textOfString(CFStringRef string) {
    const CFRange all = {0, ::CFStringGetLength(string)};
    const auto convert = [&](UInt8* buffer, CFIndex capacity, CFIndex* used) {
        return ::CFStringGetBytes(string, all, kCFStringEncodingUTF8, 0, false, buffer, capacity,
                                  used) == all.length;
    };
    CFIndex size = 0;
    if (!convert(nullptr, 0, &size)) {
        return std::nullopt;
    }
    std::string text(static_cast<std::size_t>(size), '\0');
    if (!convert(reinterpret_cast<UInt8*>(text.data()), size, &size)) {
        return std::nullopt;
    }
    return text;
}

std::string bytesOfData(CFDataRef data) {
    const UInt8* bytes = ::CFDataGetBytePtr(data);
    const auto size = static_cast<std::size_t>(::CFDataGetLength(data));
    // There may be no pointer to no bytes.
    return size == 0 ? std::string() : std::string(reinterpret_cast<const char*>(bytes), size);
}

/// A number above the signed 64 bits answers wrapped as an integer, and as a double shows it.
VELValue valueOfNumber(CFNumberRef number) {
    double real = 0;
    ::CFNumberGetValue(number, kCFNumberDoubleType, &real); // its answer: whether that is exact
    if (::CFNumberIsFloatType(number)) {
        return real;
    }
    std::int64_t integer = 0;
    ::CFNumberGetValue(number, kCFNumberSInt64Type, &integer);
    const bool isSigned = integer < 0 ? real >= -0x1p63 && real < 0 : real >= 0 && real <= 0x1p63;
    if (isSigned) {
        return integer;
    }
    if (integer < 0 && real > 0 && real <= 0x1p64) {
        return static_cast<std::uint64_t>(integer);
    }
    return real;
}

std::optional<VELValue> valueAtDepth(CFTypeRef object, std::size_t depth);

std::optional<VELValue> valueOfArray(CFArrayRef array, std::size_t depth) {
    VELValue values = VELValue::array();
    const CFIndex count = ::CFArrayGetCount(array);
    for (CFIndex index = 0; index < count; ++index) {
        auto value = valueAtDepth(::CFArrayGetValueAtIndex(array, index), depth);
        if (!value) {
            return std::nullopt;
        }
        values.push_back(*std::move(value));
    }
    return values;
}

std::optional<VELValue> valueOfDictionary(CFDictionaryRef dictionary, std::size_t depth) {
    const auto count = static_cast<std::size_t>(::CFDictionaryGetCount(dictionary));
    std::vector<const void*> keys(count);
    std::vector<const void*> objects(count);
    ::CFDictionaryGetKeysAndValues(dictionary, keys.data(), objects.data());
    VELValue values = VELValue::object();
    for (std::size_t index = 0; index < count; ++index) {
        const auto key = textOfObject(keys[index]);
        auto value = valueAtDepth(objects[index], depth);
        if (!key || !value) {
            return std::nullopt;
        }
        values[*key] = *std::move(value);
    }
    return values;
}

std::optional<VELValue> valueOfContainer(CFTypeRef object, CFTypeID type, std::size_t depth) {
    if (depth == maximumPropertyListDepth) {
        return std::nullopt;
    }
    return type == ::CFArrayGetTypeID()
               ? valueOfArray(static_cast<CFArrayRef>(object), depth + 1)
               : valueOfDictionary(static_cast<CFDictionaryRef>(object), depth + 1);
}

/// `depth` containers are round it.
std::optional<VELValue> valueAtDepth(CFTypeRef object, std::size_t depth) {
    if (object == nullptr) {
        return std::nullopt;
    }
    const CFTypeID type = ::CFGetTypeID(object);
    if (type == ::CFStringGetTypeID()) {
        return textOfString(static_cast<CFStringRef>(object));
    }
    if (type == ::CFBooleanGetTypeID()) {
        return VELValue(::CFBooleanGetValue(static_cast<CFBooleanRef>(object)) != 0);
    }
    if (type == ::CFNumberGetTypeID()) {
        return valueOfNumber(static_cast<CFNumberRef>(object));
    }
    if (type == ::CFDateGetTypeID()) {
        return dateText(::CFDateGetAbsoluteTime(static_cast<CFDateRef>(object)));
    }
    if (type == ::CFDataGetTypeID()) {
        return base64Text(bytesOfData(static_cast<CFDataRef>(object)));
    }
    if (type == ::CFArrayGetTypeID() || type == ::CFDictionaryGetTypeID()) {
        return valueOfContainer(object, type, depth);
    }
    return std::nullopt;
}

} // namespace

bool isOfType(CFTypeRef object, CFTypeID type) {
    return object != nullptr && ::CFGetTypeID(object) == type;
}

std::optional<VELValue> valueOfObject(CFTypeRef object) {
    return valueAtDepth(object, 0);
}

std::optional<std::string> textOfObject(CFTypeRef object) {
    if (!isOfType(object, ::CFStringGetTypeID())) {
        return std::nullopt;
    }
    return textOfString(static_cast<CFStringRef>(object));
}

std::optional<std::string> bytesOfObject(CFTypeRef object) {
    if (!isOfType(object, ::CFDataGetTypeID())) {
        return std::nullopt;
    }
    return bytesOfData(static_cast<CFDataRef>(object));
}

VELError errorOfObject(CFErrorRef object) {
    constexpr const char* statusDomain = "NSOSStatusErrorDomain";
    if (object == nullptr) {
        return VELError::withLocalizedDescription(
            statusDomain, static_cast<std::int64_t>(VELSecurityStatus::internalComponent),
            "An internal component failed.");
    }
    const CFIndex code = ::CFErrorGetCode(object);
    const auto description = VELCFReference<CFStringRef>::adopt(::CFErrorCopyDescription(object));
    return VELError::withLocalizedDescription(
        textOfObject(::CFErrorGetDomain(object)).value_or(statusDomain), code,
        textOfObject(description.get()).value_or("error " + std::to_string(code)));
}

VELCFReference<CFStringRef> stringOfText(std::string_view text) {
    return VELCFReference<CFStringRef>::adopt(
        ::CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(text.data()),
                                  static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false));
}

VELCFReference<CFDataRef> dataOfBytes(std::string_view bytes) {
    return VELCFReference<CFDataRef>::adopt(
        ::CFDataCreate(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.data()),
                       static_cast<CFIndex>(bytes.size())));
}

VELCFReference<CFArrayRef> arrayOfOne(CFTypeRef object) {
    if (object == nullptr) {
        return {};
    }
    return VELCFReference<CFArrayRef>::adopt(
        ::CFArrayCreate(kCFAllocatorDefault, &object, 1, &kCFTypeArrayCallBacks));
}

VELCFReference<CFDictionaryRef>
dictionaryOf(std::initializer_list<std::pair<CFTypeRef, CFTypeRef>> entries) {
    std::vector<const void*> keys;
    std::vector<const void*> values;
    for (const auto& [key, value] : entries) {
        if (key == nullptr || value == nullptr) {
            return {};
        }
        keys.push_back(key);
        values.push_back(value);
    }
    return VELCFReference<CFDictionaryRef>::adopt(::CFDictionaryCreate(
        kCFAllocatorDefault, keys.data(), values.data(), static_cast<CFIndex>(keys.size()),
        &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
}

} // namespace vel
