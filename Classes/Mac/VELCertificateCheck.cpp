// SPDX-License-Identifier: Apache-2.0
#include "Classes/Mac/VELCertificateCheck.h"

#include "Base/VELJSON.h"
#include "Base/VELText.h"
#include "Classes/Mac/VELErrorParameter.h"
#include "Classes/Shared/VELDTLogger.h"
#include "Classes/Shared/VELErrorTexts.h"
#include "vel_device_trust/VELPostureCheckErrors.h"

#include <nlohmann/json.hpp>

#include <optional>
#include <stdexcept>
#include <utility>

namespace {

constexpr const char* searchFunction = "-[VELCertificateCheck certificateInstalledWithSHA1:error:]";

} // namespace

VELCertificateCheck::VELCertificateCheck(std::shared_ptr<const VELPlatform> platform)
    : _platform(std::move(platform)) {}

std::optional<std::vector<std::string>> VELCertificateCheck::requiredParameters() const {
    return {{"sha1"}};
}

bool VELCertificateCheck::runCheckWithParameters(const VELDictionary& parameters,
                                                 std::optional<VELError>* error) const {
    const VELValue* sha1 = vel::valueUnder("sha1", parameters);
    return certificateInstalledWithSHA1(sha1 != nullptr ? *sha1 : VELValue(), error);
}

bool VELCertificateCheck::certificateInstalledWithSHA1(const VELValue& wanted,
                                                       std::optional<VELError>* error) const {
    VELDTLogger::logMessageWithLevel(VELLogLevel::information, searchFunction,
                                     "SHA1 we are looking for: %@", wanted);
    if (!wanted.is_string()) {
        throw std::invalid_argument(vel::errortext::notAString("sha1"));
    }
    const std::string normalized = normalizeSHA1(wanted.get_ref<const std::string&>());
    VELDTLogger::logMessageWithLevel(VELLogLevel::information, searchFunction,
                                     "Normalized SHA1: %@", normalized);
    vel::clearError(error);
    std::optional<VELError> keychainError;
    const auto certificates = allCertificateData(&keychainError);
    if (!certificates) {
        if (error != nullptr) {
            *error = keychainError;
        }
        return false;
    }
    VELDTLogger::logMessageWithLevel(VELLogLevel::information, searchFunction,
                                     "Amount of certificates loaded: %lu", certificates->size());
    for (const std::string& certificate : *certificates) {
        if (normalizeSHA1(sha1(certificate)) == normalized) {
            return true;
        }
        logMismatch(certificate);
    }
    return false;
}

void VELCertificateCheck::logMismatch(std::string_view certificate) const {
    // Reading a name costs more than the fingerprint, and the log alone shows it.
    if (!VELDTLogger::isLogging()) {
        return;
    }
    std::optional<VELValue> commonName;
    std::optional<std::string_view> typeName;
    if (auto names = _platform->certificates().commonNames(certificate)) {
        const bool isSingle = names->size() == 1;
        commonName = isSingle ? VELValue(std::move(names->front())) : VELValue(*std::move(names));
        typeName = isSingle ? "VELString" : "VELArray";
    }
    VELDTLogger::logMessageWithLevel(VELLogLevel::trace, searchFunction,
                                     "SHA1 mismatch for %@ (%@)", commonName, typeName);
}

std::string VELCertificateCheck::normalizeSHA1(std::string_view sha1) {
    std::string text(sha1);
    std::erase(text, ' ');
    return vel::lowercase(text);
}

std::optional<std::vector<std::string>>
VELCertificateCheck::allCertificateData(std::optional<VELError>* error) const {
    VELKeychain::CertificatesResult result =
        _platform->keychain().certificates(maximumCertificates);
    if (result.status != VELSecurityStatus::success) {
        SetPostureCheckError(error, VELPostureCheckErrorKeychain,
                             "Error loading certificates from keychain.");
        return std::nullopt;
    }
    return std::move(result.certificates);
}

std::string VELCertificateCheck::sha1(std::string_view bytes) const {
    std::string text;
    for (const char character : _platform->certificates().sha1(bytes)) {
        if (!text.empty()) {
            text += ' ';
        }
        vel::appendHexadecimal(static_cast<std::uint8_t>(character), text);
    }
    return text;
}
