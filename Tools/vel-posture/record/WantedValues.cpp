// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/record/WantedValues.h"

#include "Base/VELJSON.h"
#include "Base/VELText.h"
#include "Classes/Mac/VELCertificateCheck.h"
#include "Tools/vel-posture/RequestSource.h"
#include "vel_device_trust/vel_device_trust.h"

#include <nlohmann/json.hpp>

#include <string_view>

namespace {

/// The text under `key`; null if there is none.
const std::string* textUnder(std::string_view key, const VELValue& value) {
    const VELValue* text = vel::valueUnder(key, value);
    return text != nullptr ? text->get_ptr<const std::string*>() : nullptr;
}

/// The list under `key`; an empty one if there is none.
const VELValue& listUnder(std::string_view key, const VELValue& value) {
    static const VELValue empty = VELValue::array();
    const VELValue* list = vel::valueUnder(key, value);
    return list != nullptr && list->is_array() ? *list : empty;
}

void addEntry(const VELValue& entry, WantedValues& wanted) {
    const std::string* type = textUnder("type", entry);
    if (type == nullptr) {
        return;
    }
    if (*type == "perDeviceCertificatePresent") {
        wanted.identityEntries.push_back(entry);
    } else if (*type == "certificatePresent") {
        if (const std::string* fingerprint = textUnder("sha1", entry)) {
            wanted.fingerprints.insert(VELCertificateCheck::normalizeSHA1(*fingerprint));
        }
    } else if (*type == "anyProcessRunning") {
        for (const VELValue& process : listUnder("processes", entry)) {
            if (const std::string* name = textUnder("name", process)) {
                wanted.processes.insert(*name);
                if (process.contains("signingCertificateSubjectOU")) {
                    wanted.signedProcesses.insert(*name);
                }
            }
        }
    }
}

} // namespace

WantedValues wantedValues(std::span<const VELValue> requests) {
    WantedValues wanted;
    for (const VELValue& request : requests) {
        for (const VELValue& name : listUnder(kIDParams, request)) {
            const std::string text = name.is_string() ? name.get<std::string>() : "";
            wanted.serialNumber |= vel::lowercase(text) == kMacSerialNumberKey;
            wanted.deviceID |= vel::lowercase(text) == kDeviceIDKey;
        }
        for (const VELValue& entry : listUnder(platformIdentifier, request)) {
            addEntry(entry, wanted);
        }
    }
    return wanted;
}
