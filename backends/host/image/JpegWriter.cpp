#include <host/image/JpegWriter.h>

#include <turbojpeg.h>

#include <string>
#include <type_traits>

namespace tamsel::host {

using namespace platform;

namespace {

constexpr int quality = 90;

struct Destroy {
    void operator()(tjhandle encoder) const { tjDestroy(encoder); }
};

std::unexpected<Error> failure(const char* reason)
{
    return std::unexpected(Error{.localizedDescription = std::string("The JPEG cannot be made: ") + reason});
}

} // namespace

void JpegFile::Free::operator()(unsigned char* bytes) const
{
    tjFree(bytes);
}

std::expected<JpegFile, Error> writeJpeg(const CVPixelBuffer& pixels)
{
    const std::unique_ptr<std::remove_pointer_t<tjhandle>, Destroy> encoder(tjInitCompress());
    if (!encoder)
        return failure("no encoder");
    const auto width = static_cast<int>(pixels.width());
    const auto height = static_cast<int>(pixels.height());
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    const int result
        = tjCompress2(encoder.get(), reinterpret_cast<const unsigned char*>(pixels.baseAddress()), width,
            static_cast<int>(pixels.bytesPerRow()), height, TJPF_BGRX, &bytes, &size, TJSAMP_420, quality, 0);
    JpegFile file(bytes, size); // owns the memory in any case
    if (result != 0)
        return failure(tjGetErrorStr2(encoder.get()));
    return file;
}

} // namespace tamsel::host
