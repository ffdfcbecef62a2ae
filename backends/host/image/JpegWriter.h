#pragma once

#include <tamsel/platform/CVPixelBuffer.h>
#include <tamsel/platform/Error.h>

#include <cstddef>
#include <expected>
#include <memory>
#include <span>

namespace tamsel::host {

/// The bytes of a JPEG file, in memory of the encoder.
class JpegFile {
public:
    JpegFile(unsigned char* bytes, std::size_t size) : bytes_(bytes), size_(size) { }

    [[nodiscard]] std::span<const std::byte> bytes() const
    {
        return std::as_bytes(std::span<const unsigned char>(bytes_.get(), size_));
    }

private:
    struct Free {
        void operator()(unsigned char* bytes) const;
    };

    std::unique_ptr<unsigned char, Free> bytes_;
    std::size_t size_;
};

/// The pixels as a baseline JPEG (ITU-T T.81) in a JFIF file: quality 90, chroma subsampling 4:2:0, without other
/// metadata. Works on the calling thread.
[[nodiscard]] std::expected<JpegFile, platform::Error> writeJpeg(const platform::CVPixelBuffer& pixels);

} // namespace tamsel::host
