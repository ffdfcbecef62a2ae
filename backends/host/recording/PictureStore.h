#pragma once

#include <host/ffmpeg/DecodedPicture.h>

#include <engine/capture/MovieWriter.h>

#include <tamsel/platform/CVPixelBuffer.h>

#include <cstddef>
#include <memory>
#include <optional>

namespace tamsel::host {

/// Keeps pictures for an encoder in 8-bit YUV 4:2:0, cut to even sizes: as decoded, if that is their form; else
/// converted from pixels, by BT.601 with limited range, a third of their size, in memory that is reused. All are kept
/// in the form of the first. One thread keeps pictures at a time; kept ones may be used and released on any.
class PictureStore {
public:
    /// Absent when there is no memory, the picture has less than 2 x 2 pixels, or cannot be kept in the form of the
    /// first.
    [[nodiscard]] std::unique_ptr<engine::MovieFrame> keep(
        const platform::CVPixelBuffer& pixels, const engine::NativePicture* nativePicture);
    /// Of a frame from a store.
    [[nodiscard]] static const AVFrame& pictureOf(const engine::MovieFrame& frame);

private:
    [[nodiscard]] OwnedFrame convert(const platform::CVPixelBuffer& pixels);

    std::optional<bool> keepsDecoded_; ///< after the first
    OwnedBufferPool pool_;
    std::size_t bytes_ = 0; ///< of one of its buffers
};

} // namespace tamsel::host
