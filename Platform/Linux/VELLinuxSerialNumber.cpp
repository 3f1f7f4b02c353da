// SPDX-License-Identifier: Apache-2.0
#include "Platform/Linux/VELLinuxSerialNumber.h"

#include "Base/VELText.h"
#include "Platform/POSIX/VELFileReader.h"

#include <algorithm>
#include <array>
#include <utility>

namespace vel {
namespace {

/// In letters and digits alone, lower case.
constexpr std::array placeholders = {
    std::string_view("baseboardserialnumber"),
    std::string_view("boardserialnumber"),
    std::string_view("chassisserialnumber"),
    std::string_view("default"),
    std::string_view("defaultserialnumber"),
    std::string_view("defaultstring"),
    std::string_view("empty"),
    std::string_view("filledbyoem"),
    std::string_view("invalid"),
    std::string_view("mbserialnumber"),
    std::string_view("na"),
    std::string_view("none"),
    std::string_view("noserialnumber"),
    std::string_view("notapplicable"),
    std::string_view("notavailable"),
    std::string_view("notpresent"),
    std::string_view("notset"),
    std::string_view("notspecified"),
    std::string_view("null"),
    std::string_view("oem"),
    std::string_view("productserialnumber"),
    std::string_view("serial"),
    std::string_view("serialnumber"),
    std::string_view("sernum"),
    std::string_view("sn"),
    std::string_view("systemserial"),
    std::string_view("systemserialnumber"),
    std::string_view("tobefilled"),
    std::string_view("tobefilledbyoem"),
    std::string_view("tobefilledbyom"),
    std::string_view("undefined"),
    std::string_view("unknown"),
    std::string_view("unspecified"),
};

// "12345678", "0123456789" and the like are the fronts of these.
constexpr std::array counts = {
    std::string_view("0123456789abcdef"),
    std::string_view("123456789abcdef"),
    std::string_view("1234567890abcdef"),
};

bool isControl(char character) {
    return static_cast<unsigned char>(character) < 0x20 || character == 0x7F;
}

bool isASCIIPunctuation(char character) {
    const auto byte = static_cast<unsigned char>(character);
    const bool letterOrDigit = (byte >= '0' && byte <= '9') || (byte >= 'a' && byte <= 'z');
    return byte < 0x80 && !letterOrDigit;
}

std::string lettersAndDigits(std::string_view text) {
    std::string kept = lowercase(text);
    std::erase_if(kept, isASCIIPunctuation);
    return kept;
}

bool isPlaceholder(std::string_view serialNumber) {
    const std::string text = lettersAndDigits(serialNumber);
    return text.empty() || text.find_first_not_of(text.front()) == std::string::npos ||
           std::ranges::find(placeholders, text) != placeholders.end() ||
           std::ranges::any_of(counts, [&](auto count) { return count.starts_with(text); });
}

std::string_view withoutPadding(std::string_view text) {
    constexpr std::string_view padding(" \t\r\n\0", 5);
    const auto first = std::min(text.find_first_not_of(padding), text.size());
    text.remove_prefix(first);
    return text.substr(0, text.find_last_not_of(padding) + 1);
}

} // namespace

std::optional<std::string> serialNumberFromFirmware(std::string_view bytes) {
    const std::string_view text = withoutPadding(bytes);
    if (!isValidUTF8(text) || std::ranges::any_of(text, isControl) || isPlaceholder(text)) {
        return std::nullopt;
    }
    return std::string(text);
}

} // namespace vel

VELLinuxSerialNumber::VELLinuxSerialNumber(std::string root, MachineID machineID)
    : _root(std::move(root)), _machineID(std::move(machineID)) {}

std::optional<std::string> VELLinuxSerialNumber::read() const {
    constexpr std::array sources = {
        "/sys/class/dmi/id/product_serial",
        "/sys/class/dmi/id/chassis_serial",
        "/sys/class/dmi/id/board_serial",
        "/sys/firmware/devicetree/base/serial-number",
    };
    for (const char* source : sources) {
        const vel::FileContents file = vel::readFile(_root + source);
        if (file.status == vel::FileStatus::missing) {
            continue;
        }
        if (file.status != vel::FileStatus::read) {
            return std::nullopt;
        }
        if (auto serialNumber = vel::serialNumberFromFirmware(file.bytes)) {
            return serialNumber;
        }
    }
    return _machineID();
}
