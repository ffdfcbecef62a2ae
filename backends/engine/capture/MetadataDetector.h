#pragma once

#include <tamsel/platform/AVMetadataObject.h>
#include <tamsel/platform/CVPixelBuffer.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <vector>

namespace tamsel::engine {

/// Detects objects in the frames of one stream, one frame at a time: `take`, then `detect`, never two calls at once.
class MetadataDetection {
public:
    /// A frame. Its pixels are valid during the call only.
    struct Frame {
        const platform::CVPixelBuffer& pixels; ///< in sensor orientation
        /// Quarter turns, clockwise, that make the picture upright.
        int quarterTurns;
        std::chrono::nanoseconds captureTime;
        std::uint64_t sequence;
    };

    virtual ~MetadataDetection() = default;

    /// Copies what it needs of a frame. Should be quick: the camera's thread waits.
    virtual void take(const Frame& frame) = 0;
    /// The objects in the frame that was taken last. Positions are relative to its stored pixels: 0 to 1, from the top
    /// left corner. May take long.
    [[nodiscard]] virtual platform::AVMetadataObjects detect() = 0;
};

/// Detects codes and faces. Thread-safe.
class MetadataDetector {
public:
    virtual ~MetadataDetector() = default;

    /// The detectable types, by the platform's identifiers.
    [[nodiscard]] virtual std::vector<platform::AVMetadataObjectType> detectableTypes() const = 0;
    /// For objects of these types, all of them detectable. Must return at once: leave slow preparations to the first `detect`.
    [[nodiscard]] virtual std::unique_ptr<MetadataDetection> begin(
        std::vector<platform::AVMetadataObjectType> types)
        = 0;
};

} // namespace tamsel::engine
