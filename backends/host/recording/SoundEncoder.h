#pragma once

#include <host/recording/VideoEncoder.h>

#include <cstddef>
#include <cstdint>
#include <expected>
#include <memory>
#include <span>
#include <vector>

namespace tamsel::host {

/// Encodes stereo sound of 48 000 samples a second as AAC. Times are in samples. Not thread-safe.
class SoundEncoder {
public:
    [[nodiscard]] static std::expected<std::unique_ptr<SoundEncoder>, platform::Error> open(PacketSink sink);

    [[nodiscard]] const AVCodecContext& codec() const { return *codec_; }
    /// The next samples, interleaved.
    [[nodiscard]] std::expected<void, platform::Error> encode(std::span<const float> samples);
    /// Flushes the encoder.
    [[nodiscard]] std::expected<void, platform::Error> flush();

private:
    SoundEncoder(OwnedCodec codec, PacketSink sink);

    [[nodiscard]] std::expected<void, platform::Error> send(std::size_t length);

    const OwnedCodec codec_;
    const PacketSink sink_;
    const OwnedPacket packet_{av_packet_alloc()};
    std::vector<float> waiting_; ///< less than a frame, interleaved
    std::int64_t time_ = 0;
};

} // namespace tamsel::host
