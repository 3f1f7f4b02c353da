// SPDX-License-Identifier: Apache-2.0
#include "vel_device_trust/VELError.h"

#include "Base/VELJSON.h"
#include "Base/VELText.h"
#include "vel_device_trust/VELPostureCheckErrors.h"

#include <nlohmann/json.hpp>

#include <utility>

// Here, not beside the functions of the header: reading an error needs it.
const char* const kUnlocalizedDescriptionKey = "com.vel.posturecheck.unlocalized-description";

namespace {

constexpr const char* localizedDescriptionKey = "NSLocalizedDescription";

} // namespace

struct VELError::Contents {
    std::string domain;
    std::int64_t code;
    VELDictionary userInfo;
};

VELError::VELError(std::string domain, std::int64_t code, VELDictionary userInfo)
    : _contents(std::make_shared<const Contents>(
          Contents{std::move(domain), code, std::move(userInfo)})) {}

VELError VELError::withLocalizedDescription(std::string domain, std::int64_t code,
                                            std::string localizedDescription) {
    VELDictionary userInfo = VELValue::object();
    userInfo[localizedDescriptionKey] = std::move(localizedDescription);
    return {std::move(domain), code, std::move(userInfo)};
}

const std::string& VELError::domain() const noexcept {
    return _contents->domain;
}

std::int64_t VELError::code() const noexcept {
    return _contents->code;
}

const VELDictionary& VELError::userInfo() const noexcept {
    return _contents->userInfo;
}

std::string VELError::description() const {
    return "Error Domain=" + vel::validUTF8(domain()) + " Code=" + std::to_string(code()) +
           " UserInfo=" + vel::compactText(userInfo());
}

std::string VELError::message() const {
    for (const char* key : {kUnlocalizedDescriptionKey, localizedDescriptionKey}) {
        if (const VELValue* value = vel::valueUnder(key, userInfo())) {
            return vel::validUTF8(vel::displayText(*value));
        }
    }
    return description();
}
