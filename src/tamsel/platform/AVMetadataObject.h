#pragma once

#include <tamsel/platform/Geometry.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tamsel::platform {

/// The identifier of a kind of metadata, for example "org.iso.QRCode".
using AVMetadataObjectType = std::string;

/// An object that was detected in a frame.
class AVMetadataObject {
public:
    explicit AVMetadataObject(AVMetadataObjectType type) : type_(std::move(type)) { }
    virtual ~AVMetadataObject() = default;

    [[nodiscard]] const AVMetadataObjectType& type() const { return type_; }

    /// `FrameTiming::captureTime` of the frame; absent for objects that did not come from a session.
    [[nodiscard]] const std::optional<std::chrono::nanoseconds>& captureTime() const { return captureTime_; }
    void setCaptureTime(std::chrono::nanoseconds time) { captureTime_ = time; }

    [[nodiscard]] virtual std::shared_ptr<AVMetadataObject> copy() const
    {
        return std::make_shared<AVMetadataObject>(*this);
    }
    /// Transforms its places.
    virtual void apply(const CGAffineTransform& /*transform*/) { }

private:
    AVMetadataObjectType type_;
    std::optional<std::chrono::nanoseconds> captureTime_;
};

/// A detected face. Bounds are relative to the frame: 0 to 1, origin in its top left corner.
class AVMetadataFaceObject final : public AVMetadataObject {
public:
    AVMetadataFaceObject(CGRect bounds, std::int64_t faceID)
        : AVMetadataObject("face"),
          bounds_(bounds),
          faceID_(faceID)
    {
    }

    [[nodiscard]] CGRect bounds() const { return bounds_; }
    /// Constant for the same face, from frame to frame.
    [[nodiscard]] std::int64_t faceID() const { return faceID_; }
    [[nodiscard]] std::shared_ptr<AVMetadataObject> copy() const override
    {
        return std::make_shared<AVMetadataFaceObject>(*this);
    }
    void apply(const CGAffineTransform& transform) override
    {
        bounds_ = CGRectApplyAffineTransform(bounds_, transform);
    }

private:
    CGRect bounds_;
    std::int64_t faceID_;
};

/// A detected code with its corner points, relative to the frame as above, and its text where it could be decoded.
class AVMetadataMachineReadableCodeObject final : public AVMetadataObject {
public:
    AVMetadataMachineReadableCodeObject(
        AVMetadataObjectType type, std::vector<CGPoint> corners, std::optional<std::string> stringValue)
        : AVMetadataObject(std::move(type)),
          corners_(std::move(corners)),
          stringValue_(std::move(stringValue))
    {
    }

    [[nodiscard]] const std::vector<CGPoint>& corners() const { return corners_; }
    [[nodiscard]] const std::optional<std::string>& stringValue() const { return stringValue_; }
    [[nodiscard]] std::shared_ptr<AVMetadataObject> copy() const override
    {
        return std::make_shared<AVMetadataMachineReadableCodeObject>(*this);
    }
    void apply(const CGAffineTransform& transform) override
    {
        for (CGPoint& corner : corners_)
            corner = CGPointApplyAffineTransform(corner, transform);
    }

private:
    std::vector<CGPoint> corners_;
    std::optional<std::string> stringValue_;
};

/// The objects that were detected in one frame.
using AVMetadataObjects = std::vector<std::shared_ptr<const AVMetadataObject>>;

} // namespace tamsel::platform
