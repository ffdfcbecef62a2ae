#pragma once

#include <tamsel/platform/AVAsset.h>
#include <tamsel/platform/RunLoop.h>

#include <functional>
#include <memory>

namespace tamsel::platform {
struct Platform;
}

namespace tamsel {

/// Reads the first video track of one asset and delivers one decoded frame every tenth of a second, whatever the frame
/// rate of the asset; no frame is skipped. Used on the thread that starts the read, whose run loop must run. A
/// processor that is released continues to the end of its asset.
class AssetProcessor final : public std::enable_shared_from_this<AssetProcessor> {
    struct Private { };

public:
    /// Receives a frame. Only the receiver keeps the buffer longer than the call.
    using FrameHandler = std::function<void(const std::shared_ptr<platform::CMSampleBuffer>&)>;
    /// Called after the last frame.
    using Completion = std::function<void()>;

    /// Does not start reading.
    [[nodiscard]] static std::shared_ptr<AssetProcessor> create(platform::Platform& platform);
    AssetProcessor(Private, platform::Platform& platform) : platform_(platform) { }

    /// Call once. An asset that cannot be opened, or has no video track, is ignored silently: nothing is ever called.
    /// Otherwise `completion` is called once, after the last frame, also when the reading fails.
    void process(
        const std::shared_ptr<platform::AVAsset>& asset, FrameHandler frameHandler, Completion completion);

    /// Absent before the read starts and after it has ended.
    [[nodiscard]] const std::shared_ptr<platform::Timer>& assetReaderTimer() const
    {
        return assetReaderTimer_;
    }

private:
    platform::Platform& platform_;
    std::shared_ptr<platform::Timer> assetReaderTimer_;
};

/// The transform that makes a frame of the asset upright: the inverse of the first video track's preferred transform;
/// the identity without one. May wait for the file.
[[nodiscard]] platform::CGAffineTransform videoTrackTransform(const platform::AVAsset& asset);

} // namespace tamsel
