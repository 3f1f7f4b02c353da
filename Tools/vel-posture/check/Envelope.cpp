// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/check/Envelope.h"

#include "Base/VELJSON.h"
#include "Base/VELText.h"
#include "Platform/X509/VELOpenSSL.h"
#include "vel_device_trust/vel_device_trust.h"

#include <array>

namespace {

std::string sha256(std::string_view bytes) {
    using namespace vel::x509;
    const DigestHandle algorithm =
        made(DigestHandle(EVP_MD_fetch(privateContext(), "SHA256", nullptr)));
    std::array<std::uint8_t, EVP_MAX_MD_SIZE> digest{};
    unsigned size = 0;
    requireSuccess(
        EVP_Digest(bytes.data(), bytes.size(), digest.data(), &size, algorithm.get(), nullptr));
    std::string text;
    for (unsigned index = 0; index < size; ++index) {
        vel::appendHexadecimal(digest.at(index), text);
    }
    return text;
}

std::string requestOf(const RequestRun& run) {
    std::string text = "{";
    for (const char* key : {"name", "version"}) {
        if (const VELValue* value = vel::valueUnder(key, run.request)) {
            text += vel::compactText(key) + ":" + vel::compactText(*value) + ",";
        }
    }
    return text + "\"sha256\":\"" + sha256(run.document) + "\"}";
}

} // namespace

std::string envelope(const RequestRun& run, std::string_view runIdentifier, std::string_view host) {
    return "{\"time\":" + vel::compactText(timeText(run.time)) +
           ",\"host\":" + vel::compactText(host) +
           ",\"program\":" + vel::compactText(vel_device_trustVersionString) +
           ",\"request\":" + requestOf(run) + ",\"run\":" + vel::compactText(runIdentifier) +
           ",\"result\":" + run.resultDocument + "}";
}
