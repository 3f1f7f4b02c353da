// SPDX-License-Identifier: Apache-2.0
#include "Platform/Linux/VELLinuxKeychain.h"

#include "Base/VELBase64.h"
#include "Base/VELDuration.h"
#include "Base/VELText.h"
#include "Platform/Linux/VELLinuxToolPaths.h"
#include "Platform/POSIX/VELMonotonicClock.h"
#include "Platform/POSIX/VELPOSIXTask.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace {

using enum VELSecurityStatus;

constexpr VELSecurityStatus timedOut = vel::statusOfErrorNumber(ETIMEDOUT);
constexpr std::int32_t helperWasTooSlow = 3;

class Identity final : public VELIdentity {
public:
    explicit Identity(std::shared_ptr<const VELX509Certificate> certificate)
        : _certificate(std::move(certificate)) {}

    [[nodiscard]] CertificateResult copyCertificate() const override {
        return {success, _certificate};
    }

private:
    std::shared_ptr<const VELX509Certificate> _certificate;
};

} // namespace

VELLinuxKeychain::VELLinuxKeychain() : VELLinuxKeychain(Helper{.path = ""}) {}

VELLinuxKeychain::VELLinuxKeychain(Helper helper, VELX509Trust::Clock clock)
    : VELX509Keychain(std::move(clock)), _helper(std::move(helper)) {}

VELSecurityStatus VELLinuxKeychain::read(vel::TokenContents& contents) const {
    std::string path =
        _helper.path.empty() ? vel::linuxToolPath("/usr/bin/security") : _helper.path;
    VELPOSIXTask task(std::move(path), _helper.arguments, vel::linuxToolOptions());
    try {
        task.launch();
    } catch (const VELTaskLaunchFailure&) {
        return notAvailable;
    }
    // Read while it writes: there may be more than a pipe holds.
    const auto output =
        task.readOutputToEnd(vel::momentAfter(vel::monotonicNow(), _helper.timeOut));
    task.close();
    if (!output) {
        task.terminate();
    }
    task.waitUntilExit();
    if (!output || task.terminationStatus() == helperWasTooSlow) {
        return timedOut;
    }
    // A status that the host took away says nothing: the output is written last, and whole or not.
    auto tokens = task.terminationStatus() <= 0 ? vel::readTokenContents(*output) : std::nullopt;
    if (!tokens) {
        return internalComponent;
    }
    contents = *std::move(tokens);
    return contents.certificates.empty() ? itemNotFound : success;
}

VELKeychain::CertificatesResult VELLinuxKeychain::certificates(std::size_t limit) const {
    vel::TokenContents contents;
    if (const VELSecurityStatus status = read(contents); status != success) {
        return {status, {}};
    }
    auto& certificates = contents.certificates;
    certificates.resize(std::min(limit, certificates.size()));
    return {success, std::move(certificates)};
}

VELKeychain::IdentitiesResult VELLinuxKeychain::identities(const std::string& issuer) const {
    vel::TokenContents contents;
    if (const VELSecurityStatus status = read(contents); status != success) {
        return {status, {}};
    }
    std::vector<std::string_view> candidates;
    for (std::size_t index = 0; index < contents.certificates.size(); ++index) {
        if (contents.isIdentity[index]) {
            candidates.push_back(contents.certificates[index]);
        }
    }
    const auto pool = std::make_shared<const VELCertificatePool>(contents.certificates);
    std::vector<std::unique_ptr<VELIdentity>> found;
    for (auto& certificate : matchingCertificates(candidates, issuer, pool)) {
        if (certificate != nullptr) {
            found.push_back(std::make_unique<Identity>(std::move(certificate)));
        }
    }
    const VELSecurityStatus status = found.empty() ? itemNotFound : success;
    return {status, std::move(found)};
}

VELKeychain::AllIdentitiesResult VELLinuxKeychain::allIdentities() const {
    vel::TokenContents contents;
    AllIdentitiesResult result = {read(contents), {}, now()};
    if (result.status != success) {
        return result;
    }
    for (std::size_t index = 0; index < contents.certificates.size(); ++index) {
        if (contents.isIdentity[index]) {
            result.certificates.push_back(std::move(contents.certificates[index]));
        }
    }
    result.status = result.certificates.empty() ? itemNotFound : success;
    return result;
}

std::optional<vel::TokenContents> vel::readTokenContents(std::string_view text) {
    constexpr std::string_view certificate = "certificate ";
    constexpr std::string_view identity = "identity ";
    std::vector<std::string_view> lines = split(text, '\n');
    if (lines.size() < 2 || !lines.back().empty() ||
        lines[lines.size() - 2] != "end " + std::to_string(lines.size() - 2)) {
        return std::nullopt;
    }
    lines.resize(lines.size() - 2);
    TokenContents contents;
    for (const std::string_view line : lines) {
        const bool isIdentity = line.starts_with(identity);
        if (!isIdentity && !line.starts_with(certificate)) {
            return std::nullopt;
        }
        auto der = bytesOfBase64(line.substr((isIdentity ? identity : certificate).size()));
        if (!der || der->empty()) {
            return std::nullopt;
        }
        contents.certificates.push_back(*std::move(der));
        contents.isIdentity.push_back(isIdentity);
    }
    return contents;
}
