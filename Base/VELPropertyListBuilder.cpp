// SPDX-License-Identifier: Apache-2.0
#include "Base/VELPropertyListBuilder.h"

#include "Base/VELPropertyList.h"

#include <utility>

namespace vel {

PropertyListBuilder::Next PropertyListBuilder::next() const {
    if (_open.empty()) {
        return _hasRoot ? Next::nothing : Next::root;
    }
    if (_open.back()->is_array()) {
        return Next::element;
    }
    return _member == nullptr ? Next::key : Next::member;
}

bool PropertyListBuilder::addKey(std::string name) {
    if (!takeText(name)) {
        return false;
    }
    _member = &(*_open.back())[std::move(name)];
    return true;
}

bool PropertyListBuilder::add(VELValue value) {
    const auto* text = value.get_ptr<const std::string*>();
    if (text != nullptr && !takeText(*text)) {
        return false;
    }
    return place(std::move(value)) != nullptr;
}

bool PropertyListBuilder::open(VELValue container) {
    if (_open.size() == maximumPropertyListDepth) {
        _failure = "dictionaries and arrays nested deeper than " +
                   std::to_string(maximumPropertyListDepth);
        return false;
    }
    VELValue* placed = place(std::move(container));
    if (placed == nullptr) {
        return false;
    }
    _open.push_back(placed);
    return true;
}

void PropertyListBuilder::close() {
    _open.pop_back();
}

VELValue* PropertyListBuilder::place(VELValue value) {
    if (_values == maximumPropertyListNodes) {
        _failure = "more than " + std::to_string(maximumPropertyListNodes) + " values";
        return nullptr;
    }
    ++_values;
    if (_open.empty()) {
        _hasRoot = true;
        _root = std::move(value);
        return &_root;
    }
    if (_open.back()->is_array()) {
        return &_open.back()->emplace_back(std::move(value));
    }
    VELValue* member = std::exchange(_member, nullptr);
    *member = std::move(value);
    return member;
}

bool PropertyListBuilder::takeText(const std::string& text) {
    if (text.size() > maximumPropertyListTextBytes - _textBytes) {
        _failure = "more than " + std::to_string(maximumPropertyListTextBytes) +
                   " bytes of keys, strings, dates and data";
        return false;
    }
    _textBytes += text.size();
    return true;
}

} // namespace vel
