// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/explain/Explanation.h"

#include "Base/VELJSON.h"
#include "Platform/X509/VELCertificateParts.h"
#include "Platform/X509/VELX509Name.h"
#include "Tools/vel-posture/DisplayText.h"
#include "Tools/vel-posture/lint/Finding.h"

#include <array>
#include <cstdio>

namespace {

constexpr std::size_t mostParts = 5;
constexpr std::size_t widestCertificateName = 60;
constexpr std::size_t widestValue = 60;

bool isPlain(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') || character == '.' || character == '-' ||
           character == '_';
}

} // namespace

Explanation wrongType(const std::string& path, const VELValue& value, std::string_view wanted) {
    return {CheckOutcome::Kind::error,
            {.code = "parameter-type",
             .text = "the parameter " + path + " " + finding::wrongKind(value, wanted),
             .expected = wanted,
             .found = value,
             .source = "the request"}};
}

std::string named(std::string_view text) {
    return !text.empty() && text.size() <= 60 && std::ranges::all_of(text, isPlain)
               ? std::string(text)
               : finding::quoted(text);
}

std::string shownValue(const VELValue& value) {
    return truncated(printable(vel::compactText(value)), widestValue);
}

std::string sentence(const std::vector<std::string>& parts) {
    std::string text;
    for (std::size_t index = 0; index < parts.size(); ++index) {
        if (index == mostParts) {
            return text + "; and " + std::to_string(parts.size() - mostParts) + " more";
        }
        text += (index == 0 ? "" : "; ") + parts[index];
    }
    return text;
}

std::string dayOf(VELMoment moment) {
    const std::chrono::year_month_day date(std::chrono::floor<std::chrono::days>(moment));
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02u", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
    return text.data();
}

std::string nameOfCertificate(std::string_view der) {
    const auto parts = vel::x509::certificateParts(der);
    const auto name = parts ? vel::x509::nameSummary(parts->subject).text : std::nullopt;
    return name ? "“" + truncated(printable(*name), widestCertificateName) + "”"
                : "a certificate without a name";
}
