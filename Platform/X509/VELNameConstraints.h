// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/X509/VELCertificateParts.h"

/// Which names an issuer lets the certificates below it have. Read from their encodings alone; of
/// two ways to read a constraint, the one that allows less counts.
namespace vel::x509 {

/// Whether the subject and the alternative names of `certificate` are among the subtrees that
/// `issuer` permits, and in none that it excludes. A name of a form without a permitted subtree may
/// be any. False also when there are so many names and subtrees that comparing them takes too long.
bool allowsNames(const NameSubtrees& issuer, const CertificateParts& certificate);

/// Whether there is a meaning for each form of name that the subtrees constrain.
bool areSubtreesSupported(const NameSubtrees& subtrees);

} // namespace vel::x509
