#pragma once

#include <tamsel/platform/AVMediaType.h>
#include <tamsel/platform/CMSampleBuffer.h>
#include <tamsel/platform/CMTime.h>
#include <tamsel/platform/Error.h>
#include <tamsel/platform/Geometry.h>
#include <tamsel/platform/UIImage.h>

#include <cstdint>
#include <expected>
#include <memory>
#include <vector>

namespace tamsel::platform {

/// One track of an asset.
class AVAssetTrack {
public:
    virtual ~AVAssetTrack() = default;

    /// The transform that shows stored pixels upright, in pixels, with y growing downwards.
    [[nodiscard]] virtual CGAffineTransform preferredTransform() const = 0;
};

/// A recorded video. Thread-safe.
class AVAsset {
public:
    virtual ~AVAsset() = default;

    /// The tracks of a kind in the order of the file; empty when the file cannot be read. May wait for the file.
    [[nodiscard]] virtual std::vector<std::shared_ptr<AVAssetTrack>> tracks(AVMediaType /*mediaType*/) const
    {
        return {};
    }

    /// Equality of assets; by default an asset equals only itself.
    [[nodiscard]] virtual bool isEqual(const AVAsset& other) const { return this == &other; }
};

/// The progress of a reading.
enum class AVAssetReaderStatus : std::uint8_t {
    unknown = 0,
    reading = 1,
    completed = 2,
    failed = 3,
    cancelled = 4,
};

/// The format of a reader's samples.
struct TrackOutputSettings {
    std::uint32_t pixelFormat = kCVPixelFormatType_32BGRA; ///< kCVPixelBufferPixelFormatTypeKey
};

/// The samples of one track, one after the other. Used on one thread at a time.
class AVAssetReaderTrackOutput {
public:
    virtual ~AVAssetReaderTrackOutput() = default;

    /// Reads and decodes the next sample on the calling thread; absent when there is none: see the reader's status.
    [[nodiscard]] virtual std::shared_ptr<CMSampleBuffer> copyNextSampleBuffer() = 0;
};

/// One reading of an asset, from its start to its end. Used on one thread at a time.
class AVAssetReader {
public:
    virtual ~AVAssetReader() = default;

    /// Before the reading starts.
    virtual void addOutput(std::shared_ptr<AVAssetReaderTrackOutput> output) = 0;
    /// False when it cannot start; the status then is `failed`.
    virtual bool startReading() = 0;
    [[nodiscard]] virtual AVAssetReaderStatus status() const = 0;
};

/// Makes single images of an asset.
class AVAssetImageGenerator {
public:
    virtual ~AVAssetImageGenerator() = default;

    /// The image at a time, as it is stored: the track's preferred transform is not applied. Decodes on the calling
    /// thread.
    [[nodiscard]] virtual std::expected<std::shared_ptr<CGImage>, Error> copyCGImage(CMTime time) = 0;
};

} // namespace tamsel::platform
