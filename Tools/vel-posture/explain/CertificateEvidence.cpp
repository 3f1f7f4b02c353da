// SPDX-License-Identifier: Apache-2.0
#include "Base/VELText.h"
#include "Classes/Mac/VELCertificateCheck.h"
#include "Platform/X509/VELSHA1.h"
#include "Tools/vel-posture/explain/ToolEvidence.h"
#include "Tools/vel-posture/lint/Finding.h"

using Kind = CheckOutcome::Kind;

namespace {

constexpr std::size_t digitsOfSHA1 = 40;

std::string hexadecimal(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
        vel::appendHexadecimal(static_cast<std::uint8_t>(byte), text);
    }
    return text;
}

/// Why no certificate can have this fingerprint; nothing when one can.
std::optional<std::pair<std::string, std::string>> defectOf(const std::string& fingerprint) {
    std::u32string others = vel::characters(fingerprint);
    std::erase_if(others, [](char32_t character) {
        return (character >= U'0' && character <= U'9') || (character >= U'a' && character <= U'f');
    });
    if (!others.empty()) {
        return {{"fingerprint-not-hexadecimal", "contains " + finding::charactersIn(others)}};
    }
    if (fingerprint.size() != digitsOfSHA1) {
        return {{"fingerprint-length",
                 "has " + std::to_string(fingerprint.size()) + " digits instead of 40"}};
    }
    return std::nullopt;
}

} // namespace

std::optional<Explanation> explainCertificate(const VELDictionary& entry, Answers answers) {
    const VELValue& sha1 = entry.at("sha1");
    if (!sha1.is_string()) {
        return wrongType("sha1", sha1, "a string");
    }
    const auto* answer = answerOf<vel::recorded::Certificates>(answers);
    if (answer == nullptr) {
        return std::nullopt;
    }
    const std::string wanted =
        VELCertificateCheck::normalizeSHA1(sha1.get_ref<const std::string&>());
    Evidence evidence = {.expected = wanted, .found = nullptr, .source = "the keychains"};
    if (answer->status == VELSecurityStatus::itemNotFound) {
        evidence.code = "keychain-empty";
        evidence.text = "the keychains hold no certificate at all";
        return Explanation{Kind::error, std::move(evidence)};
    }
    if (answer->status != VELSecurityStatus::success) {
        return Explanation{Kind::error, unreadableKeychains(answer->status, answers, wanted)};
    }
    const std::size_t count = answer->certificates.size();
    for (std::size_t index = 0; index < count; ++index) {
        if (hexadecimal(vel::x509::sha1(answer->certificates[index])) == wanted) {
            evidence.code = "certificate-present";
            evidence.text = nameOfCertificate(answer->certificates[index]) +
                            " has this SHA-1, number " + std::to_string(index + 1) + " of " +
                            std::to_string(count);
            evidence.found = index + 1;
            return Explanation{Kind::pass, std::move(evidence)};
        }
    }
    evidence.code = "certificate-absent";
    evidence.text = "no certificate with this SHA-1 among " + std::to_string(count);
    evidence.found = count;
    if (count >= VELCertificateCheck::maximumCertificates) {
        evidence.text += "; further ones are not compared";
    }
    if (const auto defect = defectOf(wanted)) {
        evidence.code = defect->first;
        evidence.text =
            named(sha1.get_ref<const std::string&>()) + " is no SHA-1: it " + defect->second;
    }
    return Explanation{Kind::fail, std::move(evidence)};
}
