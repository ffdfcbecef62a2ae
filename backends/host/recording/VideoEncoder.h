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

/// Encodes pictures in YUV 4:2:0, as they come, at least one whole picture every two seconds. Not thread-safe.
class VideoEncoder {
public:
    /// Units a second of all times: every usual frame rate divides it, and MPEG-4's limit of 16 bits holds it.
    static constexpr std::int32_t timescale = 60'000;

    /// The first of these encoders that can be opened, for pictures of this picture's size, format and colours.
    [[nodiscard]] static std::expected<std::unique_ptr<VideoEncoder>, platform::Error> open(
        const std::vector<std::string>& names, const AVFrame& picture, PacketSink sink);

    [[nodiscard]] const AVCodecContext& codec() const { return *codec_; }
    /// Times grow. The frame's own time is set.
    [[nodiscard]] std::expected<void, platform::Error> encode(AVFrame& frame, std::int64_t time);
    /// Gives out what it still holds.
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

/// Packets of the encoder until it has no more, into the sink.
[[nodiscard]] std::expected<void, platform::Error> drainEncoder(
    AVCodecContext& codec, AVPacket& packet, const PacketSink& sink);

} // namespace tamsel::host
