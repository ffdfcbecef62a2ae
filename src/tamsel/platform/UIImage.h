#pragma once

#include <tamsel/platform/CVPixelBuffer.h>
#include <tamsel/platform/Geometry.h>

#include <memory>
#include <utility>

namespace tamsel::platform {

/// A decoded picture.
using CGImage = const CVPixelBuffer;

/// A decoded picture for display.
class UIImage {
public:
    explicit UIImage(std::shared_ptr<CGImage> cgImage) : cgImage_(std::move(cgImage)) { }

    [[nodiscard]] const std::shared_ptr<CGImage>& cgImage() const { return cgImage_; }
    /// Pixels.
    [[nodiscard]] CGSize size() const
    {
        return {static_cast<double>(cgImage_->width()), static_cast<double>(cgImage_->height())};
    }

private:
    std::shared_ptr<CGImage> cgImage_;
};

} // namespace tamsel::platform
