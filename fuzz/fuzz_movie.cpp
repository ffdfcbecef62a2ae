// Any bytes as a video file: opened, read, converted and rewound, as by a camera.

#include <host/ffmpeg/VideoReader.h>

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace {

constexpr int mostFrames = 12;
constexpr std::size_t mostPixels = std::size_t{1920} * 1080;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using tamsel::host::VideoReader;
    const int file = memfd_create("movie", MFD_CLOEXEC);
    if (file < 0 || write(file, data, size) != static_cast<ssize_t>(size)) {
        close(file);
        return 0;
    }
    if (auto opened = VideoReader::open("/proc/self/fd/" + std::to_string(file), {})) {
        VideoReader& reader = **opened;
        (void)reader.presentationDimensions();
        double last = -1e300;
        for (int frames = 0; frames < mostFrames;) {
            if (reader.next() != VideoReader::Step::frame) {
                if (frames == 0 || !reader.rewind())
                    break;
                ++frames;
                continue;
            }
            ++frames;
            if (reader.time().seconds() <= last)
                __builtin_trap(); // times increase, also across loops
            last = reader.time().seconds();
            if (reader.width() * reader.height() <= mostPixels) {
                tamsel::platform::CVPixelBuffer buffer(reader.width(), reader.height());
                (void)reader.convert(buffer);
            }
        }
    }
    close(file);
    return 0;
}
