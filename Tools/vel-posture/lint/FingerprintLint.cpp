// SPDX-License-Identifier: Apache-2.0
#include "Base/VELText.h"
#include "Classes/Mac/VELCertificateCheck.h"
#include "Classes/Shared/VELErrorTexts.h"
#include "Tools/vel-posture/lint/ParameterLint.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>

namespace {

constexpr std::size_t wantedDigits = 40;
constexpr const char* matchesNone = ": no certificate matches";
constexpr const char* wantedFingerprint = "write the SHA-1 fingerprint: 40 hexadecimal digits";
constexpr const char* command =
    "write the SHA-1 fingerprint: openssl x509 -noout -fingerprint -sha1 -in FILE, without colons";

struct Digest {
    std::size_t digits;
    const char* name;
};

constexpr std::array otherDigests = {Digest{32, "MD5"}, Digest{56, "SHA-224"},
                                     Digest{64, "SHA-256"}, Digest{96, "SHA-384"},
                                     Digest{128, "SHA-512"}};

bool isHexadecimalDigit(char32_t character) {
    return (character >= U'0' && character <= U'9') || (character >= U'a' && character <= U'f');
}

bool areDigits(std::u32string_view text) {
    return std::all_of(text.begin(), text.end(), isHexadecimalDigit);
}

void lintLength(std::size_t count, const ParameterLint& sha1) {
    if (count == wantedDigits) {
        return;
    }
    const std::string digits = "has " + std::to_string(count) + " digits";
    const auto* const digest =
        std::find_if(otherDigests.begin(), otherDigests.end(),
                     [&](const Digest& each) { return each.digits == count; });
    if (digest != otherDigests.end()) {
        sha1.report(rule::neverPasses,
                    digits + ", like a fingerprint of " + digest->name + matchesNone, command);
    } else {
        sha1.report(rule::neverPasses, digits + ", not 40" + matchesNone, wantedFingerprint);
    }
}

} // namespace

void lintFingerprint(const ParameterLint& sha1) {
    const std::string* text = sha1.text(vel::errortext::notAString("sha1"), wantedFingerprint);
    if (text == nullptr) {
        return;
    }
    const std::u32string compared = vel::characters(VELCertificateCheck::normalizeSHA1(*text));
    std::u32string other;
    std::u32string digits;
    for (const char32_t character : compared) {
        if (!isHexadecimalDigit(character)) {
            other += character;
        }
        if (vel::isAlphanumeric(character)) {
            digits += character;
        }
    }
    if (compared.empty()) {
        sha1.report(rule::neverPasses, std::string("is empty") + matchesNone, wantedFingerprint);
        return;
    }
    const bool isSeparated = areDigits(digits) && !digits.empty();
    if (!other.empty()) {
        const bool isWhole = isSeparated && digits.size() == wantedDigits;
        sha1.report(rule::neverPasses,
                    "contains " + finding::charactersIn(other) +
                        ": with anything but hexadecimal digits and spaces, no certificate matches",
                    isWhole ? "write \"" + std::string(digits.begin(), digits.end()) + "\""
                            : wantedFingerprint);
    }
    if (isSeparated) {
        lintLength(digits.size(), sha1);
    }
}
