// SPDX-License-Identifier: Apache-2.0
#include "Platform/X509/VELCertificatePool.h"

#include "Platform/X509/VELCertificateParts.h"
#include "Platform/X509/VELX509Name.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

namespace {

using namespace vel::x509;

constexpr unsigned furtherIssuers = 10;

} // namespace

VELCertificatePool::VELCertificatePool(const std::vector<std::string>& certificates) {
    std::set<std::string_view> known;
    for (const std::string& bytes : certificates) {
        auto certificate = VELX509Certificate::parse(bytes);
        if (certificate == nullptr || !certificate->subject() ||
            !known.insert(certificate->der()).second) {
            continue;
        }
        if (certificate->issuer()) {
            _subjectsByIssuer.emplace(*certificate->issuer(), *certificate->subject());
        }
        _bySubject.emplace(*certificate->subject(), std::move(certificate));
    }
}

std::vector<std::shared_ptr<const VELX509Certificate>>
VELCertificatePool::certificatesOf(const std::string& subject, std::size_t limit,
                                   std::string_view known) const {
    std::vector<std::shared_ptr<const VELX509Certificate>> certificates;
    const auto [first, last] = _bySubject.equal_range(subject);
    for (auto found = first; found != last && limit > 0; ++found, --limit) {
        if (found->second->der() != known) {
            certificates.push_back(found->second);
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
