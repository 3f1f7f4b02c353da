// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <utility>

/// Owns one reference to a CoreFoundation object (`CFStringRef`, `SecTrustRef` and so on), or none.
/// Nothing else retains or releases one.
template <typename Object> class VELCFReference {
public:
    VELCFReference() = default;

    /// Takes over the reference that a Create or Copy call returned; null is none.
    static VELCFReference adopt(Object object) {
        VELCFReference reference;
        reference._object = object;
        return reference;
    }

    /// Adds a reference to an object that belongs to somebody else, as what a Get call returns
    /// does; null is none.
    static VELCFReference retain(Object object) {
        if (object != nullptr) {
            ::CFRetain(object);
        }
        return adopt(object);
    }

    VELCFReference(VELCFReference&& other) noexcept
        : _object(std::exchange(other._object, nullptr)) {}

    VELCFReference& operator=(VELCFReference&& other) noexcept {
        if (this != &other) {
            reset();
            _object = std::exchange(other._object, nullptr);
        }
        return *this;
    }

    ~VELCFReference() { reset(); }

    /// Lent: it lives as long as this reference. Null: none.
    [[nodiscard]] Object get() const { return _object; }
    explicit operator bool() const { return _object != nullptr; }

    /// For a Copy call that writes its result through a pointer: none until it does.
    [[nodiscard]] Object* out() {
        reset();
        return &_object;
    }

private:
    void reset() {
        if (_object != nullptr) {
            ::CFRelease(std::exchange(_object, nullptr));
        }
    }

    Object _object = nullptr;
};
