// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

/// A parsed X.509 certificate. Immutable. Byte strings are held in std::string.
class VELCertificate {
public:
    virtual ~VELCertificate() = default;

    /// The DER encoding of the certificate itself, without bytes that followed it.
    [[nodiscard]] virtual const std::string& der() const = 0;

    /// The common names of the subject, in its order; UTF-8. Empty: the subject has none. Absent:
    /// one cannot be decoded, or the subject is malformed.
    [[nodiscard]] virtual std::optional<std::vector<std::string>> commonNames() const = 0;

    /// The DER of the subject name in the platform's normalised form, the form in which issuers and
    /// subjects are compared. Absent: the name is malformed. An empty name is the empty sequence.
    [[nodiscard]] virtual std::optional<std::string> normalizedSubject() const = 0;

    /// A short readable name of the subject; UTF-8. Absent: the certificate has none.
    [[nodiscard]] virtual std::optional<std::string> subjectSummary() const = 0;
};
