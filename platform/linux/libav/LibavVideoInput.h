#pragma once

#include "platform/VideoCodec.h"
#include "platform/linux/libav/PictureScaler.h"
#include "platform/linux/libav/PictureTable.h"

namespace nomara {

/// Keeps the decoder where it is: a picture further on in the same group goes on from there, and the same picture at
/// another size isn't decoded again.
class LibavVideoInput final : public VideoInput {
public:
    /// Throws VideoError.
    explicit LibavVideoInput(const std::filesystem::path& file);

    PixelSize size() const override { return m_table.size; }
    std::int64_t frameCount() const override { return static_cast<std::int64_t>(m_table.samples.size()); }
    Image frame(std::int64_t index, int largestSide) override;
    std::int64_t frameBytes(std::int64_t index) const override;
    std::int64_t groupStart(std::int64_t index) const override;

private:
    void seek(std::int64_t index);
    bool decode(std::int64_t index);

    libav::MediaFile m_file;
    const libav::PictureTable m_table;
    libav::ChecksumReader m_checksums;
    libav::CodecContext m_decoder;
    libav::Frame m_frame;   // picture m_at
    std::int64_t m_at = -1; // -1 where the decoder stands nowhere
    libav::PictureScaler m_scaler;
};

} // namespace nomara
