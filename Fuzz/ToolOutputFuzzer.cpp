// SPDX-License-Identifier: Apache-2.0
#include "Base/VELText.h"
#include "Classes/Mac/VELPostureCheckRunner+Mac.h"
#include "Fuzz/FuzzInput.h"
#include "Platform/Simulated/VELMachineDescription.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace {

const std::vector<std::string> firewallTool = {"/usr/libexec/ApplicationFirewall/socketfilterfw",
                                               "--getglobalstate"};
const std::vector<std::string> listTool = {"/bin/ps", "-axc"};
const std::vector<std::string> signatureTool = {"/usr/bin/codesign", "--display",
                                                "--extract-certificates", "7"};
const std::vector<std::string> subjectTool = {
    "/usr/bin/openssl", "x509", "-inform", "DER", "-in", "codesign0", "-subject", "-noout"};
const std::vector<std::string> directoryTool = {"/usr/sbin/dsconfigad", "-show", "-xml"};

VELValue tool(const std::vector<std::string>& command, std::string_view output) {
    return {{"command", command}, {"output", output}};
}

/// The verdict of one check on a described Mac with these tools.
bool passes(std::vector<VELValue> tools, VELValue check) {
    const auto machine = vel::machineFromValue({{"tools", std::move(tools)}}, nullptr);
    const auto runner = VELPlatformRunnerFactory::macPostureCheckRunner(nullptr, machine);
    const VELValue request = {{"mac", VELValue::array({std::move(check)})}};
    const std::string result = runner->runPostureCheckFromDocumentString(request.dump());
    return VELValue::parse(result).at("pass") == true;
}

bool findsProcess(std::vector<VELValue> tools, VELValue process) {
    return passes(std::move(tools), {{"type", "anyProcessRunning"},
                                     {"processes", VELValue::array({std::move(process)})}});
}

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

std::string lower(std::string text) {
    std::ranges::transform(text, text.begin(), [](char character) {
        return character >= 'A' && character <= 'Z' ? static_cast<char>(character + 32) : character;
    });
    return text;
}

/// The number of the first label that a digit follows is not zero.
bool isOn(std::string_view output) {
    constexpr std::string_view label = "State = ";
    for (std::size_t place = 0; place + label.size() < output.size(); ++place) {
        if (output.substr(place).starts_with(label) && isDigit(output[place + label.size()])) {
            const std::string_view number = output.substr(place + label.size());
            const auto end = std::ranges::find_if_not(number, isDigit);
            return std::any_of(number.begin(), end, [](char digit) { return digit != '0'; });
        }
    }
    return false;
}

bool isListed(const std::string& name, const std::string& listing) {
    return !name.empty() && std::ranges::any_of(vel::split(listing, '\n'), [&](auto line) {
        return lower(std::string(line)).ends_with(lower(name));
    });
}

/// The OU is what stands between the first label and the next slash.
bool isSignedBy(const std::string& organization, const std::string& line) {
    const std::string from = line.substr(std::min(line.find("/OU="), line.size()));
    return !from.empty() && from.starts_with("/OU=" + organization + "/") &&
           organization.find('/') == std::string::npos;
}

bool isAllowed(char c) {
    return isDigit(c) || (c >= 'a' && c <= 'z') || c == '.' || c == '*' || c == '-' || c == '_';
}

/// Goes through the pattern with every place at which a match may have come to; both in lower case.
bool fits(const std::string& pattern, const std::string& domain) {
    std::vector<bool> places(domain.size() + 1, true);
    for (const char character : pattern) {
        std::vector<bool> next(domain.size() + 1, false);
        for (std::size_t place = 0; place < places.size(); ++place) {
            const bool before = place > 0 && places[place - 1] && domain[place - 1] == character;
            const bool within = places[place] || (place > 0 && next[place - 1]);
            next[place] = character == '*' ? within : before;
        }
        places = next;
    }
    return !pattern.empty() && std::ranges::all_of(pattern, isAllowed) &&
           std::ranges::find(places, true) != places.end();
}

bool isJoined(std::string_view domain, const std::string& pattern) {
    std::string text;
    for (const char character : domain) {
        text += "&#" + std::to_string(static_cast<int>(character)) + ';';
    }
    const std::string list = "<plist><dict><key>General Info</key><dict>"
                             "<key>Active Directory Domain</key><string>" +
                             text + "</string></dict></dict></plist>";
    return passes({tool(directoryTool, list)},
                  {{"type", "joinedToDomain"}, {"names", VELValue::array({pattern})}});
}

} // namespace

/// The input, of which seven bits of each byte count, is a letter for the tool, a parameter, a NUL
/// and a text. The check passes if and only if a plain reading of what the tool prints says so.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string input(fuzzText(data, size));
    std::ranges::transform(input, input.begin(), [](char byte) { return byte & 0x7F; });
    if (input.empty()) {
        return 0;
    }
    const std::size_t end = std::min(input.find('\0', 1), input.size());
    const std::string parameter = input.substr(1, end - 1);
    const std::string text = input.substr(std::min(end + 1, input.size()));
    switch (input.front()) {
    case 'f':
        require(passes({tool(firewallTool, text)}, {{"type", "localFirewall"}}) == isOn(text));
        break;
    case 'p':
        require(findsProcess({tool(listTool, text)}, {{"name", parameter}}) ==
                isListed(parameter, text));
        break;
    case 's':
        require(
            findsProcess({tool(listTool, "7 x"), tool(signatureTool, ""), tool(subjectTool, text)},
                         {{"name", "x"}, {"signingCertificateSubjectOU", parameter}}) ==
            isSignedBy(parameter, text));
        break;
    default:
        if (text.size() <= 256 &&
            std::ranges::all_of(text, [](char c) { return c >= ' ' && c < 127; })) {
            require(isJoined(text, parameter) == fits(lower(parameter), lower(text)));
        }
    }
    return 0;
}
