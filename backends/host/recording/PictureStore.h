#pragma once

#include <host/movie/ffmpegOwners.h>

#include <engine/capture/MovieWriter.h>

#include <tamsel/platform/CVPixelBuffer.h>

#include <cstddef>
#include <memory>

struct AVBufferPool;

namespace tamsel::host {

/// Keeps pictures for an encoder, in YUV 4:2:0 of BT.601 with limited range, a third of the size that they had; memory is used
/// again. Sizes are cut to even ones. One thread keeps pictures at a time; kept ones may be used and released on any.
class PictureStore {
public:
    PictureStore() = default;
    ~PictureStore();
    PictureStore(const PictureStore&) = delete;
    PictureStore& operator=(const PictureStore&) = delete;

    /// Absent when there is no memory, or the picture has less than 2 x 2 pixels.
    [[nodiscard]] std::unique_ptr<engine::MovieFrame> keep(const platform::CVPixelBuffer& pixels);
    /// Of a frame that a store has made.
    [[nodiscard]] static const AVFrame& pictureOf(const engine::MovieFrame& frame);

private:
    AVBufferPool* pool_ = nullptr;
    std::size_t bytes_ = 0; ///< of one of its buffers
};

} // namespace tamsel::host
