// SPDX-License-Identifier: Apache-2.0
#include "Classes/Mac/VELPerDeviceCertificatePresentCheck.h"

#include "Base/VELBase64.h"
#include "Base/VELJSON.h"
#include "Base/VELText.h"
#include "Classes/Mac/VELErrorParameter.h"
#include "Classes/Shared/VELDTLogger.h"
#include "Classes/Shared/VELErrorTexts.h"

#include <nlohmann/json.hpp>

#include <span>
#include <stdexcept>
#include <utility>

namespace {

constexpr const char* checkFunction =
    "-[VELPerDeviceCertificatePresentCheck perDeviceCertificateCheck:error:]";

std::span<const std::uint8_t> bytesOf(const std::string& text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

} // namespace

VELPerDeviceCertificatePresentCheck::VELPerDeviceCertificatePresentCheck(
    std::shared_ptr<const VELPlatform> platform)
    : _platform(std::move(platform)) {}

std::optional<std::vector<std::string>>
VELPerDeviceCertificatePresentCheck::requiredParameters() const {
    return {{"cert"}};
}

bool VELPerDeviceCertificatePresentCheck::runCheckWithParameters(
    const VELDictionary& parameters, std::optional<VELError>* error) const {
    const VELValue* certificate = vel::valueUnder("cert", parameters);
    return perDeviceCertificateCheck(certificate != nullptr ? *certificate : VELValue(), error);
}

bool VELPerDeviceCertificatePresentCheck::perDeviceCertificateCheck(
    const VELValue& adminCertificate, std::optional<VELError>* error) const {
    VELDTLogger::logMessageWithLevel(VELLogLevel::information, checkFunction, "Starting check");
    vel::clearError(error);
    if (!adminCertificate.is_string()) {
        throw std::invalid_argument(vel::errortext::notAString("cert"));
    }
    const auto& adminBase64 = adminCertificate.get_ref<const std::string&>();
    const VELKeychain& keychain = _platform->keychain();
    const std::optional<std::string> der = vel::bytesOfBase64IgnoringUnknown(adminBase64);
    const auto adminRoot = der ? _platform->certificates().parseCertificate(*der) : nullptr;
    if (adminRoot == nullptr) {
        VELDTLogger::logMessageWithLevel(VELLogLevel::error, checkFunction,
                                         "Invalid DER-encoded X.509 certificate");
        return false;
    }
    const std::optional<std::string> adminSubject =
        extractSubjectFromCertificate(*adminRoot, error);
    if (!adminSubject) {
        return false;
    }
    VELDTLogger::logMessageWithLevel(VELLogLevel::information, checkFunction,
                                     "Admin certificate subject is: %@", bytesOf(*adminSubject));

    const VELKeychain::IdentitiesResult found = keychain.identities(*adminSubject);
    if (found.status != VELSecurityStatus::success) {
        VELDTLogger::logMessageWithLevel(
            VELLogLevel::error, checkFunction,
            "Failure to get identities from the Keychain, status code is: %d, message: %@",
            vel::integerOfStatus(found.status), keychain.statusText(found.status));
        return false;
    }
    const std::string adminText = vel::withoutLineBreaks(adminBase64);
    for (const auto& identity : found.identities) {
        if (isTrustedIdentity(*identity, adminRoot, adminText, error)) {
            return true;
        }
    }
    VELDTLogger::logMessageWithLevel(VELLogLevel::information, checkFunction,
                                     "No valid certificate found in user's machine");
    return false;
}

bool VELPerDeviceCertificatePresentCheck::isTrustedIdentity(
    const VELIdentity& identity, const std::shared_ptr<const VELCertificate>& adminRoot,
    const std::string& adminText, std::optional<VELError>* error) const {
    const VELKeychain& keychain = _platform->keychain();
    const VELIdentity::CertificateResult copied = identity.copyCertificate();
    if (copied.status != VELSecurityStatus::success) {
        VELDTLogger::logMessageWithLevel(
            VELLogLevel::error, checkFunction,
            "Failure to get certificate from the Identity, status code is: %d, message: %@",
            vel::integerOfStatus(copied.status), keychain.statusText(copied.status));
        return false;
    }
    VELDTLogger::logMessageWithLevel(VELLogLevel::information, checkFunction,
                                     "Processing certificate with summary: %@",
                                     copied.certificate->subjectSummary());
    if (vel::base64Text(copied.certificate->der()) == adminText) {
        VELDTLogger::logMessageWithLevel(
            VELLogLevel::information, checkFunction,
            "Skipping certificate validation for admin root certificate");
        return false;
    }
    const VELCertificates::TrustResult created =
        _platform->certificates().createTrust(copied.certificate);
    if (created.status != VELSecurityStatus::success) {
        VELDTLogger::logMessageWithLevel(
            VELLogLevel::error, checkFunction,
            "Failure to create trust object, status code is: %d, message: %@",
            vel::integerOfStatus(created.status), keychain.statusText(created.status));
        return false;
    }
    if (const VELSecurityStatus status = created.trust->setOnlyAnchor(adminRoot);
        status != VELSecurityStatus::success) {
        VELDTLogger::logMessageWithLevel(
            VELLogLevel::error, checkFunction,
            "Failure to set anchor certificate, status code is: %d, message: %@",
            vel::integerOfStatus(status), keychain.statusText(status));
        return false;
    }
    return evaluateTrust(*created.trust, error);
}

bool VELPerDeviceCertificatePresentCheck::evaluateTrust(VELTrust& trust,
                                                        std::optional<VELError>* error) {
    constexpr const char* function = "-[VELPerDeviceCertificatePresentCheck evaluateTrust:error:]";
    vel::clearError(error);
    VELDTLogger::logMessageWithLevel(VELLogLevel::information, function,
                                     "Calling SecTrustEvaluateWithError");
    std::optional<VELError> trustError;
    if (trust.evaluate(&trustError)) {
        VELDTLogger::logMessageWithLevel(VELLogLevel::information, function,
                                         "Trusted certificate found");
        return true;
    }
    VELDTLogger::logMessageWithLevel(VELLogLevel::warning, function,
                                     "This is an untrusted certificate %@", trustError);
    if (error != nullptr) {
        *error = std::move(trustError);
    }
    return false;
}

std::optional<std::string> VELPerDeviceCertificatePresentCheck::extractSubjectFromCertificate(
    const VELCertificate& certificate, std::optional<VELError>* error) {
    constexpr const char* function =
        "-[VELPerDeviceCertificatePresentCheck extractSubjectFromCertificate:error:]";
    vel::clearError(error);
    VELDTLogger::logMessageWithLevel(VELLogLevel::information, function,
                                     "Calling SecCertificateCopyNormalizedSubjectSequence");
    std::optional<std::string> subject = certificate.normalizedSubject();
    if (!subject) {
        VELDTLogger::logMessageWithLevel(VELLogLevel::error, function,
                                         "Unable to retrieve subject from admin certificate.");
    }
    return subject;
}
