// SPDX-License-Identifier: Apache-2.0
#include "Base/VELPropertyList.h"

#include "Base/VELPropertyListBuilder.h"

#include <nlohmann/json.hpp>

#include <utility>

namespace vel {
namespace {

PropertyListReading read(std::string_view bytes) {
    if (bytes.empty()) {
        return {std::nullopt, "no bytes"};
    }
    if (bytes.size() > maximumPropertyListBytes) {
        return {std::nullopt, "more than " + std::to_string(maximumPropertyListBytes) + " bytes"};
    }
    return bytes.starts_with("bplist") ? readBinaryPropertyList(bytes) : readXMLPropertyList(bytes);
}

/// A UID that is the root is not a dictionary: it becomes its number.
void unwrapUID(VELValue& root) {
    if (root.is_object() && root.size() == 1 && root.contains("CF$UID") &&
        root["CF$UID"].is_number_integer()) {
        root = VELValue(root["CF$UID"]);
    }
}

} // namespace

std::optional<VELValue> readPropertyList(std::string_view bytes, std::optional<VELError>* error) {
    PropertyListReading reading = read(bytes);
    if (!reading.value && error != nullptr) {
        constexpr std::int64_t readCorruptError = 3840;
        *error = VELError::withLocalizedDescription("NSCocoaErrorDomain", readCorruptError,
                                                    "The property list cannot be read: " +
                                                        reading.failure);
    }
    if (reading.value) {
        unwrapUID(*reading.value);
    }
    return std::move(reading.value);
}

} // namespace vel
