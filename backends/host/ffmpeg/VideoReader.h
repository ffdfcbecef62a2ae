#pragma once

#include <host/ffmpeg/FrameConverter.h>
#include <host/ffmpeg/TrackDecoder.h>

#include <engine/capture/CameraDriver.h>

#include <tamsel/platform/CMTime.h>
#include <tamsel/platform/CVPixelBuffer.h>
#include <tamsel/platform/Error.h>
#include <tamsel/platform/Geometry.h>

#include <cstddef>
#include <cstdint>
#include <expected>
#include <memory>
#include <optional>
#include <string>

namespace tamsel::host {

/// Reads the frames of the first video track of a file, a stream or a device through the FFmpeg libraries. Cover
/// pictures do not count as tracks. Not thread-safe; every call may wait for the input.
class VideoReader {
public:
    using Step = TrackDecoder::Step;

    /// The error is one line that names the input.
    [[nodiscard]] static std::expected<std::unique_ptr<VideoReader>, platform::Error> open(
        const std::string& input, const MediaWait& wait);

    /// The same without a decoder, which `startDecoding` opens. An input without video can be opened like this.
    [[nodiscard]] static std::expected<std::unique_ptr<VideoReader>, platform::Error> openContainer(
        const std::string& input, const MediaWait& wait, MediaFormats formats);
    [[nodiscard]] std::expected<void, platform::Error> startDecoding();

    [[nodiscard]] MediaKind kind() const { return kind_; }
    /// A camera on the network, which sends each frame when it is captured: no file, pipe, device or list of files, and
    /// nothing of a known length.
    [[nodiscard]] bool isLive() const;

    [[nodiscard]] bool hasVideo() const { return decoder_.track() != nullptr; }
    /// The track's display matrix, with y growing downwards and scaled to w = 1 (ISO/IEC 14496-12, 8.3.2); the identity
    /// if there is none.
    [[nodiscard]] platform::CGAffineTransform preferredTransform() const;

    /// Of the track, in pixels, with the pixel aspect ratio applied; zero if it is unknown before the first frame.
    [[nodiscard]] platform::CGSize presentationDimensions() const;

    [[nodiscard]] Step next();

    // Of the current frame.

    [[nodiscard]] std::size_t width() const { return static_cast<std::size_t>(decoder_.frame().width); }
    [[nodiscard]] std::size_t height() const { return static_cast<std::size_t>(decoder_.frame().height); }
    /// False for formats without timestamps: `time` assumes a frame rate.
    [[nodiscard]] bool hasTimes() const;
    /// In the input's own time. It increases from frame to frame, also across `rewind`.
    [[nodiscard]] platform::CMTime time() const { return timeOf(last_.value_or(0)); }
    /// The same, without the offset of `rewind`.
    [[nodiscard]] platform::CMTime timeInLoop() const { return timeOf(last_.value_or(0) - offset_); }
    /// The start of the input, in its own time and the timescale of `time`: 0 except for formats whose clocks start
    /// anywhere.
    [[nodiscard]] platform::CMTime startTime() const;
    /// Converts to BGRA, as `FrameConverter::convert`.
    [[nodiscard]] bool convert(
        platform::CVPixelBuffer& buffer, const std::optional<platform::CGRect>& part = std::nullopt)
    {
        return converter_.convert(decoder_.frame(), buffer, part);
    }

    /// The decoded frame.
    [[nodiscard]] std::shared_ptr<const engine::NativePicture> picture() const;

    /// Seeks to the last key frame of a file; false if that is not possible.
    [[nodiscard]] bool skipToLastWhole();
    /// Seeks to the start of a file; false if that is not possible.
    [[nodiscard]] bool rewind();

private:
    VideoReader(std::string input, MediaFormats formats);

    [[nodiscard]] std::expected<void, platform::Error> openInput(const MediaWait& wait);
    void noteTime();
    [[nodiscard]] platform::CMTime timeOf(std::int64_t units) const;

    const std::string input_;
    const MediaFormats formats_;
    const MediaKind kind_;
    const bool isOnNetwork_;
    TrackDecoder decoder_;
    FrameConverter converter_;

    // Times in units of the track's time base.
    std::int64_t offset_ = 0;
    std::optional<std::int64_t> first_;
    std::optional<std::int64_t> last_;
    std::int64_t lastDuration_ = 1;
};

} // namespace tamsel::host
