// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
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
    void close() noexcept;

    /// Moves a descriptor that is one of the standard streams' above them, close-on-exec: a host
    /// that has closed its standard streams goes on writing to them, and must not hit this file.
    /// None afterwards when that fails, and `errno` says why. None stays none, and `errno` too.
    void moveAboveStandardStreams();

private:
    int _descriptor = -1;
};

namespace vel {

/// No limit on the bytes to read.
inline constexpr std::size_t unlimited = static_cast<std::size_t>(-2);

/// Reads a descriptor to its end, waiting for the other side of one that does not block. Returns 0
/// or an error number, `EFBIG` when there are more than `maximumBytes`; `bytes` is then undefined.
/// Memory stays bounded by `maximumBytes`.
int readAll(int descriptor, std::string& bytes, std::size_t maximumBytes = unlimited);

/// Writes all of `text`, waiting as `readAll` does. Returns 0 or an error number.
int writeAll(int descriptor, std::string_view text) noexcept;

} // namespace vel
