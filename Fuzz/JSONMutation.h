// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Base/VELJSON.h"
#include "Fuzz/FuzzInput.h"

#include <nlohmann/json.hpp>

#include <cstring>
#include <random>
#include <string>
#include <vector>

/// libFuzzer's own change of bytes, which knows what the target compares with; the new size.
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t capacity);

inline void addPlaces(VELValue& value, std::vector<VELValue*>& places) {
    places.push_back(&value);
    if (value.is_structured()) {
        for (VELValue& part : value) {
            addPlaces(part, places);
        }
    }
}

/// Changes one value of a JSON document: takes out, copies or exchanges a part, or changes a text.
inline void mutateValue(VELValue& document, std::minstd_rand& random) {
    static const VELValue others = {nullptr, true, 0, -1, 1.5, 1e308, "", "x", VELValue::object()};
    std::vector<VELValue*> places;
    addPlaces(document, places);
    VELValue& place = *places[random() % places.size()];
    VELValue copy = *places[random() % places.size()];
    const auto pick = [&](const VELValue& list) {
        return static_cast<int>(random() % list.size());
    };
    if (auto* text = place.get_ptr<std::string*>(); text != nullptr && random() % 4 != 0) {
        const std::size_t size = text->size();
        text->resize(size + 64);
        text->resize(
            LLVMFuzzerMutate(reinterpret_cast<std::uint8_t*>(text->data()), size, text->size()));
    } else if (place.is_structured() && !place.empty() && random() % 2 == 0) {
        place.erase(std::next(place.begin(), pick(place)));
    } else if (place.is_array() && random() % 2 == 0) {
        place.insert(place.begin(), std::move(copy));
    } else {
        place =
            random() % 2 == 0 ? std::move(copy) : others[static_cast<std::size_t>(pick(others))];
    }
}

/// Half of the inputs that are JSON stay JSON.
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t capacity, unsigned seed) {
    std::minstd_rand random(seed);
    auto document = random() % 2 == 0 ? vel::readJSON(fuzzText(data, size), nullptr) : std::nullopt;
    if (document) {
        mutateValue(*document, random);
        const auto text = vel::writeJSON(*document, nullptr);
        if (text && text->size() <= capacity) {
            std::memcpy(data, text->data(), text->size());
            return text->size();
        }
    }
    return LLVMFuzzerMutate(data, size, capacity);
}
