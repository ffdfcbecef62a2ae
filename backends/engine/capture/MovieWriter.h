#pragma once

#include <engine/capture/CameraDriver.h>
#include <engine/capture/MicrophoneDriver.h>

#include <tamsel/platform/CVPixelBuffer.h>
#include <tamsel/platform/Error.h>

#include <chrono>
#include <cstddef>
#include <expected>
#include <filesystem>
#include <memory>

namespace tamsel::engine {

/// The fixed properties of a movie before its first frame.
struct MovieSettings {
    std::filesystem::path url;
    int quarterTurns = 0; ///< clockwise, by which a player rotates the stored pictures; 0 to 3
    bool hasSound = false;
};

/// A frame in the form that a writer keeps until it is encoded.
class MovieFrame {
public:
    virtual ~MovieFrame() = default;
};

/// Writes one movie file. Except for `keep`, calls come from one thread at a time, and may take as long as encoding and
/// the disk need.
class MovieWriter {
public:
    virtual ~MovieWriter() = default;

    /// A copy of the pixels, or the driver's native picture if it exists and can be used; for the driver's thread, also
    /// during other calls, and therefore quick. Absent when this frame cannot be recorded.
    [[nodiscard]] virtual std::unique_ptr<MovieFrame> keep(
        const platform::CVPixelBuffer& pixels, const NativePicture* nativePicture)
        = 0;

    /// Creates the file; an existing one is not touched, and is an error.
    [[nodiscard]] virtual std::expected<void, platform::Error> open() = 0;
    /// The next frame. Times are of the platform's monotonic clock, and increase; the first is the beginning of the
    /// movie.
    [[nodiscard]] virtual std::expected<void, platform::Error> writeFrame(
        const MovieFrame& frame, std::chrono::nanoseconds captureTime)
        = 0;
    /// The next sound. It may lag behind the frames or precede them, and may begin before the movie does.
    [[nodiscard]] virtual std::expected<void, platform::Error> writeSound(const SoundChunk& chunk) = 0;
    /// Completes the file, also after an error: everything that was written until then plays. Without any frame no file
    /// is left, and that is an error. Call once after `open` has succeeded.
    [[nodiscard]] virtual std::expected<void, platform::Error> finish() = 0;
};

/// Makes movie writers. Thread-safe and fast.
class MovieWriters {
public:
    virtual ~MovieWriters() = default;

    /// Does not open the file yet.
    [[nodiscard]] virtual std::unique_ptr<MovieWriter> makeWriter(MovieSettings settings) = 0;
};

} // namespace tamsel::engine
