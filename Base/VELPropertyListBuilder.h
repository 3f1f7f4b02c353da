// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "vel_device_trust/VELValue.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// Shared code of the readers of the two forms of a property list. Only for them.
namespace vel {

/// The result of a reader: the value, or why there is none.
struct PropertyListReading {
    std::optional<VELValue> value;
    std::string failure;
};

PropertyListReading readXMLPropertyList(std::string_view bytes);
PropertyListReading readBinaryPropertyList(std::string_view bytes);

/// Builds the value of a property list, within the limits on depth, values and text.
///
/// Each operation that adds something returns false if it would exceed a limit; `failure()` then
/// names the limit. The caller makes sure that what it adds is allowed at that place.
class PropertyListBuilder {
public:
    /// What may come next.
    enum class Next {
        root,    // the root value
        element, // of the open array: another value, or its end
        key,     // of the open dictionary: another key, or its end
        member,  // the value of the key that came last
        nothing, // the root is complete
    };

    [[nodiscard]] Next next() const;
    [[nodiscard]] bool addKey(std::string name);
    /// Adds a value that is not a container.
    [[nodiscard]] bool add(VELValue value);
    /// Adds an empty container; following values go into it.
    [[nodiscard]] bool open(VELValue container);
    /// Ends the container that was opened last.
    void close();

    [[nodiscard]] const std::string& failure() const { return _failure; }
    VELValue takeRoot() { return std::move(_root); }

private:
    VELValue* place(VELValue value);
    bool takeText(const std::string& text);

    VELValue _root;
    bool _hasRoot = false;
    // A container stands still while it is open: what is added goes into the innermost one.
    std::vector<VELValue*> _open;
    VELValue* _member = nullptr;
    std::size_t _values = 0;
    std::size_t _textBytes = 0;
    std::string _failure;
};

} // namespace vel
