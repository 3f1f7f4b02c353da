// SPDX-License-Identifier: Apache-2.0
#include "Platform/X509/VELX509Name.h"

#include "Base/VELText.h"
#include "Platform/X509/VELDERReader.h"

#include <cstddef>
#include <utility>

namespace vel::x509 {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view commonNameType = "\x55\x04\x03"sv;
constexpr std::string_view organizationType = "\x55\x04\x0A"sv;
constexpr std::string_view organizationalUnitType = "\x55\x04\x0B"sv;
constexpr std::string_view descriptionType = "\x55\x04\x0D"sv;
constexpr std::string_view emailAddressType = "\x2A\x86\x48\x86\xF7\x0D\x01\x09\x01"sv;

struct Attribute {
    std::string_view type; ///< content of its object identifier
    std::string_view wholeType;
    der::Element value;
};

std::optional<Attribute> readAttribute(der::Reader& relativeName) {
    const auto pair = relativeName.next(der::sequence);
    if (!pair) {
        return std::nullopt;
    }
    der::Reader reader(pair->content);
    const auto type = reader.next(der::objectIdentifier);
    const auto value = type && !type->content.empty() ? reader.next() : std::nullopt;
    if (!value || !reader.atEnd()) {
        return std::nullopt;
    }
    return Attribute{type->content, type->whole, *value};
}

/// The attributes of each relative name, in order. Nothing: malformed.
std::optional<std::vector<std::vector<Attribute>>> readName(std::string_view name) {
    der::Reader whole(name);
    const auto sequence = whole.next(der::sequence);
    if (!sequence || !whole.atEnd()) {
        return std::nullopt;
    }
    std::vector<std::vector<Attribute>> relativeNames;
    der::Reader reader(sequence->content);
    while (!reader.atEnd()) {
        const auto relativeName = reader.next(der::set);
        if (!relativeName || relativeName->content.empty()) {
            return std::nullopt;
        }
        der::Reader attributes(relativeName->content);
        auto& read = relativeNames.emplace_back();
        while (!attributes.atEnd()) {
            const auto attribute = readAttribute(attributes);
            if (!attribute) {
                return std::nullopt;
            }
            read.push_back(*attribute);
        }
    }
    return relativeNames;
}

std::vector<Attribute> attributesOf(std::string_view name) {
    std::vector<Attribute> attributes;
    for (const auto& relativeName :
         readName(name).value_or(decltype(readName(name))::value_type())) {
        attributes.insert(attributes.end(), relativeName.begin(), relativeName.end());
    }
    return attributes;
}

std::string normalizedPrintable(std::string_view text) {
    std::string normalized;
    bool isGapPending = false;
    for (const char character : text) {
        if (character == ' ' || character == '\t') {
            isGapPending = !normalized.empty();
            continue;
        }
        if (std::exchange(isGapPending, false)) {
            normalized += ' ';
        }
        const bool isLower = character >= 'a' && character <= 'z';
        normalized += isLower ? static_cast<char>(character - 'a' + 'A') : character;
    }
    return normalized;
}

std::optional<std::string> textOfUTF32(std::string_view content) {
    if (content.size() % 4 != 0) {
        return std::nullopt;
    }
    std::string text;
    for (; !content.empty(); content.remove_prefix(4)) {
        char32_t character = 0;
        for (const char byte : content.substr(0, 4)) {
            character = character << 8U | static_cast<unsigned char>(byte);
        }
        if (character > 0x10FFFF || (character >= 0xD800 && character < 0xE000)) {
            return std::nullopt;
        }
        appendUTF8(character, text);
    }
    return text;
}

std::optional<std::string> textOfASCII(std::string_view content) {
    return isASCII(content) ? std::optional(std::string(content)) : std::nullopt;
}

std::string textOfLatin1(std::string_view content) {
    std::string text;
    for (const char character : content) {
        appendUTF8(static_cast<unsigned char>(character), text);
    }
    return text;
}

std::string_view withoutFinalNUL(std::string_view content) {
    if (content.ends_with('\0')) {
        content.remove_suffix(1);
    }
    return content;
}

std::optional<std::string> decodedText(std::uint8_t tag, std::string_view content) {
    switch (tag) {
    case der::utf8String: {
        const std::string_view text = withoutFinalNUL(content);
        return isValidUTF8(text) ? std::optional(std::string(text)) : std::nullopt;
    }
    case der::numericString:
    case der::printableString:
    case der::ia5String:
        return textOfASCII(withoutFinalNUL(content));
    case der::teletexString:
    case der::videotexString:
    case der::visibleString:
        return textOfLatin1(withoutFinalNUL(content));
    case der::bmpString:
        return textOfUTF16(content);
    case der::universalString:
        return textOfUTF32(content);
    default:
        return std::nullopt;
    }
}

/// How much a type of attribute counts for a summary.
int rankOf(std::string_view type) {
    return type == commonNameType           ? 4
           : type == organizationalUnitType ? 3
           : type == organizationType       ? 2
                                            : 1;
}

/// The texts with commas, the last one first.
std::string listedBackwards(const std::vector<std::string>& texts) {
    std::string list;
    for (auto text = texts.rbegin(); text != texts.rend(); ++text) {
        list += (list.empty() ? "" : ", ") + *text;
    }
    return list;
}

} // namespace

std::optional<std::string> normalizedName(std::string_view name) {
    const auto relativeNames = readName(name);
    if (!relativeNames) {
        return std::nullopt;
    }
    std::string content;
    for (const auto& relativeName : *relativeNames) {
        std::string attributes;
        for (const Attribute& attribute : relativeName) {
            std::string pair(attribute.wholeType);
            if (attribute.value.tag == der::printableString) {
                pair += der::element(der::printableString,
                                     normalizedPrintable(attribute.value.content));
            } else {
                pair += attribute.value.whole;
            }
            attributes += der::element(der::sequence, pair);
        }
        content += der::element(der::set, attributes);
    }
    return der::element(der::sequence, content);
}

std::optional<std::string> textOfValue(std::uint8_t tag, std::string_view content) {
    auto text = decodedText(tag, content);
    return text && !text->empty() ? std::move(text) : std::nullopt;
}

std::optional<std::vector<std::string>> commonNamesOfName(std::string_view name) {
    const auto relativeNames = readName(name);
    if (!relativeNames) {
        return std::nullopt;
    }
    std::vector<std::string> names;
    for (const auto& relativeName : *relativeNames) {
        for (const Attribute& attribute : relativeName) {
            if (attribute.type != commonNameType) {
                continue;
            }
            auto text = textOfValue(attribute.value.tag, attribute.value.content);
            if (!text) {
                return std::nullopt;
            }
            names.push_back(*std::move(text));
        }
    }
    return names;
}

std::vector<std::optional<std::string>> emailAddressesOfName(std::string_view name) {
    std::vector<std::optional<std::string>> addresses;
    for (const Attribute& attribute : attributesOf(name)) {
        if (attribute.type == emailAddressType) {
            addresses.push_back(textOfValue(attribute.value.tag, attribute.value.content));
        }
    }
    return addresses;
}

std::size_t attributeCount(std::string_view name) {
    return attributesOf(name).size();
}

NameSummary nameSummary(std::string_view name) {
    NameSummary summary;
    std::vector<std::string> texts;
    std::vector<std::string> descriptions;
    int rank = 0;
    for (const Attribute& attribute : attributesOf(name)) {
        auto text = textOfValue(attribute.value.tag, attribute.value.content);
        if (!text) {
            continue;
        }
        if (attribute.type == emailAddressType && !summary.emailAddress) {
            summary.emailAddress = text;
        }
        if (attribute.type == descriptionType) {
            descriptions.push_back(*std::move(text));
            continue;
        }
        const int candidate = rankOf(attribute.type);
        if (candidate > rank) {
            texts.clear();
            rank = candidate;
        }
        if (candidate == rank) {
            texts.push_back(*std::move(text));
        }
    }
    summary.isCommonName = rank == rankOf(commonNameType);
    if (!texts.empty()) {
        summary.text = listedBackwards(texts);
    }
    if (summary.isCommonName && !descriptions.empty()) {
        *summary.text += " (" + listedBackwards(descriptions) + ")";
    }
    return summary;
}

} // namespace vel::x509
