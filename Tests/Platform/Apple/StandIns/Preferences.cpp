// SPDX-License-Identifier: Apache-2.0
//
// The preferences of the described Mac.
#include "Tests/Platform/Apple/StandIns/StandInMac.h"
#include "Tests/Platform/Apple/StandIns/StandInObjects.h"
#include "Tests/Platform/Apple/StandIns/StandInValues.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <string_view>

namespace {

using standin::FallibleCall;
using Store = VELSimulatedPreferences::Store;

const VELValue* find(const Store& store, CFStringRef key, CFStringRef applicationID) {
    const auto application = store.find(standin::textOf(applicationID));
    if (application == store.end()) {
        return nullptr;
    }
    const auto value = application->second.find(standin::textOf(key));
    return value == application->second.end() ? nullptr : &value->second;
}

/// A new reference to the value of the first store that has one, or NULL.
CFTypeRef copyStored(const char* call, std::initializer_list<const Store*> stores, CFStringRef key,
                     CFStringRef applicationID) {
    const auto& answers = StandInMac::current().answers;
    if (const auto answer = answers.find(call); answer != answers.end()) {
        return answer->second();
    }
    for (const Store* store : stores) {
        if (const VELValue* value = find(*store, key, applicationID)) {
            return standin::copyValue(*value);
        }
    }
    return nullptr;
}

/// A text that is wholly an integer, with white space before it allowed, held to 32 bits.
std::optional<std::int64_t> integerOfText(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\r"), text.size()));
    const bool isNegative = text.starts_with('-');
    if (isNegative || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    if (text.empty() || text.find_first_not_of("0123456789") != std::string_view::npos) {
        return std::nullopt;
    }
    using Limits = std::numeric_limits<std::int32_t>;
    std::int64_t magnitude = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), magnitude);
    if (error != std::errc()) {
        magnitude = std::numeric_limits<std::int64_t>::max();
    }
    return std::clamp<std::int64_t>(isNegative ? -magnitude : magnitude, Limits::min(),
                                    Limits::max());
}

std::optional<std::int64_t> integerOf(CFTypeRef value) {
    if (CFGetTypeID(value) == CFStringGetTypeID()) {
        return integerOfText(standin::textOf(static_cast<CFStringRef>(value)));
    }
    const bool isInteger = CFGetTypeID(value) == CFNumberGetTypeID() &&
                           !CFNumberIsFloatType(static_cast<CFNumberRef>(value));
    std::int64_t integer = 0;
    return isInteger &&
                   CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt64Type, &integer)
               ? std::optional(integer)
               : std::nullopt;
}

} // namespace

extern "C" {

const CFStringRef kCFPreferencesAnyUser = CFSTR("kCFPreferencesAnyUser");
const CFStringRef kCFPreferencesCurrentUser = CFSTR("kCFPreferencesCurrentUser");
const CFStringRef kCFPreferencesCurrentHost = CFSTR("kCFPreferencesCurrentHost");

CFPropertyListRef CFPreferencesCopyValue(CFStringRef key, CFStringRef applicationID,
                                         CFStringRef user, CFStringRef host) {
    const FallibleCall call("CFPreferencesCopyValue");
    const auto& described = StandInMac::current().described.preferenceStore;
    if (call.fails() || !CFEqual(host, kCFPreferencesCurrentHost)) {
        return nullptr;
    }
    const Store& store = CFEqual(user, kCFPreferencesAnyUser) ? described.machine : described.user;
    return copyStored("CFPreferencesCopyValue", {&store}, key, applicationID);
}

CFIndex CFPreferencesGetAppIntegerValue(CFStringRef key, CFStringRef applicationID,
                                        Boolean* keyExistsAndHasValidFormat) {
    const FallibleCall call("CFPreferencesGetAppIntegerValue");
    const auto& described = StandInMac::current().described.preferenceStore;
    const CFTypeRef value =
        call.fails() ? nullptr
                     : copyStored("CFPreferencesGetAppIntegerValue",
                                  {&described.user, &described.machine}, key, applicationID);
    const auto integer = value != nullptr ? integerOf(value) : std::nullopt;
    if (value != nullptr) {
        CFRelease(value);
    }
    *keyExistsAndHasValidFormat = integer.has_value();
    return integer.value_or(0);
}

} // extern "C"
