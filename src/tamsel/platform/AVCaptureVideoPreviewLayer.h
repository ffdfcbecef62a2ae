#pragma once

#include <tamsel/platform/AVCaptureConnection.h>
#include <tamsel/platform/AVMetadataObject.h>
#include <tamsel/platform/CALayer.h>
#include <tamsel/platform/CVPixelBuffer.h>
#include <tamsel/platform/Dispatch.h>
#include <tamsel/platform/Geometry.h>

#include <functional>
#include <memory>
#include <optional>

namespace tamsel::platform {

/// A picture of a preview and its place on the screen.
struct PreviewFrame {
    /// As the sensor stores it. Keeping it keeps its buffer out of the session's pool: keep one at a time.
    std::shared_ptr<const CVPixelBuffer> pixels;
    /// The rotation and mirroring that make it upright in the interface, and a mirror for a front camera.
    CGImagePropertyOrientation orientation = CGImagePropertyOrientation::up;
    /// The rectangle of the upright picture in the layer. It may exceed the layer's bounds: clip it.
    CGRect rect;
    /// From places in the stored picture, 0 to 1 from its top left corner, to points of the layer.
    CGAffineTransform layerTransform;
};

/// Shows the picture of a session, which it holds weakly. The layer's connection exists while the session has a camera.
///
/// Who draws the layer sets an observer and takes the newest picture when it likes: the layer keeps one, a slow reader
/// misses those before. Pictures also come while the session delivers no live frames to its client.
///
/// The conversions below are for the latest picture, the orientation of the connection, the gravity and the bounds of
/// now. To draw what was found in one picture use its own transform. Points of the layer count from its top left
/// corner; the others are places in the stored picture, 0 to 1 from its top left corner. Absent before the first picture.
class AVCaptureVideoPreviewLayer : public CALayer {
public:
    [[nodiscard]] virtual AVLayerVideoGravity videoGravity() const = 0;
    virtual void setVideoGravity(AVLayerVideoGravity gravity) = 0;
    /// Absent while the session has no camera, or is destroyed. Its orientation should be that of the interface. It
    /// mirrors the pictures of a front camera while it adjusts mirroring automatically.
    [[nodiscard]] virtual std::shared_ptr<AVCaptureConnection> connection() const = 0;

    /// Calls `changed` on the queue when there is a newer picture, and when there is none any more because the session
    /// has stopped; once for all changes since the call before. An empty function ends it: no call begins later on a
    /// serial queue on which this is called.
    virtual void setFrameObserver(std::shared_ptr<DispatchQueue> queue, std::function<void()> changed) = 0;
    /// Absent without an observer, before the first picture and while the session does not run.
    [[nodiscard]] virtual std::optional<PreviewFrame> newestFrame() const = 0;
    /// From places in the stored picture to points of the layer.
    [[nodiscard]] virtual std::optional<CGAffineTransform> layerTransform() const = 0;

    [[nodiscard]] std::optional<CGPoint> layerPointConvertedFromCaptureDevicePoint(const CGPoint& point) const
    {
        return layerTransform().transform(
            [&](const auto& to) { return CGPointApplyAffineTransform(point, to); });
    }
    [[nodiscard]] std::optional<CGPoint> captureDevicePointConvertedFromLayerPoint(const CGPoint& point) const
    {
        return layerTransform().transform(
            [&](const auto& to) { return CGPointApplyAffineTransform(point, CGAffineTransformInvert(to)); });
    }
    [[nodiscard]] std::optional<CGRect> layerRectConvertedFromMetadataOutputRect(const CGRect& rect) const
    {
        return layerTransform().transform(
            [&](const auto& to) { return CGRectApplyAffineTransform(rect, to); });
    }
    [[nodiscard]] std::optional<CGRect> metadataOutputRectConvertedFromLayerRect(const CGRect& rect) const
    {
        return layerTransform().transform(
            [&](const auto& to) { return CGRectApplyAffineTransform(rect, CGAffineTransformInvert(to)); });
    }
    /// A copy with its places in the layer.
    [[nodiscard]] std::shared_ptr<const AVMetadataObject> transformedMetadataObject(
        const AVMetadataObject& object) const
    {
        const std::optional<CGAffineTransform> transform = layerTransform();
        if (!transform)
            return nullptr;
        std::shared_ptr<AVMetadataObject> copy = object.copy();
        copy->apply(*transform);
        return copy;
    }
};

} // namespace tamsel::platform
