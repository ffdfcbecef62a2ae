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

/// What is fixed about a movie before its first frame.
struct MovieSettings {
    std::filesystem::path url;
    int quarterTurns = 0; ///< clockwise, by which a player turns the stored pictures; 0 to 3
    bool hasSound = false;
};

/// A frame in the form in which a writer keeps it until it is encoded.
class MovieFrame {
public:
    virtual ~MovieFrame() = default;
};

/// Writes one movie file. Apart from `keep` calls come from one thread at a time, and may take as long as encoding and
/// the disk need.
class MovieWriter {
public:
    virtual ~MovieWriter() = default;

    /// A copy of the pixels, or the driver's own picture where there is one and it can be used; for the driver's thread, at any
    /// time between others' calls, and therefore quick. Absent when this frame cannot be recorded.
    [[nodiscard]] virtual std::unique_ptr<MovieFrame> keep(
        const platform::CVPixelBuffer& pixels, const NativePicture* nativePicture)
        = 0;

    /// Creates the file; one that is there already is left alone, and is an error.
    [[nodiscard]] virtual std::expected<void, platform::Error> open() = 0;
    /// The next frame. Times are of the platform's monotonic clock, and grow; the first one's is the movie's beginning.
    [[nodiscard]] virtual std::expected<void, platform::Error> writeFrame(
        const MovieFrame& frame, std::chrono::nanoseconds captureTime)
        = 0;
    /// The next sound. It may be behind the frames or ahead of them, and may begin before the movie does.
    [[nodiscard]] virtual std::expected<void, platform::Error> writeSound(const SoundChunk& chunk) = 0;
    /// Completes the file, also after an error: everything that was written until then plays. Without any frame no file is
    /// left, and that is an error. To be called once after `open` has succeeded.
    [[nodiscard]] virtual std::expected<void, platform::Error> finish() = 0;
};

/// Makes movie writers. Thread-safe; a call does nothing that takes time.
class MovieWriters {
public:
    virtual ~MovieWriters() = default;

    /// Opens nothing yet.
    [[nodiscard]] virtual std::unique_ptr<MovieWriter> makeWriter(MovieSettings settings) = 0;
};

} // namespace tamsel::engine
