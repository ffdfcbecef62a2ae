#include <tamsel/platform/CVPixelBuffer.h>

#include <algorithm>
#include <new>

namespace tamsel::platform {

namespace {

constexpr std::size_t rowAlignment = 64;

} // namespace

CVPixelBuffer::CVPixelBuffer(std::size_t width, std::size_t height)
    : width_(width),
      height_(height),
      bytesPerRow_((width * 4 + rowAlignment - 1) / rowAlignment * rowAlignment),
      pixels_(static_cast<std::byte*>(
          ::operator new[](std::max(bytesPerRow_* height, std::size_t{1}), std::align_val_t{rowAlignment})))
{
}

void CVPixelBuffer::AlignedDelete::operator()(std::byte* pixels) const
{
    ::operator delete[](pixels, std::align_val_t{rowAlignment});
}

} // namespace tamsel::platform
