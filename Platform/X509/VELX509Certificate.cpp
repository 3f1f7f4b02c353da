// SPDX-License-Identifier: Apache-2.0
#include "Platform/X509/VELX509Certificate.h"

#include "Platform/X509/VELDERReader.h"
#include "Platform/X509/VELX509Name.h"

#include <ctime>
#include <utility>

namespace {

using namespace vel::x509;

std::optional<VELMoment> momentOf(const ASN1_TIME* time) {
    const ErrorQueueScope errors;
    std::tm parts = {};
    if (time == nullptr || ASN1_TIME_to_tm(time, &parts) != 1) {
        return std::nullopt;
    }
    using namespace std::chrono;
    const year_month_day date(year(parts.tm_year + 1900),
                              month(static_cast<unsigned>(parts.tm_mon + 1)),
                              day(static_cast<unsigned>(parts.tm_mday)));
    return sys_days(date) + hours(parts.tm_hour) + minutes(parts.tm_min) + seconds(parts.tm_sec);
}

} // namespace

std::shared_ptr<const VELX509Certificate>
VELX509Certificate::parse(std::string_view der, std::shared_ptr<const VELCertificatePool> pool) {
    const auto whole = vel::der::Reader(der).next(vel::der::sequence);
    if (!whole) {
        return nullptr;
    }
    std::shared_ptr<VELX509Certificate> certificate(new VELX509Certificate(whole->whole));
    const auto parts = certificateParts(certificate->_der);
    if (!parts) {
        return nullptr;
    }
    certificate->_parts = *parts;
    certificate->_subject = normalizedName(parts->subject);
    certificate->_issuer = normalizedName(parts->issuer);
    certificate->_x509 = decodedCertificate(certificate->_der);
    const ErrorQueueScope errors;
    const ExtensionList extensions = extensionList(parts->extensions);
    certificate->_hasDuplicateExtension = extensions == ExtensionList::duplicate;
    certificate->_hasUnreadableExtension =
        extensions == ExtensionList::malformed || certificate->_x509 == nullptr ||
        (X509_get_extension_flags(certificate->_x509.get()) & EXFLAG_INVALID) != 0;
    certificate->_pool = std::move(pool);
    return certificate;
}

std::optional<std::vector<std::string>> VELX509Certificate::commonNames() const {
    return commonNamesOfName(_parts.subject);
}

std::optional<std::string> VELX509Certificate::firstAlternativeName(int type) const {
    const ErrorQueueScope errors;
    const GeneralNamesHandle names(static_cast<GENERAL_NAMES*>(
        X509_get_ext_d2i(_x509.get(), NID_subject_alt_name, nullptr, nullptr)));
    for (int index = 0; index < sk_GENERAL_NAME_num(names.get()); ++index) {
        const GENERAL_NAME* name = sk_GENERAL_NAME_value(names.get(), index);
        if (name->type != type) {
            continue;
        }
        const auto* bytes = reinterpret_cast<const char*>(ASN1_STRING_get0_data(name->d.ia5));
        const auto length = static_cast<std::size_t>(ASN1_STRING_length(name->d.ia5));
        if (auto text = textOfValue(vel::der::ia5String, {bytes, length})) {
            return text;
        }
    }
    return std::nullopt;
}

std::optional<std::string> VELX509Certificate::subjectSummary() const {
    NameSummary summary = nameSummary(_parts.subject);
    if (summary.isCommonName) {
        return summary.text;
    }
    if (auto address = firstAlternativeName(GEN_EMAIL)) {
        return address;
    }
    if (summary.emailAddress) {
        return summary.emailAddress;
    }
    if (auto host = firstAlternativeName(GEN_DNS)) {
        return host;
    }
    return summary.text;
}

std::optional<VELMoment> VELX509Certificate::notBefore() const {
    return _x509 ? momentOf(X509_get0_notBefore(_x509.get())) : std::nullopt;
}

std::optional<VELMoment> VELX509Certificate::notAfter() const {
    return _x509 ? momentOf(X509_get0_notAfter(_x509.get())) : std::nullopt;
}

bool VELX509Certificate::isValidAt(VELMoment moment) const {
    const auto first = notBefore();
    const auto last = notAfter();
    return first && last && *first <= moment && moment <= *last;
}
