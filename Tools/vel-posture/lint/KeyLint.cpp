// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/lint/KeyLint.h"

#include "Tools/vel-posture/NearMiss.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <utility>

KeyLint::KeyLint(const VELValue& object, Place place, std::vector<std::string> known,
                 FindingList& findings)
    : _object(object), _place(std::move(place)), _known(std::move(known)), _findings(findings) {
    for (const auto& [key, value] : object.items()) {
        if (std::find(_known.begin(), _known.end(), key) == _known.end() &&
            !key.starts_with("x-")) {
            _unknown.push_back(key);
        }
    }
}

bool KeyLint::require(const std::string& key, const std::string& consequence,
                      const std::string& advice) {
    if (_object.contains(key)) {
        return true;
    }
    const auto near = std::find_if(_unknown.begin(), _unknown.end(), [&](const auto& unknown) {
        return nearestName(unknown, _known) == key;
    });
    if (near == _unknown.end()) {
        _findings.add(rule::missingKey, _place, "has no \"" + key + "\": " + consequence, advice);
        return false;
    }
    _findings.add(rule::missingKey, _place.key(*near),
                  "is not read, and \"" + key + "\" is missing: " + consequence,
                  finding::didYouMean(key));
    _unknown.erase(near);
    return false;
}

std::vector<std::string> KeyLint::takeUnknown() {
    return std::exchange(_unknown, {});
}

void KeyLint::reportUnread(const std::vector<std::string>& keys, const std::string& advice) {
    for (const std::string& key : keys) {
        const auto near = nearestName(key, _known);
        _findings.add(rule::unreadKey, _place.key(key), "is not read",
                      near ? finding::didYouMean(*near) : advice);
    }
}
