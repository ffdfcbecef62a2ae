#pragma once

#include <host/movie/MovieContainer.h>

#include <engine/capture/CameraDriver.h>

#include <tamsel/platform/CMTime.h>
#include <tamsel/platform/CVPixelBuffer.h>
#include <tamsel/platform/Error.h>
#include <tamsel/platform/Geometry.h>

#include <cstdint>
#include <expected>
#include <memory>
#include <string>

namespace tamsel::host {

/// Reads the frames of a file, a stream or a device, one after the other, through the FFmpeg libraries. Takes the first
/// video track; a cover picture is none. Not thread-safe; every call may wait for the input.
class MovieReader {
public:
    enum class Step : std::uint8_t {
        frame, ///< there is a frame now
        again, ///< there is none yet: ask again after a moment
        end, ///< the input has ended, or cannot be read any further
    };

    /// The error is one line that names the input.
    [[nodiscard]] static std::expected<std::unique_ptr<MovieReader>, platform::Error> open(
        const std::string& input, const MovieWait& wait);

    /// The same without a decoder: what the input holds is known, and `startDecoding` makes it ready. An input without video
    /// can be opened like this.
    [[nodiscard]] static std::expected<std::unique_ptr<MovieReader>, platform::Error> openContainer(
        const std::string& input, const MovieWait& wait, MovieFormats formats);
    [[nodiscard]] std::expected<void, platform::Error> startDecoding();

    ~MovieReader();
    MovieReader(const MovieReader&) = delete;
    MovieReader& operator=(const MovieReader&) = delete;

    [[nodiscard]] MovieKind kind() const;

    [[nodiscard]] bool hasVideo() const;
    /// The track's display matrix, with y growing downwards and scaled to w = 1 (ISO/IEC 14496-12, 8.3.2); the identity where
    /// there is none.
    [[nodiscard]] platform::CGAffineTransform preferredTransform() const;

    /// Of the track, in pixels, with the pixel aspect ratio applied; zero when it is not known before the first frame.
    [[nodiscard]] platform::CGSize presentationDimensions() const;

    [[nodiscard]] Step next();

    // Of the current frame.

    [[nodiscard]] std::size_t width() const;
    [[nodiscard]] std::size_t height() const;
    /// In the input's own time. It grows from frame to frame, also across `rewind`.
    [[nodiscard]] platform::CMTime time() const;
    /// The same, without what `rewind` has added to it.
    [[nodiscard]] platform::CMTime timeInLoop() const;
    /// When the input begins, in its own time and the timescale of `time`: 0 but for formats whose clocks start anywhere.
    [[nodiscard]] platform::CMTime startTime() const;
    /// Converts to BGRA. The buffer must have the frame's size. False when there is no way to convert the format.
    [[nodiscard]] bool convert(platform::CVPixelBuffer& buffer);

    /// As it was decoded.
    [[nodiscard]] std::shared_ptr<const engine::NativePicture> picture() const;

    /// Goes to the last picture of a file that needs no other one; false when that is not possible.
    [[nodiscard]] bool skipToLastWhole();
    /// Goes back to the start of a file; false when that is not possible.
    [[nodiscard]] bool rewind();

private:
    struct Parts;

    explicit MovieReader(std::unique_ptr<Parts> parts);

    const std::unique_ptr<Parts> parts_;
};

} // namespace tamsel::host
