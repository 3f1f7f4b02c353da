// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELDomainBinding.h"
#include "Base/VELText.h"
#include "Base/VELXMLText.h"
#include "Helpers/Linux/VELSystemBus.h"
#include "Helpers/Linux/VELToolCommandLine.h"

#include <algorithm>

namespace vel {
namespace {

constexpr const char* realmService = "org.freedesktop.realmd";
constexpr SystemBus::Property allRealms = {realmService, "/org/freedesktop/realmd",
                                           "org.freedesktop.realmd.Provider", "Realms"};

bool isActiveDirectory(const SystemBus& bus, const char* realm) {
    const auto details =
        bus.textPairs({realmService, realm, "org.freedesktop.realmd.Realm", "Details"});
    return details && std::ranges::find(*details, std::pair<std::string, std::string>(
                                                      "server-software", "active-directory")) !=
                          details->end();
}

/// Whether the machine has joined: then the name of the interface by which it can leave stands
/// here.
bool isConfigured(const SystemBus& bus, const char* realm) {
    const auto configured =
        bus.text({realmService, realm, "org.freedesktop.realmd.Realm", "Configured"});
    return configured && !configured->empty();
}

} // namespace

std::optional<std::string> joinedDomain(const std::string& busAddress) {
    const auto bus = SystemBus::connect(busAddress);
    const auto realms = bus ? bus->objectPaths(allRealms) : std::nullopt;
    if (!realms) {
        return std::nullopt;
    }
    for (const auto& realm : *realms) {
        if (isConfigured(*bus, realm.c_str()) && isActiveDirectory(*bus, realm.c_str())) {
            auto domain = bus->text(
                {realmService, realm.c_str(), "org.freedesktop.realmd.Kerberos", "DomainName"});
            if (domain && !domain->empty()) {
                return domain;
            }
        }
    }
    return std::nullopt;
}

std::string reasonOfDomain(const std::string& busAddress) {
    const auto bus = SystemBus::connect(busAddress);
    if (!bus) {
        return lineOfReason("system-bus-missing", "the system bus does not answer");
    }
    const auto realms = bus->objectPaths(allRealms);
    if (!realms) {
        return lineOfReason("realmd-missing", "realmd does not answer on the system bus");
    }
    const auto configured = std::ranges::count_if(
        *realms, [&bus](const std::string& realm) { return isConfigured(*bus, realm.c_str()); });
    if (configured == 0) {
        return lineOfReason("domain-not-joined", "realmd knows no domain that this machine joined");
    }
    const auto domain = joinedDomain(busAddress);
    if (!domain) {
        return lineOfReason("domain-not-active-directory",
                            "this machine joined a domain that is no Active Directory");
    }
    return domainPropertyList(*domain)
               ? lineOfReason(answerIsKnown, "the domain can be read")
               : lineOfReason("domain-name-unusable",
                              "the name of the domain cannot stand in a property list");
}

std::optional<std::string> domainPropertyList(std::string_view domain) {
    const bool hasControls = std::ranges::any_of(domain, [](char character) {
        const auto byte = static_cast<unsigned char>(character);
        return byte < 0x20 || byte == 0x7F;
    });
    // U+FFFE and U+FFFF are no characters of XML.
    const bool hasNoCharacter = domain.find("\xEF\xBF\xBE") != std::string_view::npos ||
                                domain.find("\xEF\xBF\xBF") != std::string_view::npos;
    if (domain.empty() || hasControls || hasNoCharacter || !isValidUTF8(domain)) {
        return std::nullopt;
    }
    return R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
	<key>General Info</key>
	<dict>
		<key>Active Directory Domain</key>
		<string>)" +
           escapedForXML(domain) + R"(</string>
	</dict>
</dict>
</plist>
)";
}

} // namespace vel
