// SPDX-License-Identifier: Apache-2.0
#include "Platform/X509/VELCertificateParts.h"

#include "Platform/X509/VELDERReader.h"
#include "Platform/X509/VELX509Name.h"

#include <chrono>
#include <cstddef>

namespace vel::x509 {
namespace {

constexpr std::size_t maximumSerialNumber = 37; // bytes

/// An algorithm with or without parameters.
bool readAlgorithm(der::Reader& reader) {
    const auto algorithm = reader.next(der::sequence);
    if (!algorithm) {
        return false;
    }
    der::Reader content(algorithm->content);
    return content.next(der::objectIdentifier) && (content.atEnd() || content.next()) &&
           content.atEnd();
}

/// A bit string of whole bytes, as keys and signatures are.
bool readBytes(der::Reader& reader) {
    const auto bits = reader.next(der::bitString);
    return bits && bits->content.starts_with('\0');
}

/// Version 1 is left out; 2 and 3 are written as 1 and 2.
std::optional<int> readVersion(der::Reader& reader) {
    const auto wrapper = reader.next(der::context(0));
    if (!wrapper) {
        return 1;
    }
    der::Reader content(wrapper->content);
    const auto number = content.next(der::integer);
    if (!number || !content.atEnd() || number->content.size() != 1) {
        return std::nullopt;
    }
    const int version = 1 + static_cast<unsigned char>(number->content[0]);
    return version == 2 || version == 3 ? std::optional(version) : std::nullopt;
}

bool readSerialNumber(der::Reader& reader) {
    const auto number = reader.next(der::integer);
    return number && !number->content.empty() && number->content.size() <= maximumSerialNumber;
}

/// Reads the digits of a date and a time two by two.
class TimeDigits {
public:
    explicit TimeDigits(std::string_view text) : _rest(text) {}

    /// 0 when no two digits stand there.
    int pair() {
        const auto isDigit = [](char character) { return character >= '0' && character <= '9'; };
        if (_rest.size() < 2 || !isDigit(_rest[0]) || !isDigit(_rest[1])) {
            _isComplete = false;
            return 0;
        }
        const int value = 10 * (_rest[0] - '0') + (_rest[1] - '0');
        _rest.remove_prefix(2);
        return value;
    }

    /// "Z", or a sign, hours and minutes east or west of Greenwich.
    std::chrono::minutes zone() {
        const char first = _rest.empty() ? '\0' : _rest[0];
        _rest.remove_prefix(_rest.empty() ? 0 : 1);
        if (first == 'Z') {
            return std::chrono::minutes(0);
        }
        _isComplete &= first == '+' || first == '-';
        const int hours = pair();
        const int minutes = pair();
        return (first == '+' ? 1 : -1) * std::chrono::minutes(60 * hours + minutes);
    }

    [[nodiscard]] bool isAtZone() const { return _rest == "Z"; }

    /// Whether all that was read stood there, and nothing stands behind it.
    [[nodiscard]] bool isWhole() const { return _isComplete && _rest.empty(); }

private:
    std::string_view _rest;
    bool _isComplete = true;
};

/// The year of two digits, as far as the platform tells it: nothing for 50 to 69.
std::optional<int> fullYear(int pair) {
    if (pair < 50) {
        return 2000 + pair;
    }
    return pair >= 70 ? std::optional(1900 + pair) : std::nullopt;
}

/// YYMMDDhhmm[ss] or YYYYMMDDhhmmss and the zone. A second 60 is a leap second.
std::optional<VELMoment> momentOfTime(const der::Element& time) {
    using namespace std::chrono;
    const bool isShort = time.tag == der::utcTime;
    if (!isShort && time.tag != der::generalizedTime) {
        return std::nullopt;
    }
    TimeDigits digits(time.content);
    const int century = isShort ? 0 : digits.pair();
    const int yearDigits = digits.pair();
    const int monthDigits = digits.pair();
    const int dayDigits = digits.pair();
    const int hour = digits.pair();
    const int minute = digits.pair();
    const int second = isShort && digits.isAtZone() ? 0 : digits.pair();
    const auto zone = digits.zone();
    if (!digits.isWhole() || hour > 23 || minute > 59 || second > 60) {
        return std::nullopt;
    }
    const auto yearNumber = isShort ? fullYear(yearDigits) : 100 * century + yearDigits;
    const year_month_day date(year(yearNumber.value_or(2001)),
                              month(static_cast<unsigned>(monthDigits)),
                              day(static_cast<unsigned>(dayDigits)));
    if (!date.ok()) {
        return std::nullopt;
    }
    if (!yearNumber) {
        return sys_days(year(2001) / January / 1); // what the platform takes such a time for
    }
    return sys_days(date) + hours(hour) + minutes(minute) + seconds(second) - zone;
}

bool readValidity(der::Reader& reader, CertificateParts& parts) {
    const auto validity = reader.next(der::sequence);
    if (!validity) {
        return false;
    }
    der::Reader content(validity->content);
    const auto first = content.next();
    const auto last = content.next();
    const auto notBefore = first ? momentOfTime(*first) : std::nullopt;
    const auto notAfter = last ? momentOfTime(*last) : std::nullopt;
    if (!notBefore || !notAfter || !content.atEnd()) {
        return false;
    }
    parts.notBefore = *notBefore;
    parts.notAfter = *notAfter;
    return true;
}

bool readPublicKey(der::Reader& reader) {
    const auto key = reader.next(der::sequence);
    if (!key) {
        return false;
    }
    der::Reader content(key->content);
    return readAlgorithm(content) && readBytes(content) && content.atEnd();
}

/// What may follow the public key: two unique identifiers, then the extensions.
bool readRest(der::Reader& reader, CertificateParts& parts) {
    static_cast<void>(reader.next(der::contextPrimitive(1)));
    static_cast<void>(reader.next(der::contextPrimitive(2)));
    if (reader.atEnd()) {
        return true;
    }
    const auto wrapper = reader.next(der::context(3));
    if (!wrapper || !reader.atEnd()) {
        return false;
    }
    der::Reader content(wrapper->content);
    const auto list = content.next(der::sequence);
    const auto extensions =
        list && content.atEnd() ? certificateExtensions(list->content) : std::nullopt;
    if (!extensions) {
        return false;
    }
    parts.extensions = *extensions;
    return true;
}

std::optional<CertificateParts> readSignedPart(std::string_view signedPart) {
    CertificateParts parts;
    der::Reader reader(signedPart);
    const auto version = readVersion(reader);
    if (!version || !readSerialNumber(reader) || !readAlgorithm(reader)) {
        return std::nullopt;
    }
    parts.version = *version;
    const auto issuer = reader.next(der::sequence);
    if (!issuer || !readValidity(reader, parts)) {
        return std::nullopt;
    }
    parts.issuer = issuer->whole;
    const auto subject = reader.next(der::sequence);
    if (!subject || !readPublicKey(reader) || !readRest(reader, parts)) {
        return std::nullopt;
    }
    parts.subject = subject->whole;
    return parts;
}

} // namespace

std::optional<CertificateParts> certificateParts(std::string_view bytes) {
    const auto certificate = der::Reader(bytes).next(der::sequence);
    if (!certificate) {
        return std::nullopt;
    }
    der::Reader reader(certificate->content);
    const auto signedPart = reader.next(der::sequence);
    if (!signedPart || !readAlgorithm(reader) || !readBytes(reader) || !reader.atEnd()) {
        return std::nullopt;
    }
    auto parts = readSignedPart(signedPart->content);
    if (parts) {
        parts->whole = certificate->whole;
    }
    return parts;
}

std::optional<std::vector<std::string>> commonNamesOfCertificate(std::string_view bytes) {
    const auto parts = certificateParts(bytes);
    return parts ? commonNamesOfName(parts->subject) : std::nullopt;
}

} // namespace vel::x509
