// Any bytes as a compressed frame of a camera.

#include <host/camera/MotionJpegDecoder.h>

#include <cstddef>
#include <cstdint>
#include <span>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static tamsel::host::MotionJpegDecoder& decoder
        = *new tamsel::host::MotionJpegDecoder; // kept between frames
    tamsel::platform::CVPixelBuffer target(33, 17);
    (void)decoder.decode(std::as_bytes(std::span(data, size)), target);
    return 0;
}
