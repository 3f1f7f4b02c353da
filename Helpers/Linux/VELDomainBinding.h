// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vel {

/// The Active Directory domain that this machine has joined, as the realm service (realmd) on the
/// system bus knows it: the first of its realms that is configured and whose server is Active
/// Directory. Nothing when there is none, or it does not answer.
std::optional<std::string> joinedDomain(const std::string& busAddress);

/// Why there is none, or that there is one: a line for `--why`.
std::string reasonOfDomain(const std::string& busAddress);

/// The property list (XML) that shows a machine as bound to `domain`. Nothing when XML cannot hold
/// the text: it is empty, is not UTF-8, or has control characters.
std::optional<std::string> domainPropertyList(std::string_view domain);

} // namespace vel
