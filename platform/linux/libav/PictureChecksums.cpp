#include "platform/linux/libav/PictureChecksums.h"

#include "core/base/Hash.h"
#include "platform/VideoCodec.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

namespace nomara::libav {

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::uint8_t prefixMessage = 39 << 1, suffixMessage = 40 << 1; // first byte of such a unit
constexpr std::uint8_t userData = 5;                                     // the payload's type, with an id of its owner
// Drawn at random. Neither it nor what follows it holds a zero: a unit with zeros would have to be escaped.
constexpr std::array<std::uint8_t, 16> ownerID = {0x8e, 0x1f, 0x53, 0xc7, 0x2a, 0x94, 0x4d, 0xb6,
                                                  0xa3, 0x71, 0xe8, 0x3c, 0xd5, 0x69, 0x17, 0xfa};
constexpr std::uint8_t endOfUnit = 0x80;
constexpr int bitsPerDigit = 7; // the eighth is set
constexpr std::size_t indexDigits = 5, checksumDigits = 10;
constexpr std::size_t payloadBytes = ownerID.size() + 2 * indexDigits + checksumDigits;
constexpr std::size_t headBytes = 4 + ownerID.size();
constexpr std::size_t noteBytes = 4 + payloadBytes + 1;
constexpr std::array<std::uint8_t, 4> startCode = {0, 0, 0, 1};
// The id is looked for in what may be damaged. Random bytes are as near to it once in 10^13 places.
constexpr int idBitsForgiven = 24;
constexpr std::size_t lengthBytes = 4; // before each unit of a picture in a file

std::vector<std::uint8_t> unitHead(std::uint8_t message, std::size_t payload) {
    std::vector<std::uint8_t> head = {message, 1, userData, static_cast<std::uint8_t>(payload)};
    head.insert(head.end(), ownerID.begin(), ownerID.end());
    return head;
}

std::uint64_t bigEndian(Bytes bytes) {
    std::uint64_t value = 0;
    for (const std::uint8_t byte : bytes)
        value = value << 8 | byte;
    return value;
}

/// A checksum of units, however a container keeps them apart.
class UnitHash {
public:
    explicit UnitHash(std::uint64_t start = fnv1a("")) : m_hash(start) {}

    void addNumber(std::uint64_t number) {
        std::array<char, sizeof number> bytes{};
        std::memcpy(bytes.data(), &number, sizeof number);
        m_hash = fnv1a({bytes.data(), bytes.size()}, m_hash);
    }
    void add(Bytes unit) {
        addNumber(unit.size());
        m_hash = fnv1a({reinterpret_cast<const char*>(unit.data()), unit.size()}, m_hash);
    }
    std::uint64_t value() const { return m_hash; }

private:
    std::uint64_t m_hash;
};

/// Units as an encoder gives them, each behind a start code.
std::vector<Bytes> unitsOfStream(Bytes stream) {
    constexpr std::array<std::uint8_t, 3> code = {0, 0, 1};
    std::vector<Bytes> units;
    auto at = std::search(stream.begin(), stream.end(), code.begin(), code.end());
    while (at != stream.end()) {
        const auto begin = at + code.size();
        at = std::search(begin, stream.end(), code.begin(), code.end());
        auto end = at; // a unit ends in no zero; those belong to the next start code
        while (end != begin && end[-1] == 0)
            --end;
        units.emplace_back(begin, end);
    }
    return units;
}

/// The units of a picture in a file, each behind its length; none where they don't fill it.
std::vector<Bytes> unitsOfPacket(Bytes packet) {
    std::vector<Bytes> units;
    while (packet.size() > lengthBytes) {
        const std::uint64_t length = bigEndian(packet.first(lengthBytes));
        if (length > packet.size() - lengthBytes) return {};
        units.push_back(packet.subspan(lengthBytes, length));
        packet = packet.subspan(lengthBytes + length);
    }
    return packet.empty() ? units : std::vector<Bytes>();
}

/// The units of a description in a file (an HEVCDecoderConfigurationRecord); none where it isn't one.
std::vector<Bytes> unitsOfDescription(Bytes description) {
    constexpr std::size_t fixedBytes = 23;
    if (description.size() < fixedBytes || description[0] != 1 || (description[21] & 3) + 1 != lengthBytes) return {};
    std::vector<Bytes> units;
    const int arrays = description[22];
    Bytes rest = description.subspan(fixedBytes);
    for (int i = 0; i < arrays; ++i) {
        if (rest.size() < 3) return {};
        std::uint64_t count = bigEndian(rest.subspan(1, 2));
        for (rest = rest.subspan(3); count > 0; --count) {
            if (rest.size() < 2) return {};
            const std::uint64_t length = bigEndian(rest.first(2));
            if (length > rest.size() - 2) return {};
            units.push_back(rest.subspan(2, length));
            rest = rest.subspan(2 + length);
        }
    }
    return units;
}

// Of the units that a decoder takes settings from; it makes nothing of messages.
std::uint64_t descriptionHash(const std::vector<Bytes>& units) {
    UnitHash hash;
    for (const Bytes unit : units)
        if (!unit.empty() && unit[0] != prefixMessage) hash.add(unit);
    return hash.value();
}

bool holdsOwnerID(Bytes bytes) {
    for (; bytes.size() >= ownerID.size(); bytes = bytes.subspan(1)) {
        int different = 0;
        for (std::size_t i = 0; i < ownerID.size(); ++i)
            different += std::popcount(static_cast<unsigned>(bytes[i] ^ ownerID[i]));
        if (different <= idBitsForgiven) return true;
    }
    return false;
}

void appendDigits(std::vector<std::uint8_t>& to, std::uint64_t number, std::size_t digits) {
    for (std::size_t i = 0; i < digits; ++i, number >>= bitsPerDigit)
        to.push_back(static_cast<std::uint8_t>(0x80 | (number & 0x7f)));
}

std::uint64_t digitsAt(Bytes bytes) {
    std::uint64_t number = 0;
    for (std::size_t i = bytes.size(); i > 0; --i)
        number = number << bitsPerDigit | (bytes[i - 1] & 0x7f);
    return number;
}

std::vector<std::uint8_t> noteUnit(const PictureNote& note) {
    std::vector<std::uint8_t> unit = unitHead(suffixMessage, payloadBytes);
    appendDigits(unit, note.index, indexDigits);
    appendDigits(unit, note.groupStart, indexDigits);
    appendDigits(unit, note.checksum, checksumDigits);
    unit.push_back(endOfUnit);
    return unit;
}

/// What one picture's note should say; `before` is the checksum of the picture before it in its group.
std::uint64_t checksum(std::uint64_t description, const PictureNote& note, std::uint64_t before,
                       std::span<const Bytes> units) {
    UnitHash hash(description);
    hash.addNumber(note.index);
    hash.addNumber(note.groupStart);
    hash.addNumber(before);
    for (const Bytes unit : units)
        hash.add(unit);
    return hash.value();
}

} // namespace

void announceChecksums(AVCodecParameters& parameters) {
    std::vector<std::uint8_t> unit = unitHead(prefixMessage, ownerID.size());
    unit.insert(unit.begin(), startCode.begin(), startCode.end());
    unit.push_back(endOfUnit);
    const auto before = static_cast<std::size_t>(parameters.extradata_size);
    auto* const description =
        static_cast<std::uint8_t*>(av_mallocz(before + unit.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    if (!description) throw VideoError("There is too little memory for a video file.");
    std::copy_n(parameters.extradata, before, description);
    std::copy(unit.begin(), unit.end(), description + before);
    av_freep(&parameters.extradata);
    parameters.extradata = description;
    parameters.extradata_size = static_cast<int>(before + unit.size());
}

ChecksumWriter::ChecksumWriter(Bytes description) : m_description(descriptionHash(unitsOfStream(description))) {}

void ChecksumWriter::add(AVPacket& packet, std::int64_t index) {
    const bool beginsGroup = (packet.flags & AV_PKT_FLAG_KEY) != 0;
    PictureNote note;
    note.index = static_cast<std::uint32_t>(index);
    note.groupStart = beginsGroup ? note.index : m_last.groupStart;
    const std::vector<Bytes> units = unitsOfStream({packet.data, static_cast<std::size_t>(packet.size)});
    note.checksum = checksum(m_description, note, beginsGroup ? 0 : m_last.checksum, units);

    const std::vector<std::uint8_t> unit = noteUnit(note);
    const int before = packet.size;
    if (av_grow_packet(&packet, static_cast<int>(startCode.size() + unit.size())) < 0)
        throw VideoError("There is too little memory for a picture.");
    std::copy(startCode.begin(), startCode.end(), packet.data + before);
    std::copy(unit.begin(), unit.end(), packet.data + before + startCode.size());
    m_last = note;
}

ChecksumReader::ChecksumReader(Bytes description, Bytes firstPacket) {
    const std::vector<Bytes> units = unitsOfDescription(description);
    if (units.empty()) throw DamagedVideo("The video's description is damaged.");
    const Bytes lastUnit = firstPacket.last(std::min(firstPacket.size(), noteBytes));
    m_hasChecksums = holdsOwnerID(description) || holdsOwnerID(lastUnit);
    m_description = descriptionHash(units);
}

bool ChecksumReader::accepts(Bytes packet, std::int64_t index) {
    if (!m_hasChecksums) return true;
    const std::optional<PictureNote> before = std::exchange(m_last, std::nullopt);
    const std::vector<Bytes> units = unitsOfPacket(packet);
    if (units.empty() || units.back().size() != noteBytes) return false;
    const Bytes unit = units.back();
    PictureNote note;
    note.index = static_cast<std::uint32_t>(digitsAt(unit.subspan(headBytes, indexDigits)));
    note.groupStart = static_cast<std::uint32_t>(digitsAt(unit.subspan(headBytes + indexDigits, indexDigits)));
    const bool beginsGroup = note.groupStart == note.index;
    if (!beginsGroup && (!before || before->index + 1 != note.index || before->groupStart != note.groupStart))
        return false;
    note.checksum =
        checksum(m_description, note, beginsGroup ? 0 : before->checksum, std::span(units).first(units.size() - 1));
    // Written anew it says the same to the last bit.
    const std::vector<std::uint8_t> expected = noteUnit(note);
    if (note.index != index || !std::equal(unit.begin(), unit.end(), expected.begin(), expected.end())) return false;
    m_last = note;
    return true;
}

} // namespace nomara::libav
