// SPDX-License-Identifier: Apache-2.0
#include "Tests/Platform/Apple/StandIns/StandInValues.h"

#include "Tests/Platform/Apple/StandIns/StandInCoreFoundation.h"
#include "Tests/Platform/Apple/StandIns/StandInObjects.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <limits>
#include <vector>

namespace standin {
namespace {

CFTypeRef copyNumber(const VELValue& number) {
    if (number.is_number_float()) {
        const auto value = number.get<double>();
        return CFNumberCreate(kCFAllocatorDefault, kCFNumberDoubleType, &value);
    }
    constexpr std::uint64_t largest = std::numeric_limits<std::int64_t>::max();
    if (number.is_number_unsigned() && number.get<std::uint64_t>() > largest) {
        return makeLargeNumber(number.get<std::uint64_t>());
    }
    const auto value = number.get<std::int64_t>();
    return CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &value);
}

void release(const std::vector<CFTypeRef>& references) {
    for (const CFTypeRef reference : references) {
        CFRelease(reference);
    }
}

CFTypeRef copyContainer(const VELValue& container) {
    std::vector<CFTypeRef> keys;
    std::vector<CFTypeRef> values;
    for (const auto& [key, value] : container.items()) {
        if (container.is_object()) {
            keys.push_back(copyString(key));
        }
        values.push_back(copyValue(value));
    }
    const auto count = static_cast<CFIndex>(values.size());
    const CFTypeRef copy =
        container.is_array()
            ? static_cast<CFTypeRef>(
                  CFArrayCreate(kCFAllocatorDefault, values.data(), count, &kCFTypeArrayCallBacks))
            : CFDictionaryCreate(kCFAllocatorDefault, keys.data(), values.data(), count,
                                 &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    release(keys);
    release(values);
    return copy;
}

VELValue readableNumber(CFNumberRef number) {
    if (CFNumberIsFloatType(number)) {
        double value = 0;
        CFNumberGetValue(number, kCFNumberDoubleType, &value);
        return value;
    }
    std::int64_t value = 0;
    CFNumberGetValue(number, kCFNumberSInt64Type, &value);
    return value;
}

std::string hexadecimal(const std::string& bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const char byte : bytes) {
        text += digits[static_cast<unsigned char>(byte) >> 4U];
        text += digits[static_cast<unsigned char>(byte) & 0xFU];
    }
    return text;
}

} // namespace

CFStringRef copyString(std::string_view text) {
    return CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(text.data()),
                                   static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false);
}

CFDataRef copyData(std::string_view bytes) {
    return CFDataCreate(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.data()),
                        static_cast<CFIndex>(bytes.size()));
}

CFTypeRef copyValue(const VELValue& value) {
    if (value.is_null()) {
        return CFRetain(kCFNull);
    }
    if (value.is_boolean()) {
        return CFRetain(value.get<bool>() ? kCFBooleanTrue : kCFBooleanFalse);
    }
    if (value.is_string()) {
        return copyString(value.get_ref<const std::string&>());
    }
    return value.is_number() ? copyNumber(value) : copyContainer(value);
}

std::string textOf(CFStringRef string) {
    const CFRange all = CFRangeMake(0, CFStringGetLength(string));
    CFIndex size = 0;
    CFStringGetBytes(string, all, kCFStringEncodingUTF8, 0, false, nullptr, 0, &size);
    std::string text(static_cast<std::size_t>(size), '\0');
    CFStringGetBytes(string, all, kCFStringEncodingUTF8, 0, false,
                     reinterpret_cast<UInt8*>(text.data()), size, &size);
    return text;
}

std::string bytesOf(CFDataRef data) {
    const UInt8* bytes = CFDataGetBytePtr(data);
    return {bytes, bytes + CFDataGetLength(data)};
}

VELValue readable(CFTypeRef object) {
    const CFTypeID type = CFGetTypeID(object);
    if (type == CFStringGetTypeID()) {
        return textOf(static_cast<CFStringRef>(object));
    }
    if (type == CFDataGetTypeID()) {
        return hexadecimal(bytesOf(static_cast<CFDataRef>(object)));
    }
    if (type == CFBooleanGetTypeID()) {
        return CFBooleanGetValue(static_cast<CFBooleanRef>(object)) != 0;
    }
    if (type == CFNumberGetTypeID()) {
        return readableNumber(static_cast<CFNumberRef>(object));
    }
    if (type == CFNullGetTypeID()) {
        return nullptr;
    }
    if (type == CFArrayGetTypeID()) {
        const auto array = static_cast<CFArrayRef>(object);
        VELValue values = VELValue::array();
        for (CFIndex index = 0; index < CFArrayGetCount(array); ++index) {
            values.push_back(readable(CFArrayGetValueAtIndex(array, index)));
        }
        return values;
    }
    const auto dictionary = static_cast<CFDictionaryRef>(object);
    const auto count = static_cast<std::size_t>(CFDictionaryGetCount(dictionary));
    std::vector<CFTypeRef> keys(count);
    std::vector<CFTypeRef> values(count);
    CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
    VELValue entries = VELValue::object();
    for (std::size_t index = 0; index < count; ++index) {
        entries[textOf(static_cast<CFStringRef>(keys[index]))] = readable(values[index]);
    }
    return entries;
}

} // namespace standin
