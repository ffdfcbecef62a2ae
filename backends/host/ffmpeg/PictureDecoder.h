#pragma once

#include <host/ffmpeg/owners.h>

#include <cstddef>
#include <span>

namespace tamsel::host {

/// Decodes compressed pictures that do not depend on others. Not thread-safe.
class PictureDecoder {
public:
    explicit PictureDecoder(AVCodecID kind);

    /// The first picture in these bytes; the caller may change it and use it until the next call. Null if it is damaged, too
    /// large, or of another kind.
    [[nodiscard]] AVFrame* decode(std::span<const std::byte> picture);

private:
    OwnedCodec codec_; ///< absent if there is no such decoder
    const OwnedPacket packet_{av_packet_alloc()};
    const OwnedFrame frame_{av_frame_alloc()};
};

} // namespace tamsel::host
