// SPDX-License-Identifier: Apache-2.0
#include "Platform/X509/VELX509Certificate.h"

#include "Platform/X509/VELDERReader.h"
#include "Platform/X509/VELX509Name.h"

#include <algorithm>
#include <ctime>
#include <iterator>
#include <set>
#include <utility>

namespace {

using namespace vel::x509;

constexpr unsigned furtherIssuers = 10;

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
    const auto parts = certificateParts(der);
    auto decoded = parts ? decodedCertificate(parts->whole) : nullptr;
    if (decoded == nullptr) {
        return nullptr;
    }
    const ErrorQueueScope errors;
    std::shared_ptr<VELX509Certificate> certificate(new VELX509Certificate);
    certificate->_der = parts->whole;
    certificate->_subject = normalizedName(parts->subject);
    certificate->_issuer = normalizedName(parts->issuer);
    const ExtensionList extensions = extensionList(parts->extensions);
    certificate->_hasDuplicateExtension = extensions == ExtensionList::duplicate;
    certificate->_hasUnreadableExtension =
        extensions == ExtensionList::malformed ||
        (X509_get_extension_flags(decoded.get()) & EXFLAG_INVALID) != 0;
    certificate->_pool = std::move(pool);
    certificate->_x509 = std::move(decoded);
    return certificate;
}

std::optional<std::vector<std::string>> VELX509Certificate::commonNames() const {
    return commonNamesOfCertificate(_der);
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
    const auto parts = certificateParts(_der);
    NameSummary summary = nameSummary(parts->subject);
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
    return momentOf(X509_get0_notBefore(_x509.get()));
}

std::optional<VELMoment> VELX509Certificate::notAfter() const {
    return momentOf(X509_get0_notAfter(_x509.get()));
}

bool VELX509Certificate::isValidAt(VELMoment moment) const {
    const auto first = notBefore();
    const auto last = notAfter();
    return first && last && *first <= moment && moment <= *last;
}

VELCertificatePool::VELCertificatePool(const std::vector<std::string>& certificates) {
    std::set<std::string_view> known;
    for (const std::string& bytes : certificates) {
        const auto parts = certificateParts(bytes);
        if (!parts || !known.insert(parts->whole).second) {
            continue;
        }
        if (auto subject = normalizedName(parts->subject)) {
            auto entry = std::make_unique<Entry>();
            entry->der = parts->whole;
            const auto placed = _bySubject.emplace(*std::move(subject), std::move(entry));
            if (auto issuer = normalizedName(parts->issuer)) {
                _subjectsByIssuer.emplace(*std::move(issuer), placed->first);
            }
        }
    }
}

std::vector<std::shared_ptr<const VELX509Certificate>>
VELCertificatePool::certificatesOf(const std::string& subject, std::size_t limit) const {
    std::vector<std::shared_ptr<const VELX509Certificate>> certificates;
    const auto [first, last] = _bySubject.equal_range(subject);
    for (auto found = first; found != last && limit > 0; ++found, --limit) {
        Entry& entry = *found->second;
        std::call_once(entry.decodeOnce,
                       [&] { entry.certificate = VELX509Certificate::parse(entry.der); });
        if (entry.certificate != nullptr) {
            certificates.push_back(entry.certificate);
        }
    }
    return certificates;
}

std::vector<std::string_view> VELCertificatePool::subjectsOf(std::string_view issuer) const {
    std::vector<std::string_view> subjects;
    const auto [first, last] = _subjectsByIssuer.equal_range(issuer);
    std::transform(first, last, std::back_inserter(subjects),
                   [](const auto& entry) { return entry.second; });
    return subjects;
}

std::set<std::string, std::less<>> vel::x509::issuersLeadingTo(const std::string& wanted,
                                                               const VELCertificatePool* pool) {
    // From the wanted name downwards, so that every name is looked at once, whoever asks for it.
    std::set<std::string, std::less<>> names = {wanted};
    std::vector<std::string_view> level = {*names.begin()};
    for (unsigned depth = 0; depth < furtherIssuers && pool != nullptr; ++depth) {
        std::vector<std::string_view> below;
        for (const std::string_view name : level) {
            for (const std::string_view subject : pool->subjectsOf(name)) {
                if (const auto [added, isNew] = names.emplace(subject); isNew) {
                    below.push_back(*added);
                }
            }
        }
        level = std::move(below);
    }
    return names;
}

std::string vel::x509::sha1(std::string_view bytes) {
    // Never freed, as the context it belongs to.
    static EVP_MD* const algorithm =
        made(DigestHandle(EVP_MD_fetch(privateContext(), "SHA1", nullptr))).release();
    const ErrorQueueScope errors;
    std::string digest(static_cast<std::size_t>(EVP_MD_get_size(algorithm)), '\0');
    if (EVP_Digest(bytes.data(), bytes.size(), reinterpret_cast<unsigned char*>(digest.data()),
                   nullptr, algorithm, nullptr) != 1) {
        throw std::bad_alloc();
    }
    return digest;
}
