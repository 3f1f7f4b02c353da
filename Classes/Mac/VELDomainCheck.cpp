// SPDX-License-Identifier: Apache-2.0
#include "Classes/Mac/VELDomainCheck.h"

#include "Base/VELJSON.h"
#include "Base/VELPropertyList.h"
#include "Base/VELText.h"
#include "Base/VELWildcard.h"
#include "Classes/Mac/NSTask+Timeout.h"
#include "Classes/Shared/VELDTLogger.h"
#include "Classes/Shared/VELErrorTexts.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace {

constexpr const char* directoryTool = "/usr/sbin/dsconfigad";
constexpr const char* namesParameter = "names";
constexpr std::u32string_view extraPatternCharacters = U".*-_";

/// A pattern as the log shows it; its expression is made when it is printed.
struct PatternExpression {
    std::string_view pattern;

    [[nodiscard]] std::string description() const {
        return VELDomainCheck::convertWildcardToRegex(pattern);
    }
};

} // namespace

VELDomainCheck::VELDomainCheck(std::shared_ptr<const VELPlatform> platform)
    : _platform(std::move(platform)) {}

std::optional<std::vector<std::string>> VELDomainCheck::requiredParameters() const {
    return {{namesParameter}};
}

bool VELDomainCheck::runCheckWithParameters(const VELDictionary& parameters,
                                            std::optional<VELError>* error) const {
    constexpr const char* function = "-[VELDomainCheck runCheckWithParameters:error:]";
    const std::optional<std::string> domain = computerDomainError(error);
    VELDTLogger::logMessageWithLevel(VELLogLevel::information, function, "Computer domain: %@",
                                     domain);
    if (!domain) {
        return false;
    }
    const VELValue* names = vel::valueUnder(namesParameter, parameters);
    VELDTLogger::logMessageWithLevel(VELLogLevel::information, function,
                                     "Domain wildcard names: %@", names);
    if (names == nullptr) {
        return false;
    }
    if (!names->is_array()) {
        throw std::invalid_argument(vel::errortext::notAnArray("names"));
    }
    for (std::size_t index = 0; index < names->size(); ++index) {
        const auto* pattern = (*names)[index].get_ptr<const std::string*>();
        if (pattern == nullptr) {
            throw std::invalid_argument(
                vel::errortext::notAString("names[" + std::to_string(index) + "]"));
        }
        if (doesWildcard(*pattern, *domain, error)) {
            return true;
        }
    }
    return false;
}

std::optional<std::string>
VELDomainCheck::computerDomainError(std::optional<VELError>* error) const {
    const auto task = _platform->task(directoryTool, {"-show", "-xml"}, nullptr);
    const std::optional<std::string> output = runWithTimeout(task, toolTimeout, error, *_platform);
    VELDTLogger::logMessageWithLevel(VELLogLevel::information,
                                     "-[VELDomainCheck computerDomainError:]",
                                     "Output of dsconfigad: %@", output);
    if (!output || output->empty()) {
        return std::nullopt;
    }
    return domainInPropertyList(*output, error);
}

std::optional<std::string> VELDomainCheck::domainInPropertyList(std::string_view output,
                                                                std::optional<VELError>* error) {
    const std::optional<VELValue> propertyList = vel::readPropertyList(output, error);
    if (!propertyList) {
        return std::nullopt;
    }
    const VELValue* information = vel::valueUnder("General Info", *propertyList);
    const VELValue* domain =
        information != nullptr ? vel::valueUnder("Active Directory Domain", *information) : nullptr;
    if (domain == nullptr || !domain->is_string()) {
        return std::nullopt;
    }
    return domain->get<std::string>();
}

bool VELDomainCheck::isValidDomainWildcardString(std::string_view pattern) {
    const std::u32string characters = vel::characters(pattern);
    return std::all_of(characters.begin(), characters.end(), [](char32_t character) {
        return vel::isAlphanumeric(character) ||
               extraPatternCharacters.find(character) != std::u32string_view::npos;
    });
}

std::string VELDomainCheck::convertWildcardToRegex(std::string_view pattern) {
    std::string expression;
    expression.reserve(pattern.size() * 2);
    for (const char character : pattern) {
        if (character == '.') {
            expression += "\\.";
        } else if (character == '*') {
            expression += ".*";
        } else {
            expression += character;
        }
    }
    return expression;
}

bool VELDomainCheck::doesWildcard(std::string_view pattern, std::string_view domain,
                                  std::optional<VELError>* /*error*/) {
    if (!isValidDomainWildcardString(pattern)) {
        return false;
    }
    VELDTLogger::logMessageWithLevel(VELLogLevel::information,
                                     "-[VELDomainCheck doesWildcard:matchDomain:error:]",
                                     "The regexString is: %@", PatternExpression{pattern});
    // The expression is for the log: engines take minutes over many stars.
    return vel::matchesWildcard(pattern, domain);
}
