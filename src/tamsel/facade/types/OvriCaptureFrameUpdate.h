#pragma once

#include <tamsel/platform/CVPixelBuffer.h>
#include <tamsel/platform/Geometry.h>

#include <memory>
#include <optional>
#include <utility>

namespace tamsel {

/// One video frame. A copy shares the pixels; keeping one keeps its buffer out of the session's pool.
class OvriCaptureFrameUpdate {
public:
    /// Stores the four values unchanged.
    OvriCaptureFrameUpdate(std::shared_ptr<platform::CVBuffer> data,
        std::shared_ptr<const platform::CameraIntrinsicMatrix> cameraIntrinsicData,
        platform::CGImagePropertyOrientation exifOrientation,
        std::optional<platform::CGAffineTransform> preferredTransform)
        : imageBuffer_(std::move(data)),
          cameraIntrinsicData_(std::move(cameraIntrinsicData)),
          exifOrientation_(exifOrientation),
          preferredTransform_(preferredTransform)
    {
    }

    /// BGRA pixels.
    [[nodiscard]] const std::shared_ptr<platform::CVBuffer>& imageBuffer() const { return imageBuffer_; }
    void setImageBuffer(std::shared_ptr<platform::CVBuffer> imageBuffer)
    {
        imageBuffer_ = std::move(imageBuffer);
    }

    /// As the platform delivered it; absent when there is none.
    [[nodiscard]] const std::shared_ptr<const platform::CameraIntrinsicMatrix>& cameraIntrinsicData() const
    {
        return cameraIntrinsicData_;
    }

    /// The rotation or mirroring that makes a buffer in sensor orientation upright. For live frames and assets it
    /// follows the device's orientation, even where the pixels are rotated already.
    [[nodiscard]] platform::CGImagePropertyOrientation exifOrientation() const { return exifOrientation_; }

    /// A display transform; absent for live camera frames.
    [[nodiscard]] const std::optional<platform::CGAffineTransform>& preferredTransform() const
    {
        return preferredTransform_;
    }

private:
    std::shared_ptr<platform::CVBuffer> imageBuffer_;
    std::shared_ptr<const platform::CameraIntrinsicMatrix> cameraIntrinsicData_;
    platform::CGImagePropertyOrientation exifOrientation_;
    std::optional<platform::CGAffineTransform> preferredTransform_;
};

} // namespace tamsel
