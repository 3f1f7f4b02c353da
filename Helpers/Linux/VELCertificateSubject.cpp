// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELCertificateSubject.h"
#include "Base/VELText.h"
#include "Platform/X509/VELOpenSSL.h"

#include <cstddef>
#include <openssl/asn1.h>
#include <openssl/objects.h>

namespace vel {
namespace {

/// Throws as `raiseFailure` does: OpenSSL cannot write it.
std::string nameOfType(const ASN1_OBJECT* type) {
    const int known = OBJ_obj2nid(type);
    if (const char* name = known == NID_undef ? nullptr : OBJ_nid2sn(known)) {
        return name;
    }
    const int length = OBJ_obj2txt(nullptr, 0, type, 1);
    if (length <= 0) {
        x509::raiseFailure();
    }
    std::string digits(static_cast<std::size_t>(length) + 1, '\0');
    x509::requireSuccess(OBJ_obj2txt(digits.data(), length + 1, type, 1) == length ? 1 : 0);
    digits.pop_back();
    return digits;
}

void appendEscaped(std::string& line, std::string_view value) {
    for (const char character : value) {
        const auto byte = static_cast<unsigned char>(character);
        if (character == '/') {
            line += "\\2F";
        } else if (character == '\\') {
            line += "\\5C";
        } else if (byte < 0x20 || byte > 0x7E) {
            appendByteEscape(character, line);
        } else {
            line += character;
        }
    }
}

/// What is no text, or not the text that it says it is, gives its bytes as they are.
void appendValue(std::string& line, const ASN1_STRING* value) {
    unsigned char* text = nullptr;
    const int length = ASN1_STRING_to_UTF8(&text, value);
    const x509::MemoryHandle<unsigned char> owned(text);
    const unsigned char* bytes = length < 0 ? ASN1_STRING_get0_data(value) : text;
    const int count = length < 0 ? ASN1_STRING_length(value) : length;
    if (count > 0) {
        appendEscaped(line,
                      {reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(count)});
    }
}

} // namespace

std::optional<std::string> certificateSubject(std::string_view der) {
    const x509::ErrorQueueScope errors;
    const auto certificate = x509::decodedCertificate(der);
    if (!certificate) {
        return std::nullopt;
    }
    std::string line;
    const X509_NAME* subject = X509_get_subject_name(certificate.get());
    for (int i = 0; i < X509_NAME_entry_count(subject); ++i) {
        const X509_NAME_ENTRY* attribute = X509_NAME_get_entry(subject, i);
        line.append("/").append(nameOfType(X509_NAME_ENTRY_get_object(attribute))).append("=");
        appendValue(line, X509_NAME_ENTRY_get_data(attribute));
    }
    return line;
}

} // namespace vel
