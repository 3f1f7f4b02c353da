// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/catalogue/CatalogueReport.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

class CheckWithParameters final : public VELPostureCheckItem {
public:
    explicit CheckWithParameters(std::optional<std::vector<std::string>> names)
        : _names(std::move(names)) {}
    bool runCheckWithParameters(const VELDictionary&, std::optional<VELError>*) const override {
        return true;
    }
    std::optional<std::vector<std::string>> requiredParameters() const override { return _names; }

private:
    std::optional<std::vector<std::string>> _names;
};

TEST(CatalogueReport, ListsTypesWithTheirParameters) {
    const VELPostureCheckCatalogue catalogue = {
        {"certificatePresent",
         std::make_shared<CheckWithParameters>(std::vector<std::string>{"sha1", "other"})},
        {"localFirewall", std::make_shared<CheckWithParameters>(std::nullopt)}};
    EXPECT_EQ(catalogueReport(catalogue, {}), "CHECK               REQUIRED PARAMETERS\n"
                                              "certificatePresent  sha1, other\n"
                                              "localFirewall       (none)\n");
    EXPECT_EQ(catalogueJSON(catalogue),
              R"({"certificatePresent":["sha1","other"],"localFirewall":[]})");
}

} // namespace
