// SPDX-License-Identifier: Apache-2.0
#include "Base/VELBase64.h"
#include "Base/VELMoment.h"
#include "Base/VELPropertyListBuilder.h"
#include "Base/VELText.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <utility>

namespace vel {
namespace {

constexpr std::string_view header = "bplist00";
constexpr std::uint64_t trailerSize = 32;

/// Reads: the header; the objects, each a marker (its kind and size) and its content; the offset
/// table, which says where each object is; the trailer, which says where the table is. Containers
/// hold the indices of objects. Walks them with a stack of its own.
class BinaryReader {
public:
    explicit BinaryReader(std::string_view bytes) : _bytes(bytes) {}
    PropertyListReading read();

private:
    struct Content {
        std::uint64_t count;
        std::uint64_t start;
    };
    struct Container {
        std::uint64_t object;
        Content content;
        std::uint64_t next;
        bool isDictionary;
    };

    bool readHeader();
    bool readTrailer();
    bool readObjects();
    bool readNext();
    bool readKey(std::uint64_t object);
    bool readObject(std::uint64_t object);
    bool readSingleton(std::uint64_t offset);
    bool readInteger(std::uint64_t offset);
    bool readWideInteger(std::uint64_t offset);
    bool readReal(std::uint64_t offset);
    bool readDate(std::uint64_t offset);
    bool readData(std::uint64_t offset);
    bool readUID(std::uint64_t offset);
    bool open(std::uint64_t object, std::uint64_t offset, bool isDictionary);
    void close();

    std::optional<std::uint64_t> offsetOf(std::uint64_t object);
    std::optional<Content> contentAt(std::uint64_t offset, std::uint64_t unitSize);
    std::optional<std::string> stringAt(std::uint64_t offset);

    [[nodiscard]] std::uint8_t byteAt(std::uint64_t offset) const {
        return static_cast<std::uint8_t>(_bytes[offset]);
    }
    [[nodiscard]] std::uint64_t numberAt(std::uint64_t offset, std::uint64_t size) const;
    [[nodiscard]] std::string_view bytesAt(const Content& content, std::uint64_t unitSize) const {
        return _bytes.substr(content.start, content.count * unitSize);
    }
    /// Whether that many units lie before the end of the objects.
    [[nodiscard]] bool isWithinObjects(std::uint64_t start, std::uint64_t count,
                                       std::uint64_t unitSize) const;
    /// Fails unless the object at `offset` can have `size` bytes after its marker.
    bool requireContent(std::uint64_t offset, std::uint64_t size);
    bool fail(const std::string& what, std::uint64_t offset);
    bool require(bool withinLimits, std::uint64_t offset);

    std::string_view _bytes;
    std::uint64_t _offsetSize = 0;
    std::uint64_t _referenceSize = 0;
    std::uint64_t _objectCount = 0;
    std::uint64_t _rootObject = 0;
    std::uint64_t _offsetTable = 0; // where it begins and the objects end
    std::vector<Container> _open;
    std::vector<bool> _isOpen; // by object
    PropertyListBuilder _builder;
    std::string _failure;
};

PropertyListReading BinaryReader::read() {
    if (readHeader() && readTrailer() && readObjects()) {
        return {_builder.takeRoot(), {}};
    }
    return {std::nullopt, std::move(_failure)};
}

bool BinaryReader::fail(const std::string& what, std::uint64_t offset) {
    _failure = what + " at byte " + std::to_string(offset);
    return false;
}

bool BinaryReader::require(bool withinLimits, std::uint64_t offset) {
    return withinLimits || fail(_builder.failure(), offset);
}

std::uint64_t BinaryReader::numberAt(std::uint64_t offset, std::uint64_t size) const {
    std::uint64_t number = 0;
    for (std::uint64_t index = 0; index < size; ++index) {
        number = number << 8U | byteAt(offset + index);
    }
    return number;
}

bool BinaryReader::isWithinObjects(std::uint64_t start, std::uint64_t count,
                                   std::uint64_t unitSize) const {
    return start <= _offsetTable && count <= (_offsetTable - start) / unitSize;
}

bool BinaryReader::readHeader() {
    if (!_bytes.starts_with(header)) {
        return fail("a version other than 00", header.size() - 2);
    }
    return _bytes.size() >= header.size() + trailerSize || fail("no trailer", _bytes.size());
}

bool BinaryReader::readTrailer() {
    const std::uint64_t trailer = _bytes.size() - trailerSize;
    _offsetSize = byteAt(trailer + 6);
    _referenceSize = byteAt(trailer + 7);
    _objectCount = numberAt(trailer + 8, 8);
    _rootObject = numberAt(trailer + 16, 8);
    _offsetTable = numberAt(trailer + 24, 8);
    if (_offsetSize < 1 || _offsetSize > 8) {
        return fail("offsets of " + std::to_string(_offsetSize) + " bytes", trailer + 6);
    }
    if (_referenceSize < 1 || _referenceSize > 8) {
        return fail("references of " + std::to_string(_referenceSize) + " bytes", trailer + 7);
    }
    if (_offsetTable <= header.size() || _offsetTable >= trailer) {
        return fail("the misplaced offset table " + std::to_string(_offsetTable), trailer + 24);
    }
    const std::uint64_t tableSize = trailer - _offsetTable;
    if (tableSize % _offsetSize != 0 || tableSize / _offsetSize != _objectCount) {
        return fail("an offset table that does not hold " + std::to_string(_objectCount) +
                        " offsets",
                    _offsetTable);
    }
    return _rootObject < _objectCount ||
           fail("the unknown object " + std::to_string(_rootObject), trailer + 16);
}

bool BinaryReader::readObjects() {
    _isOpen.resize(_objectCount);
    if (!readObject(_rootObject)) {
        return false;
    }
    while (!_open.empty()) {
        if (_open.back().next == _open.back().content.count) {
            close();
        } else if (!readNext()) {
            return false;
        }
    }
    return true;
}

bool BinaryReader::readNext() {
    Container& container = _open.back();
    const std::uint64_t index = container.next++;
    const auto reference = [this, content = container.content](std::uint64_t position) {
        return content.start + position * _referenceSize;
    };
    if (!container.isDictionary) {
        return readObject(numberAt(reference(index), _referenceSize));
    }
    const std::uint64_t valueIndex = container.content.count + index;
    return readKey(numberAt(reference(index), _referenceSize)) &&
           readObject(numberAt(reference(valueIndex), _referenceSize));
}

std::optional<std::uint64_t> BinaryReader::offsetOf(std::uint64_t object) {
    if (object >= _objectCount) {
        const std::uint64_t holder = _offsetTable + _open.back().object * _offsetSize;
        fail("the unknown object " + std::to_string(object), numberAt(holder, _offsetSize));
        return std::nullopt;
    }
    const std::uint64_t entry = _offsetTable + object * _offsetSize;
    const std::uint64_t offset = numberAt(entry, _offsetSize);
    if (offset < header.size() || offset >= _offsetTable) {
        fail("the misplaced object " + std::to_string(object), entry);
        return std::nullopt;
    }
    return offset;
}

bool BinaryReader::readKey(std::uint64_t object) {
    const auto offset = offsetOf(object);
    if (!offset) {
        return false;
    }
    const int kind = byteAt(*offset) >> 4;
    if (kind != 0x5 && kind != 0x6) {
        return fail("a key that is not a string", *offset);
    }
    auto key = stringAt(*offset);
    return key && require(_builder.addKey(std::move(*key)), *offset);
}

bool BinaryReader::readObject(std::uint64_t object) {
    const auto offset = offsetOf(object);
    if (!offset) {
        return false;
    }
    switch (byteAt(*offset) >> 4) {
    case 0x0:
        return readSingleton(*offset);
    case 0x1:
        return readInteger(*offset);
    case 0x2:
        return readReal(*offset);
    case 0x3:
        return readDate(*offset);
    case 0x4:
        return readData(*offset);
    case 0x5:
    case 0x6: {
        auto text = stringAt(*offset);
        return text && require(_builder.add(std::move(*text)), *offset);
    }
    case 0x8:
        return readUID(*offset);
    case 0xA:
        return open(object, *offset, false);
    case 0xD:
        return open(object, *offset, true);
    default:
        return fail("an object of an unknown kind", *offset);
    }
}

bool BinaryReader::readSingleton(std::uint64_t offset) {
    switch (byteAt(offset)) {
    case 0x00:
        return require(_builder.add(nullptr), offset);
    case 0x08:
        return require(_builder.add(false), offset);
    case 0x09:
        return require(_builder.add(true), offset);
    default:
        return fail("an object of an unknown kind", offset);
    }
}

bool BinaryReader::requireContent(std::uint64_t offset, std::uint64_t size) {
    return isWithinObjects(offset + 1, size, 1) || fail("an object that is cut off", offset);
}

bool BinaryReader::readInteger(std::uint64_t offset) {
    const unsigned exponent = byteAt(offset) & 0xFU;
    if (exponent > 4) {
        return fail("an integer of more than 16 bytes", offset);
    }
    const std::uint64_t size = std::uint64_t{1} << exponent;
    if (!requireContent(offset, size)) {
        return false;
    }
    if (exponent == 4) {
        return readWideInteger(offset);
    }
    // Those of 8 bytes alone are signed.
    const std::uint64_t number = numberAt(offset + 1, size);
    const auto isNegative = static_cast<std::int64_t>(number) < 0;
    return require(
        _builder.add(isNegative ? VELValue(static_cast<std::int64_t>(number)) : VELValue(number)),
        offset);
}

bool BinaryReader::readWideInteger(std::uint64_t offset) {
    const std::uint64_t high = numberAt(offset + 1, 8);
    const std::uint64_t low = numberAt(offset + 9, 8);
    if (high == 0) {
        return require(_builder.add(low), offset);
    }
    const auto isNegative = static_cast<std::int64_t>(low) < 0;
    if (high == ~std::uint64_t{0} && isNegative) {
        return require(_builder.add(static_cast<std::int64_t>(low)), offset);
    }
    return fail("an integer out of range", offset);
}

bool BinaryReader::readReal(std::uint64_t offset) {
    const std::uint64_t size = std::uint64_t{1} << (byteAt(offset) & 0xFU);
    if (size != 4 && size != 8) {
        return fail("a real of " + std::to_string(size) + " bytes", offset);
    }
    if (!requireContent(offset, size)) {
        return false;
    }
    const std::uint64_t bits = numberAt(offset + 1, size);
    const double real = size == 8 ? std::bit_cast<double>(bits)
                                  : double{std::bit_cast<float>(static_cast<std::uint32_t>(bits))};
    if (!std::isfinite(real)) {
        return fail("a real that is not finite", offset);
    }
    return require(_builder.add(real), offset);
}

bool BinaryReader::readDate(std::uint64_t offset) {
    if (byteAt(offset) != 0x33) {
        return fail("an object of an unknown kind", offset);
    }
    if (!requireContent(offset, sizeof(double))) {
        return false;
    }
    auto text = dateText(std::bit_cast<double>(numberAt(offset + 1, sizeof(double))));
    if (!text) {
        return fail("a date out of range", offset);
    }
    return require(_builder.add(std::move(*text)), offset);
}

bool BinaryReader::readData(std::uint64_t offset) {
    const auto content = contentAt(offset, 1);
    return content && require(_builder.add(base64Text(bytesAt(*content, 1))), offset);
}

bool BinaryReader::readUID(std::uint64_t offset) {
    const std::uint64_t size = (byteAt(offset) & 0xFU) + 1U;
    if (size > 8) {
        return fail("a UID of " + std::to_string(size) + " bytes", offset);
    }
    if (!requireContent(offset, size)) {
        return false;
    }
    if (!require(_builder.open(VELValue::object()) && _builder.addKey("CF$UID") &&
                     _builder.add(numberAt(offset + 1, size)),
                 offset)) {
        return false;
    }
    _builder.close();
    return true;
}

/// How many units the object at `offset` holds and where they start. They are all there.
std::optional<BinaryReader::Content> BinaryReader::contentAt(std::uint64_t offset,
                                                             std::uint64_t unitSize) {
    constexpr std::uint64_t countFollows = 0xF;
    Content content{byteAt(offset) & 0xFU, offset + 1};
    if (content.count == countFollows) {
        const std::uint64_t marker = content.start;
        if (!requireContent(offset, 1)) {
            return std::nullopt;
        }
        if (byteAt(marker) < 0x10 || byteAt(marker) > 0x13) {
            fail("a count that is not an integer", marker);
            return std::nullopt;
        }
        const std::uint64_t size = std::uint64_t{1} << (byteAt(marker) & 0xFU);
        if (!requireContent(marker, size)) {
            return std::nullopt;
        }
        content = {numberAt(marker + 1, size), marker + 1 + size};
    }
    if (!isWithinObjects(content.start, content.count, unitSize)) {
        fail("an object that is cut off", offset);
        return std::nullopt;
    }
    return content;
}

std::optional<std::string> BinaryReader::stringAt(std::uint64_t offset) {
    const bool isUTF16 = byteAt(offset) >> 4 == 0x6;
    const std::uint64_t unitSize = isUTF16 ? 2 : 1;
    const auto content = contentAt(offset, unitSize);
    if (!content) {
        return std::nullopt;
    }
    const std::string_view bytes = bytesAt(*content, unitSize);
    if (isUTF16) {
        auto text = textOfUTF16(bytes);
        if (!text) {
            fail("a string with half a surrogate pair", offset);
        }
        return text;
    }
    if (!isASCII(bytes)) {
        fail("a string that is not ASCII", offset);
        return std::nullopt;
    }
    return std::string(bytes);
}

bool BinaryReader::open(std::uint64_t object, std::uint64_t offset, bool isDictionary) {
    const auto content = contentAt(offset, isDictionary ? 2 * _referenceSize : _referenceSize);
    if (!content) {
        return false;
    }
    if (_isOpen[object]) {
        return fail("a container that contains itself", offset);
    }
    if (!require(_builder.open(isDictionary ? VELValue::object() : VELValue::array()), offset)) {
        return false;
    }
    _isOpen[object] = true;
    _open.push_back({object, *content, 0, isDictionary});
    return true;
}

void BinaryReader::close() {
    _isOpen[_open.back().object] = false;
    _open.pop_back();
    _builder.close();
}

} // namespace

PropertyListReading readBinaryPropertyList(std::string_view bytes) {
    return BinaryReader(bytes).read();
}

} // namespace vel
