// Any bytes as a picture, with and without its orientation.

#include <host/image/HostImages.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace tamsel;
    constexpr double mostPixels = 3840 * 2160; // larger pictures only take longer
    const auto* bytes = reinterpret_cast<const std::byte*>(data);
    const auto file = std::make_shared<const std::vector<std::byte>>(bytes, bytes + size);
    host::HostImages images;
    for (const bool isTurned : {false, true}) {
        const auto image = images.openImage(file, {.appliesOrientationProperty = isTurned});
        if (!image || image->size().width * image->size().height > mostPixels)
            continue;
        const auto picture = image->decode();
        if (picture && platform::UIImage(*picture).size() != image->size())
            std::abort();
    }
    return 0;
}
