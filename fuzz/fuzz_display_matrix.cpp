// Any 36 bytes as the display matrix of an otherwise valid video: its transform has six finite numbers, and the video
// is read as without it.

#include <host/ffmpeg/VideoReader.h>

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

namespace {

constexpr std::size_t matrixSize = 36;

std::string recording()
{
    std::ifstream stream(
        std::string(TAMSEL_TEST_DATA) + "/video/moving_cup_audio_640x480.mp4", std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace tamsel;
    static const std::string original = recording();
    const std::size_t header = original.find("tkhd");
    if (size < matrixSize || header == std::string::npos)
        return 0;
    std::string changed = original;
    std::copy_n(data, matrixSize, changed.begin() + static_cast<std::ptrdiff_t>(header + 44));
    const int file = memfd_create("turned", MFD_CLOEXEC);
    if (write(file, changed.data(), changed.size()) != static_cast<ssize_t>(changed.size()))
        std::abort();
    const auto reader = host::VideoReader::openContainer(
        "/proc/self/fd/" + std::to_string(file), {}, host::MediaFormats::assets);
    close(file);
    if (!reader || !(*reader)->hasVideo())
        std::abort();
    const platform::CGAffineTransform preferred = (*reader)->preferredTransform();
    for (const platform::CGAffineTransform& t : {preferred, platform::CGAffineTransformInvert(preferred)}) {
        for (const double number : {t.a, t.b, t.c, t.d, t.tx, t.ty}) {
            if (!std::isfinite(number))
                std::abort();
        }
    }
    return 0;
}
