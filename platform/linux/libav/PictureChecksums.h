#pragma once

#include "platform/linux/libav/Handles.h"

#include <cstdint>
#include <optional>
#include <span>

/// Each coded picture ends in a note of its own, in a message that decoders pass over: which picture it is, at which
/// one its group begins, and a checksum of all that it is decoded from. A decoder shows what damage leaves of a
/// picture, and notices one flipped bit in five; the note tells before anything is decoded. It costs 45 bytes.
namespace nomara::libav {

struct PictureNote {
    std::uint32_t index = 0;
    std::uint32_t groupStart = 0; ///< the picture from which reading begins anew
    std::uint64_t checksum = 0;   ///< of the two above, the stream's description, the picture before and this one
};

/// Says at the head of a file that its pictures have notes. `parameters` are those that the file is begun with.
void announceChecksums(AVCodecParameters& parameters);

/// Adds notes to the pictures of one file, from the first on, as they come from the encoder.
class ChecksumWriter {
public:
    /// `description` is the encoder's.
    explicit ChecksumWriter(std::span<const std::uint8_t> description);

    /// Throws VideoError where memory is lacking.
    void add(AVPacket& packet, std::int64_t index);

private:
    const std::uint64_t m_description;
    PictureNote m_last;
};

/// Checks the pictures of one file, before they are decoded and in the order in which they are.
class ChecksumReader {
public:
    /// `firstPacket` may be empty, where the file holds no picture. Throws DamagedVideo where the description can't be
    /// what was written.
    ChecksumReader(std::span<const std::uint8_t> description, std::span<const std::uint8_t> firstPacket);

    /// Whether this is that picture as it was written, and the one before in its group was checked just before it.
    /// Pictures of files without checksums are taken as they are.
    bool accepts(std::span<const std::uint8_t> packet, std::int64_t index);

private:
    bool m_hasChecksums = false;
    std::uint64_t m_description = 0;
    std::optional<PictureNote> m_last;
};

} // namespace nomara::libav
