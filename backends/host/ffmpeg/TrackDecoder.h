#pragma once

#include <host/ffmpeg/BlockingReads.h>
#include <host/ffmpeg/MediaContainer.h>
#include <host/ffmpeg/owners.h>

#include <tamsel/platform/Error.h>

#include <cstdint>
#include <expected>
#include <string>

namespace tamsel::host {

/// Decodes one track of a container, frame by frame. Not thread-safe; every call may wait for the input.
class TrackDecoder {
public:
    enum class Step : std::uint8_t {
        frame, ///< a frame is available
        again, ///< no frame yet: try again later
        end, ///< the input has ended, or can no longer be read
    };

    TrackDecoder() = default;
    /// The other tracks are skipped. `start` opens the decoder.
    TrackDecoder(MediaContainer container, AVStream* track);

    /// Opens the decoder. The error names the input.
    [[nodiscard]] std::expected<void, platform::Error> start(const std::string& input);

    [[nodiscard]] AVFormatContext& container() const { return *container_; }
    [[nodiscard]] AVStream* track() const { return track_; }
    [[nodiscard]] const AVCodecContext& codec() const { return *codec_; }

    [[nodiscard]] Step next();
    [[nodiscard]] AVFrame& frame() const { return *frame_; }

    /// Seeks to the key frame at this time of the track or before it; false if that is not possible.
    [[nodiscard]] bool seek(std::int64_t time) { return seek(track_->index, time, AVSEEK_FLAG_BACKWARD); }
    [[nodiscard]] bool seekToFirstByte() { return seek(-1, 0, AVSEEK_FLAG_BYTE); }

private:
    [[nodiscard]] Step feed();
    [[nodiscard]] int readPacket();
    void send();
    [[nodiscard]] int takeFrame();
    [[nodiscard]] bool seek(int track, std::int64_t position, int flags);

    std::shared_ptr<AVFormatContext> container_;
    std::unique_ptr<BlockingReads> reads_; ///< from the first one on, where they are needed
    AVStream* track_ = nullptr;
    OwnedCodec codec_;
    OwnedPacket packet_{av_packet_alloc()};
    OwnedFrame frame_{av_frame_alloc()};
    OwnedFrame pngFrame_; ///< decoded, not yet returned
    bool isDraining_ = false;
};

} // namespace tamsel::host
