// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/RecordedRequest.h"

#include "Base/VELJSON.h"
#include "Tools/vel-posture/RequestSource.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <atomic>
#include <utility>

namespace {

/// Whether the runner calls the entry's check: it knows the type, and no parameter is missing.
bool reachesCheck(const VELPostureCheckCatalogue& catalogue, const VELValue& entry) {
    const VELValue* type = entry.is_object() ? vel::valueUnder("type", entry) : nullptr;
    const auto found = type != nullptr && type->is_string()
                           ? catalogue.find(type->get_ref<const std::string&>())
                           : catalogue.end();
    if (found == catalogue.end()) {
        return false;
    }
    const auto required = found->second->requiredParameters();
    return !required || std::ranges::all_of(*required, [&](const std::string& parameter) {
        return entry.contains(parameter);
    });
}

/// The entries that reach a check, in order, and how many of them have been run.
struct Progress {
    std::vector<std::size_t> entries;
    std::atomic<std::size_t> count = 0;
};

class RecordedCheck final : public VELPostureCheckItem {
public:
    RecordedCheck(std::shared_ptr<const VELPostureCheckItem> check,
                  std::shared_ptr<Progress> progress, std::shared_ptr<VELRecording> recording)
        : _check(std::move(check)), _progress(std::move(progress)),
          _recording(std::move(recording)) {}

    bool runCheckWithParameters(const VELDictionary& parameters,
                                std::optional<VELError>* error) const override {
        _recording->setEntry(_progress->entries.at(_progress->count++));
        return _check->runCheckWithParameters(parameters, error);
    }

    [[nodiscard]] std::optional<std::vector<std::string>> requiredParameters() const override {
        return _check->requiredParameters();
    }

private:
    std::shared_ptr<const VELPostureCheckItem> _check;
    std::shared_ptr<Progress> _progress;
    std::shared_ptr<VELRecording> _recording;
};

} // namespace

VELPostureCheckCatalogue catalogueWithRecording(const VELPostureCheckCatalogue& catalogue,
                                                const VELValue& request,
                                                std::shared_ptr<VELRecording> recording) {
    const auto progress = std::make_shared<Progress>();
    const VELValue* entries =
        request.is_object() ? vel::valueUnder(platformIdentifier, request) : nullptr;
    if (entries != nullptr && entries->is_array()) {
        for (std::size_t index = 0; index < entries->size(); ++index) {
            if (reachesCheck(catalogue, (*entries)[index])) {
                progress->entries.push_back(index);
            }
        }
    }
    VELPostureCheckCatalogue result;
    for (const auto& [type, check] : catalogue) {
        result.emplace(type, std::make_shared<const RecordedCheck>(check, progress, recording));
    }
    return result;
}
