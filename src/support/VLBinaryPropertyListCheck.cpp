#include "VLBinaryPropertyListCheck.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

namespace VLBinaryPropertyListCheck {
namespace {

constexpr char kMagic[] = "bplist00";
constexpr std::size_t kMagicLength = 8;
constexpr std::size_t kTrailerLength = 32;
// The same bound as the conversion into values applies: nesting beyond it is refused.
constexpr int kMaxDepth = 256;
// Property-list dates count seconds from 2001-01-01; libplist hands them out as 32-bit seconds.
constexpr double kMinDateSeconds = double(std::numeric_limits<int32_t>::min());
constexpr double kMaxDateSeconds = double(std::numeric_limits<int32_t>::max());

enum Marker : uint8_t {
    kSingleton = 0x0,
    kInteger = 0x1,
    kReal = 0x2,
    kDate = 0x3,
    kData = 0x4,
    kASCIIString = 0x5,
    kUTF16String = 0x6,
    kUID = 0x8,
    kArray = 0xA,
    kSet = 0xC,
    kDictionary = 0xD,
};

uint64_t readBigEndian(const uint8_t *bytes, std::size_t width)
{
    uint64_t value = 0;
    for (std::size_t i = 0; i < width; ++i)
        value = (value << 8) | bytes[i];
    return value;
}

class Walker
{
public:
    Walker(const uint8_t *bytes, std::size_t length)
        : m_bytes(bytes)
        , m_objectsEnd(length - kTrailerLength)
        // Without shared containers a tree has at most one node per reference, and every
        // reference takes at least one byte: more nodes than bytes means expansion by sharing.
        , m_nodeBudget(length + 1)
    {
    }

    QString check()
    {
        const uint8_t *trailer = m_bytes + m_objectsEnd;
        m_offsetSize = trailer[6];
        m_referenceSize = trailer[7];
        m_objectCount = readBigEndian(trailer + 8, 8);
        const uint64_t root = readBigEndian(trailer + 16, 8);
        const uint64_t offsetTable = readBigEndian(trailer + 24, 8);
        if (m_offsetSize < 1 || m_offsetSize > 8 || m_referenceSize < 1 || m_referenceSize > 8)
            return QStringLiteral("its trailer gives an impossible offset or reference size");
        if (m_objectCount == 0 || root >= m_objectCount)
            return QStringLiteral("its trailer names no valid root object");
        if (offsetTable < kMagicLength || offsetTable >= m_objectsEnd
            || m_objectCount > (m_objectsEnd - offsetTable) / m_offsetSize)
            return QStringLiteral("its offset table lies outside the data");
        m_offsetTable = m_bytes + offsetTable;
        return walk(root, 0);
    }

private:
    // The object's marker position, or nothing when its offset points outside the objects.
    bool objectStart(uint64_t index, std::size_t *position) const
    {
        const uint64_t offset = readBigEndian(m_offsetTable + index * m_offsetSize, m_offsetSize);
        if (offset < kMagicLength || offset >= m_objectsEnd)
            return false;
        *position = std::size_t(offset);
        return true;
    }

    bool available(std::size_t position, uint64_t count) const
    {
        return position <= m_objectsEnd && count <= m_objectsEnd - position;
    }

    // Reads the length that follows a marker whose low nibble is 0xF (an integer object of its
    // own). `position` moves past what was read.
    bool length(uint8_t info, std::size_t *position, uint64_t *value) const
    {
        if (info != 0xF) {
            *value = info;
            return true;
        }
        if (!available(*position, 1))
            return false;
        const uint8_t marker = m_bytes[*position];
        if ((marker >> 4) != kInteger || (marker & 0xF) > 3)
            return false;
        const std::size_t width = std::size_t(1) << (marker & 0xF);
        if (!available(*position + 1, width))
            return false;
        *value = readBigEndian(m_bytes + *position + 1, width);
        *position += 1 + width;
        return true;
    }

    QString checkKey(uint64_t index) const
    {
        std::size_t position = 0;
        if (index >= m_objectCount || !objectStart(index, &position))
            return QStringLiteral("a dictionary key refers to no object");
        const uint8_t marker = m_bytes[position++];
        const uint8_t type = marker >> 4;
        uint64_t count = 0;
        if ((type != kASCIIString && type != kUTF16String) || !length(marker & 0xF, &position, &count))
            return QStringLiteral("a dictionary key is not a string");
        const uint64_t unit = type == kUTF16String ? 2 : 1;
        if (count > std::numeric_limits<uint64_t>::max() / unit || !available(position, count * unit))
            return QStringLiteral("a dictionary key runs past the end of the data");
        for (uint64_t i = 0; i < count; ++i) {
            const uint8_t *character = m_bytes + position + i * unit;
            if (character[0] == 0 && (unit == 1 || character[1] == 0))
                return QStringLiteral("a dictionary key holds a NUL character");
        }
        return {};
    }

    QString walk(uint64_t index, int depth)
    {
        if (m_nodeBudget == 0)
            return QStringLiteral("it refers to the same containers too often");
        --m_nodeBudget;
        if (depth > kMaxDepth)
            return QStringLiteral("it is nested too deeply");
        for (uint64_t open : m_path) {
            if (open == index)
                return QStringLiteral("a container contains itself");
        }
        std::size_t position = 0;
        if (!objectStart(index, &position))
            return QStringLiteral("an object lies outside the data");
        const uint8_t marker = m_bytes[position++];
        const uint8_t info = marker & 0xF;
        uint64_t count = 0;
        switch (marker >> 4) {
        case kSingleton:
            return info == 0x8 || info == 0x9 ? QString() : QStringLiteral("it holds an unknown singleton");
        case kInteger:
            return info <= 4 && available(position, uint64_t(1) << info) ? QString()
                                                                          : QStringLiteral("an integer is cut off");
        case kReal:
            return (info == 2 || info == 3) && available(position, uint64_t(1) << info)
                ? QString()
                : QStringLiteral("a real number is cut off");
        case kDate: {
            if (info != 3 || !available(position, 8))
                return QStringLiteral("a date is cut off");
            const uint64_t raw = readBigEndian(m_bytes + position, 8);
            double seconds = 0;
            std::memcpy(&seconds, &raw, sizeof seconds);
            if (!std::isfinite(seconds) || seconds < kMinDateSeconds || seconds > kMaxDateSeconds)
                return QStringLiteral("a date is out of range");
            return {};
        }
        case kData:
        case kASCIIString:
            return length(info, &position, &count) && available(position, count)
                ? QString()
                : QStringLiteral("a string or data object runs past the end of the data");
        case kUTF16String:
            return length(info, &position, &count) && count <= std::numeric_limits<uint64_t>::max() / 2
                    && available(position, count * 2)
                ? QString()
                : QStringLiteral("a string runs past the end of the data");
        case kUID:
            return available(position, uint64_t(info) + 1) ? QString() : QStringLiteral("a UID is cut off");
        case kArray:
        case kSet:
        case kDictionary:
            break;
        default:
            return QStringLiteral("it holds an object of unknown type");
        }

        const bool dictionary = (marker >> 4) == kDictionary;
        if (!length(info, &position, &count))
            return QStringLiteral("a container's size is cut off");
        const uint64_t referencesPerEntry = dictionary ? 2 : 1;
        if (count > m_objectsEnd / (m_referenceSize * referencesPerEntry) || !available(position, count * referencesPerEntry * m_referenceSize))
            return QStringLiteral("a container runs past the end of the data");
        m_path.push_back(index);
        for (uint64_t i = 0; i < count; ++i) {
            if (dictionary) {
                const uint64_t key = readBigEndian(m_bytes + position + i * m_referenceSize, m_referenceSize);
                if (QString problem = checkKey(key); !problem.isEmpty())
                    return problem;
            }
            const uint64_t valueSlot = dictionary ? count + i : i;
            const uint64_t value = readBigEndian(m_bytes + position + valueSlot * m_referenceSize, m_referenceSize);
            if (value >= m_objectCount)
                return QStringLiteral("a container refers to no object");
            if (QString problem = walk(value, depth + 1); !problem.isEmpty())
                return problem;
        }
        m_path.pop_back();
        return {};
    }

    const uint8_t *m_bytes;
    const std::size_t m_objectsEnd;
    std::size_t m_nodeBudget;
    const uint8_t *m_offsetTable = nullptr;
    std::size_t m_offsetSize = 0;
    std::size_t m_referenceSize = 0;
    uint64_t m_objectCount = 0;
    std::vector<uint64_t> m_path;
};

} // namespace

bool looksBinary(const char *bytes, std::size_t length)
{
    return bytes && length >= kMagicLength && std::memcmp(bytes, kMagic, kMagicLength) == 0;
}

QString problemWith(const char *bytes, std::size_t length)
{
    if (!looksBinary(bytes, length))
        return QStringLiteral("it is not a binary property list");
    if (length < kMagicLength + kTrailerLength)
        return QStringLiteral("it is too short");
    return Walker(reinterpret_cast<const uint8_t *>(bytes), length).check();
}

} // namespace VLBinaryPropertyListCheck
