// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <unistd.h>
#include <utility>

/// Owns a file descriptor, or none.
class VELDescriptor {
public:
    VELDescriptor() = default;

    /// Takes what an opening call returned: a descriptor, or a negative number for none.
    explicit VELDescriptor(int descriptor) : _descriptor(descriptor) {}

    VELDescriptor(VELDescriptor&& other) noexcept
        : _descriptor(std::exchange(other._descriptor, -1)) {}

    VELDescriptor& operator=(VELDescriptor&& other) noexcept {
        if (this != &other) {
            close();
            _descriptor = std::exchange(other._descriptor, -1);
        }
        return *this;
    }

    ~VELDescriptor() { close(); }

    [[nodiscard]] int get() const { return _descriptor; }
    explicit operator bool() const { return _descriptor >= 0; }

    /// Leaves `errno` as it was.
    void close();

private:
    int _descriptor = -1;
};
