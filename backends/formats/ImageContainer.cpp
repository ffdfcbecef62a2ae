#include <formats/ImageContainer.h>

#include <formats/HeifContainer.h>
#include <formats/JpegContainer.h>
#include <formats/PngContainer.h>
#include <formats/TiffContainer.h>
#include <formats/WebPContainer.h>

namespace tamsel::formats {

ImageContainer::~ImageContainer() = default;

void ImageContainer::fail(std::string problem)
{
    if (!problem_)
        problem_ = std::move(problem);
}

std::vector<std::byte> ImageContainer::changedExif(const std::vector<Splice>& changes) const
{
    return spliced(exif_.empty() ? TiffBlock::fresh().bytes() : exif_, changes);
}

std::unique_ptr<ImageContainer> openContainer(ByteView file, const Inflate& inflate)
{
    const auto type = imageType(file);
    if (type == "public.jpeg")
        return std::make_unique<JpegContainer>(file);
    if (type == "public.png")
        return std::make_unique<PngContainer>(file, inflate);
    if (type == "org.webmproject.webp")
        return std::make_unique<WebPContainer>(file);
    if (type == "public.tiff")
        return std::make_unique<TiffContainer>(file);
    if (type == "public.heic" || type == "public.avif")
        return std::make_unique<HeifContainer>(file);
    return nullptr;
}

} // namespace tamsel::formats
