// SPDX-License-Identifier: Apache-2.0
#include "Base/VELProcessListing.h"
#include "Benchmarks/RatioBenchmark.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

// What it costs to look 50 names up in a listing of 64 KiB, none of which it holds. The floor is
// one pass that lowers the ASCII letters of the listing, and a comparison of each line's end with
// each name.

namespace {

using namespace vel::benchmarks;

constexpr double listingLimit = 2.0;
constexpr std::size_t listingSize = 65'536;
constexpr std::size_t nameCount = 50;

std::string makeListing() {
    std::string listing = "  PID TTY          TIME CMD\n";
    for (std::size_t process = 1;; ++process) {
        const std::string line = "  " + std::to_string(process * 37 % 100'000) +
                                 " ?        00:00:" + std::to_string(10 + process % 50) +
                                 " Worker-" + std::to_string(process % 90) + "-Service\n";
        if (listing.size() + line.size() > listingSize) {
            return listing;
        }
        listing += line;
    }
}

std::vector<std::string> makeNames() {
    std::vector<std::string> names;
    for (std::size_t name = 0; name < nameCount; ++name) {
        // The line's end is the same as the name's for some letters in half of the cases.
        names.push_back((name % 2 == 0 ? "x-service" : "daemon-") + std::to_string(name));
    }
    return names;
}

void lookUp(const std::string& text, const std::vector<std::string>& names) {
    const vel::ProcessListing listing(text);
    for (const std::string& name : names) {
        if (!listing.processIDs(name).empty()) {
            throw std::runtime_error("a name is found that is not there");
        }
    }
}

std::vector<std::string_view> linesOf(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size() - 1);
        lines.push_back(text.substr(0, end));
        text.remove_prefix(end + 1);
    }
    return lines;
}

void compareEnds(const std::string& text, const std::vector<std::string>& names) {
    std::string lower = text;
    for (char& character : lower) {
        if (character >= 'A' && character <= 'Z') {
            character = static_cast<char>(character - 'A' + 'a');
        }
    }
    const std::vector<std::string_view> lines = linesOf(lower);
    for (const std::string& name : names) {
        for (const std::string_view line : lines) {
            if (line.size() >= name.size() && std::memcmp(line.data() + line.size() - name.size(),
                                                          name.data(), name.size()) == 0) {
                throw std::runtime_error("a name is found that is not there");
            }
        }
    }
}

void processListing(benchmark::State& state) {
    const std::string listing = makeListing();
    const std::vector<std::string> names = makeNames();
    measureRatio(
        state, "50 names in a listing of 64 KiB / lowering and comparing", listingLimit,
        [&] { lookUp(listing, names); }, [&] { compareEnds(listing, names); });
}

} // namespace

BENCHMARK(processListing)->UseManualTime()->Iterations(rounds);
