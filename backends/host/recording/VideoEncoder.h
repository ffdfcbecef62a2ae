#pragma once

#include <host/ffmpeg/owners.h>

#include <tamsel/platform/Error.h>

#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tamsel::host {

/// Receives encoded packets; times are in units of the encoder's time base.
using PacketSink = std::function<std::expected<void, platform::Error>(AVPacket&)>;

/// Encodes pictures in YUV 4:2:0 as they are, with at least one key frame every two seconds. Not thread-safe.
class VideoEncoder {
public:
    /// The timescale of all times: every usual frame rate divides it, and it fits MPEG-4's limit of 16 bits.
    static constexpr std::int32_t timescale = 60'000;

    /// The first of these encoders that can be opened, for pictures of this picture's size, format and colours.
    [[nodiscard]] static std::expected<std::unique_ptr<VideoEncoder>, platform::Error> open(
        const std::vector<std::string>& names, const AVFrame& picture, PacketSink sink);

    [[nodiscard]] const AVCodecContext& codec() const { return *codec_; }
    /// Times increase. The frame's own time is set.
    [[nodiscard]] std::expected<void, platform::Error> encode(AVFrame& frame, std::int64_t time);
    /// Flushes the encoder.
    [[nodiscard]] std::expected<void, platform::Error> flush();

private:
    VideoEncoder(OwnedCodec codec, PacketSink sink);

    [[nodiscard]] std::expected<void, platform::Error> drain();

    const OwnedCodec codec_;
    const PacketSink sink_;
    const OwnedPacket packet_{av_packet_alloc()};
    bool isBroken_ = false; ///< a frame could not be encoded
    std::optional<std::int64_t> lastWholePicture_;
};

/// Delivers packets of the encoder to the sink until there are no more.
[[nodiscard]] std::expected<void, platform::Error> drainEncoder(
    AVCodecContext& codec, AVPacket& packet, const PacketSink& sink);

} // namespace tamsel::host
