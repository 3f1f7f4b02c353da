// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vel {

/// As many ports may be open where connections from outside count as refused: one in a hundred.
inline constexpr std::size_t maximumOpenPorts = 65'535 / 100;

/// A set of the ports 1 to 65,535, kept as intervals.
class PortSet {
public:
    struct Interval {
        std::uint32_t first;
        std::uint32_t last;

        friend bool operator==(const Interval&, const Interval&) = default;
    };

    /// The empty set.
    PortSet() = default;
    /// The union of intervals in any order. What lies outside 1 to 65,535 is left out.
    explicit PortSet(std::vector<Interval> intervals);
    static PortSet all();

    [[nodiscard]] bool isEmpty() const { return _intervals.empty(); }
    [[nodiscard]] std::size_t size() const;
    /// In order, apart from each other.
    [[nodiscard]] const std::vector<Interval>& intervals() const { return _intervals; }

    PortSet operator~() const;
    PortSet operator|(const PortSet& other) const;
    PortSet operator&(const PortSet& other) const;
    PortSet operator-(const PortSet& other) const { return *this & ~other; }
    PortSet& operator|=(const PortSet& other) { return *this = *this | other; }
    PortSet& operator&=(const PortSet& other) { return *this = *this & other; }
    PortSet& operator-=(const PortSet& other) { return *this = *this - other; }

    friend bool operator==(const PortSet&, const PortSet&) = default;

private:
    std::vector<Interval> _intervals;
};

} // namespace vel
