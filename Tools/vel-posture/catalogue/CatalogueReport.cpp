// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/catalogue/CatalogueReport.h"

#include "Base/VELJSON.h"

#include <nlohmann/json.hpp>

std::string catalogueReport(const VELPostureCheckCatalogue& catalogue, const ReportStyle& style) {
    std::vector<NamedText> texts = {{"CHECK", "REQUIRED PARAMETERS"}};
    for (const auto& [type, check] : catalogue) {
        std::string names;
        for (const std::string& parameter :
             check->requiredParameters().value_or(std::vector<std::string>())) {
            names += (names.empty() ? "" : ", ") + parameter;
        }
        texts.emplace_back(type, names.empty() ? "(none)" : std::move(names));
    }
    return namedTexts(texts, 5, style);
}

std::string catalogueJSON(const VELPostureCheckCatalogue& catalogue) {
    VELDictionary document = VELValue::object();
    for (const auto& [type, check] : catalogue) {
        document[type] = check->requiredParameters().value_or(std::vector<std::string>());
    }
    return vel::compactText(document);
}
