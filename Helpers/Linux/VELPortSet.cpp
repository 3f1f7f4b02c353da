// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELPortSet.h"

#include <algorithm>
#include <numeric>

namespace vel {
namespace {

constexpr std::uint32_t firstPort = 1;
constexpr std::uint32_t lastPort = 65'535;

} // namespace

PortSet::PortSet(std::vector<Interval> intervals) {
    std::ranges::sort(intervals, {}, &Interval::first);
    for (const Interval& interval : intervals) {
        const std::uint32_t first = std::max(interval.first, firstPort);
        const std::uint32_t last = std::min(interval.last, lastPort);
        if (first > last) {
            continue;
        }
        if (_intervals.empty() || first > _intervals.back().last + 1) {
            _intervals.push_back({first, last});
        } else {
            _intervals.back().last = std::max(_intervals.back().last, last);
        }
    }
}

PortSet PortSet::all() {
    return PortSet({{firstPort, lastPort}});
}

std::size_t PortSet::size() const {
    return std::accumulate(_intervals.begin(), _intervals.end(), std::size_t{0},
                           [](std::size_t sum, const Interval& interval) {
                               return sum + interval.last - interval.first + 1;
                           });
}

PortSet PortSet::operator~() const {
    PortSet result;
    std::uint32_t next = firstPort;
    for (const auto& [first, last] : _intervals) {
        if (first > next) {
            result._intervals.push_back({next, first - 1});
        }
        next = last + 1;
    }
    if (next <= lastPort) {
        result._intervals.push_back({next, lastPort});
    }
    return result;
}

PortSet PortSet::operator|(const PortSet& other) const {
    std::vector<Interval> both = _intervals;
    both.insert(both.end(), other._intervals.begin(), other._intervals.end());
    return PortSet(std::move(both));
}

PortSet PortSet::operator&(const PortSet& other) const {
    PortSet result;
    auto left = _intervals.begin();
    auto right = other._intervals.begin();
    while (left != _intervals.end() && right != other._intervals.end()) {
        const std::uint32_t first = std::max(left->first, right->first);
        const std::uint32_t last = std::min(left->last, right->last);
        if (first <= last) {
            result._intervals.push_back({first, last});
        }
        (left->last < right->last ? left : right)++;
    }
    return result;
}

} // namespace vel
