// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <IOKit/IOKitLib.h>

#include <utility>

/// Owns an object of the registry of devices, or none.
class VELIOObject {
public:
    /// Takes over what a call returned: an object, or 0 for none.
    explicit VELIOObject(io_object_t object) : _object(object) {}

    VELIOObject(VELIOObject&& other) noexcept : _object(std::exchange(other._object, 0)) {}
    VELIOObject& operator=(VELIOObject&&) = delete;

    ~VELIOObject() {
        if (_object != 0) {
            ::IOObjectRelease(_object);
        }
    }

    [[nodiscard]] io_object_t get() const { return _object; }
    explicit operator bool() const { return _object != 0; }

private:
    io_object_t _object;
};
