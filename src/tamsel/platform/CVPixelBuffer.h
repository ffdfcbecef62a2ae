#pragma once

#include <tamsel/platform/CMTime.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

namespace tamsel::platform {

/// Four-character code "BGRA": 32 bits a pixel, bytes in the order blue, green, red, alpha.
inline constexpr std::uint32_t kCVPixelFormatType_32BGRA = 0x42475241;

/// The times and the sequence number of a frame; renewed each time a buffer is reused.
struct FrameTiming {
    std::chrono::nanoseconds captureTime{}; ///< on the platform's monotonic clock
    CMTime mediaTime; ///< in the source's own time, growing across loops
    std::uint64_t sequence = 0; ///< as produced, from 0, strictly increasing within a session
    bool isExamined = false; ///< codes and faces are looked for in it

    bool operator==(const FrameTiming&) const = default;
};

/// The pixels of one frame: `height` rows of `bytesPerRow` bytes, top row first, 4 bytes a pixel. Rows are padded to a
/// multiple of 64 bytes. Passed by reference count and never copied on the way to the client; its producer fills it
/// before it is delivered, so readers need no lock.
class CVPixelBuffer {
public:
    /// A buffer of BGRA pixels; its content is undefined until it is filled.
    CVPixelBuffer(std::size_t width, std::size_t height);

    CVPixelBuffer(const CVPixelBuffer&) = delete;
    CVPixelBuffer& operator=(const CVPixelBuffer&) = delete;

    [[nodiscard]] std::size_t width() const { return width_; }
    [[nodiscard]] std::size_t height() const { return height_; }
    [[nodiscard]] std::size_t bytesPerRow() const { return bytesPerRow_; }
    [[nodiscard]] std::uint32_t pixelFormat() const { return kCVPixelFormatType_32BGRA; }

    [[nodiscard]] std::byte* baseAddress() { return pixels_.get(); }
    [[nodiscard]] const std::byte* baseAddress() const { return pixels_.get(); }

    /// The first byte of the pixel in column `x` of row `y`.
    [[nodiscard]] const std::byte* pixel(std::size_t x, std::size_t y) const
    {
        return pixels_.get() + y * bytesPerRow_ + x * 4;
    }

    /// Absent for pixels that did not come from a session.
    [[nodiscard]] const std::optional<FrameTiming>& timing() const { return timing_; }
    void setTiming(const std::optional<FrameTiming>& timing) { timing_ = timing; }

    /// How many quarter turns clockwise, 0 to 3, the stored picture was rotated by to become this one.
    [[nodiscard]] int quarterTurns() const { return quarterTurns_; }
    void setQuarterTurns(int quarterTurns) { quarterTurns_ = quarterTurns; }

private:
    struct AlignedDelete {
        void operator()(std::byte* pixels) const;
    };

    std::size_t width_;
    std::size_t height_;
    std::size_t bytesPerRow_;
    std::unique_ptr<std::byte[], AlignedDelete> pixels_;
    std::optional<FrameTiming> timing_;
    int quarterTurns_ = 0;
};

/// The name of frames in client code.
using CVBuffer = CVPixelBuffer;

} // namespace tamsel::platform
