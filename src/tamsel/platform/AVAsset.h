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

/// One track of a recording.
class AVAssetTrack {
public:
    virtual ~AVAssetTrack() = default;

    /// How stored pixels must be moved to be shown, in pixels, with y growing downwards.
    [[nodiscard]] virtual CGAffineTransform preferredTransform() const = 0;
};

/// A recording. Thread-safe.
class AVAsset {
public:
    virtual ~AVAsset() = default;

    /// The tracks of a kind in the order of the file; none when the file cannot be read. May wait for the file.
    [[nodiscard]] virtual std::vector<std::shared_ptr<AVAssetTrack>> tracks(AVMediaType /*mediaType*/) const
    {
        return {};
    }

    /// The platform's object equality; by default an asset equals only itself.
    [[nodiscard]] virtual bool isEqual(const AVAsset& other) const { return this == &other; }
};

/// How far a reading has come.
enum class AVAssetReaderStatus : std::uint8_t {
    unknown = 0,
    reading = 1,
    completed = 2,
    failed = 3,
    cancelled = 4,
};

/// What a reader's samples are decoded to.
struct TrackOutputSettings {
    std::uint32_t pixelFormat = kCVPixelFormatType_32BGRA; ///< kCVPixelBufferPixelFormatTypeKey
};

/// The samples of one track, one after the other. Used on one thread at a time.
class AVAssetReaderTrackOutput {
public:
    virtual ~AVAssetReaderTrackOutput() = default;

    /// Reads and decodes the next sample, on the calling thread; absent when there is none: the reader's status says why.
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

    /// The image that is shown at a time, as it is stored: the track's preferred transform is not applied. Decodes on the
    /// calling thread.
    [[nodiscard]] virtual std::expected<std::shared_ptr<CGImage>, Error> copyCGImage(CMTime time) = 0;
};

} // namespace tamsel::platform
