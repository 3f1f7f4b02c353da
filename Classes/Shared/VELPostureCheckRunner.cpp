// SPDX-License-Identifier: Apache-2.0
#include "vel_device_trust/VELPostureCheckRunner.h"

#include "Base/VELDuration.h"
#include "Base/VELJSON.h"
#include "Base/VELText.h"
#include "Classes/Shared/VELDTLogger.h"
#include "Classes/Shared/VELErrorTexts.h"
#include "Platform/VELPlatform.h"
#include "vel_device_trust/VELPostureCheckErrors.h"

#include <nlohmann/json.hpp>

#include <exception>
#include <stdexcept>
#include <utility>

const char* const kIDParams = "identity_params";
const char* const kMacSerialNumberKey = "device_serial_number";
const char* const kDeviceIDKey = "device_id";

namespace {

/// Describes the first element of `list` that is not of the wanted kind, or that `list` is not an
/// array; nullopt if neither is so.
std::optional<std::string> defectOfList(const VELValue& list, const std::string& name,
                                        bool (VELValue::*isWanted)() const noexcept,
                                        const char* wanted) {
    if (!list.is_array()) {
        return vel::errortext::notAnArray(name);
    }
    std::size_t index = 0;
    for (const VELValue& element : list) {
        if (!(element.*isWanted)()) {
            return name + "[" + std::to_string(index) + "] is not " + wanted;
        }
        ++index;
    }
    return std::nullopt;
}

constexpr const char* notAnObject = "the request is not an object";

std::optional<std::string> defectOfIdentityRequest(const VELValue& request) {
    if (!request.is_object()) {
        return notAnObject;
    }
    const VELValue* names = vel::valueUnder(kIDParams, request);
    if (names == nullptr) {
        return std::nullopt;
    }
    return defectOfList(*names, kIDParams, &VELValue::is_string, "a string");
}

std::optional<std::string> defectOfDeviceTrustRequest(const VELValue& request,
                                                      const std::string& platformIdentifier) {
    if (!request.is_object()) {
        return notAnObject;
    }
    const VELValue* entries = vel::valueUnder(platformIdentifier, request);
    if (entries == nullptr) {
        return std::nullopt;
    }
    return defectOfList(*entries, platformIdentifier, &VELValue::is_object, "an object");
}

bool isIdentityRequest(const VELValue& request) {
    return request.is_object() && request.contains(kIDParams);
}

void throwIfDefective(const std::optional<std::string>& defect) {
    if (defect) {
        throw std::invalid_argument(*defect);
    }
}

std::vector<std::uint8_t> bytesOf(std::string_view text) {
    return {text.begin(), text.end()};
}

constexpr const char* deviceTrustFunction =
    "-[VELPostureCheckRunner runDeviceTrustCheckFromDictionary:]";

/// What became of one entry of a request.
struct EntryOutcome {
    bool passes;                      // false if there is an error
    std::optional<std::string> error; // as the result shows it
    double milliseconds;
};

/// Runs the check of one entry. An exception that it raises is its error.
EntryOutcome runEntry(const VELPostureCheckRunner& runner, const VELDictionary& entry) {
    const double start = runner.getTimestamp();
    std::optional<std::string> errorText;
    bool answer = false;
    try {
        std::optional<VELError> error;
        answer = runner.runCheck(vel::valueUnder("type", entry), entry, &error);
        if (error) {
            errorText = error->message();
        }
    } catch (const std::exception& exception) {
        errorText = vel::validUTF8(exception.what());
        VELDTLogger::logMessageWithLevel(VELLogLevel::error, deviceTrustFunction, "Error: %@",
                                         *errorText);
    }
    const double milliseconds = (runner.getTimestamp() - start) * 1000.0;
    const bool passes = answer && !errorText;
    return {passes, std::move(errorText), milliseconds};
}

/// The element of the metrics for an entry.
VELDictionary detailOf(const VELDictionary& entry, double milliseconds) {
    VELDictionary check = VELValue::object();
    if (const VELValue* type = vel::valueUnder("type", entry)) {
        check["type"] = *type;
    }
    check["total_ms"] = milliseconds;
    VELDictionary detail = VELValue::object();
    detail["check"] = std::move(check);
    return detail;
}

} // namespace

VELPostureCheckItem::~VELPostureCheckItem() = default;

std::optional<std::vector<std::string>> VELPostureCheckItem::requiredParameters() const {
    return std::nullopt;
}

VELPostureCheckRunner::VELPostureCheckRunner(std::string platformIdentifier,
                                             VELPostureCheckCatalogue postureChecks,
                                             IdentityProcedure collectIdentity,
                                             std::shared_ptr<VELHostLogger> logger,
                                             std::shared_ptr<const VELPlatform> platform)
    : _platformIdentifier(std::move(platformIdentifier)), _postureChecks(std::move(postureChecks)),
      _collectIdentity(collectIdentity), _platform(std::move(platform)) {
    VELDTLogger::setLogger(std::move(logger));
}

VELPostureCheckRunner::~VELPostureCheckRunner() = default;

std::string
VELPostureCheckRunner::runPostureCheckFromDocumentString(std::string_view document) const {
    return runDocument(document);
}

std::vector<std::uint8_t>
VELPostureCheckRunner::runPostureCheckFromDocument(std::span<const std::uint8_t> document) const {
    return bytesOf(runDocument({reinterpret_cast<const char*>(document.data()), document.size()}));
}

std::string VELPostureCheckRunner::runDocument(std::string_view document) const {
    std::optional<VELError> error;
    std::optional<VELValue> request = vel::readJSON(document, &error);
    if (!request) {
        return errorDocument(error->message());
    }
    const bool asksForIdentity = isIdentityRequest(*request);
    if (const auto defect = asksForIdentity
                                ? defectOfIdentityRequest(*request)
                                : defectOfDeviceTrustRequest(*request, _platformIdentifier)) {
        return errorDocument(*defect);
    }
    const VELDictionary result =
        asksForIdentity ? _collectIdentity(*request, *_platform) : runChecks(*std::move(request));
    std::optional<std::string> text = vel::writeJSON(result, &error);
    return text ? *std::move(text) : errorDocument(error->message());
}

VELDictionary
VELPostureCheckRunner::runDeviceTrustCheckFromDictionary(const VELDictionary& request) const {
    throwIfDefective(defectOfDeviceTrustRequest(request, _platformIdentifier));
    return runChecks(request);
}

VELDictionary
VELPostureCheckRunner::runGetIdentityParametersFromDictionary(const VELDictionary& request) const {
    throwIfDefective(defectOfIdentityRequest(request));
    return _collectIdentity(request, *_platform);
}

VELDictionary VELPostureCheckRunner::runChecks(VELDictionary request) const {
    VELDTLogger::logMessageWithLevel(VELLogLevel::information, deviceTrustFunction, "Input JSON %@",
                                     request);
    VELArray checks = VELValue::array();
    VELArray details = VELValue::array();
    bool overall = true;
    double total = 0.0;
    for (VELDictionary& entry : request[_platformIdentifier]) {
        EntryOutcome outcome = runEntry(*this, entry);
        overall = overall && outcome.passes;
        total += outcome.milliseconds;
        details.push_back(detailOf(entry, outcome.milliseconds));
        if (outcome.error) {
            entry["error"] = *std::move(outcome.error);
        } else {
            entry["pass"] = outcome.passes;
        }
        checks.push_back(std::move(entry));
    }

    VELDictionary result = VELValue::object();
    result["checks"] = std::move(checks);
    result["pass"] = overall;
    // A null that its first key makes an object is broken when there is no memory for that.
    result["metrics"] = VELValue::object();
    result["metrics"]["total_ms"] = total;
    result["metrics"]["details"] = std::move(details);
    VELDTLogger::logMessageWithLevel(VELLogLevel::information, deviceTrustFunction,
                                     "Output JSON %@", result);
    return result;
}

bool VELPostureCheckRunner::runCheck(const VELValue* type, const VELDictionary& checkParams,
                                     std::optional<VELError>* error) const {
    VELDTLogger::logMessageWithLevel(
        VELLogLevel::information, "-[VELPostureCheckRunner runCheck:checkParams:error:]",
        "Starting check with checkType: %@ and params: %@", type, checkParams);
    const auto* typeName = type != nullptr ? type->get_ptr<const std::string*>() : nullptr;
    const auto found = typeName != nullptr ? _postureChecks.find(*typeName) : _postureChecks.end();
    if (found == _postureChecks.end() || found->second == nullptr) {
        SetPostureCheckError(error, VELPostureCheckErrorUnknownCheckType,
                             "Unknown posture check type: " +
                                 (type != nullptr ? vel::displayText(*type) : "(null)") + ".");
        return false;
    }
    const VELPostureCheckItem& check = *found->second;
    if (const auto required = check.requiredParameters()) {
        for (const std::string& parameter : *required) {
            if (!checkParams.contains(parameter)) {
                SetPostureCheckError(error, VELPostureCheckErrorMissingParameter,
                                     "Required parameter \"" + parameter +
                                         "\" missing from check type \"" + *typeName + "\".");
                return false;
            }
        }
    }
    return check.runCheckWithParameters(checkParams, error);
}

std::vector<std::uint8_t> VELPostureCheckRunner::errorResult(std::string_view message) const {
    return bytesOf(errorDocument(message));
}

std::string VELPostureCheckRunner::errorDocument(std::string_view message) const {
    VELDTLogger::logMessageWithLevel(VELLogLevel::error, "-[VELPostureCheckRunner errorResult:]",
                                     "Error: %@", message);
    VELDictionary document = VELValue::object();
    document["error"] = message;
    return vel::compactText(document);
}

double VELPostureCheckRunner::getTimestamp() const {
    return vel::seconds(_platform->ticks().time_since_epoch());
}
