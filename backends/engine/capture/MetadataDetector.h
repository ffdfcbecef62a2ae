#pragma once

#include <tamsel/platform/AVMetadataObject.h>
#include <tamsel/platform/CVPixelBuffer.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <vector>

namespace tamsel::engine {

/// Looks for objects in the frames of one stream, one frame at a time: `take`, then `detect`, never two calls at once.
class MetadataDetection {
public:
    /// A frame as it is offered; its pixels are borrowed for the call.
    struct Frame {
        const platform::CVPixelBuffer& pixels; ///< as the camera stores them
        /// Quarter turns, clockwise, that bring the picture to the way up in which the session's frames are shown.
        int quarterTurns;
        std::chrono::nanoseconds captureTime;
        std::uint64_t sequence;
    };

    virtual ~MetadataDetection() = default;

    /// Keeps what it needs of a frame, whose pixels are not there any more afterwards. On the camera's thread, which waits.
    virtual void take(const Frame& frame) = 0;
    /// What is in the frame that was taken last, with all places relative to its stored pixels: 0 to 1, from the top left
    /// corner. May take its time.
    [[nodiscard]] virtual platform::AVMetadataObjects detect() = 0;
};

/// What finds codes and faces on a back end. Thread-safe.
class MetadataDetector {
public:
    virtual ~MetadataDetector() = default;

    /// What it can find, by the platform's identifiers.
    [[nodiscard]] virtual std::vector<platform::AVMetadataObjectType> detectableTypes() const = 0;
    /// For objects of these types, all of them detectable. Returns at once: what takes time is left to the first `detect`.
    [[nodiscard]] virtual std::unique_ptr<MetadataDetection> begin(
        std::vector<platform::AVMetadataObjectType> types)
        = 0;
};

} // namespace tamsel::engine
