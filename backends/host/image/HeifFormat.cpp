#include <host/ffmpeg/planes.h>
#include <host/image/PictureFormats.h>

#include <libheif/heif.h>

#include <algorithm>
#include <memory>

namespace tamsel::host {

using namespace platform;

namespace {

using namespace std::string_view_literals;

struct Free {
    void operator()(heif_context* context) const { heif_context_free(context); }
    void operator()(heif_image_handle* handle) const { heif_image_handle_release(handle); }
    void operator()(heif_image* image) const { heif_image_release(image); }
    void operator()(heif_decoding_options* options) const { heif_decoding_options_free(options); }
};

/// A parsed file, with its main picture.
struct OpenedHeif {
    std::unique_ptr<heif_context, Free> context;
    std::unique_ptr<heif_image_handle, Free> handle;
};

std::optional<OpenedHeif> open(Bytes picture)
{
    if (!formats::holdsText(picture, 4, "ftyp"sv))
        return std::nullopt;
    static const bool isReady = heif_init(nullptr).code == heif_error_Ok; // once, before any thread decodes
    OpenedHeif opened;
    opened.context.reset(heif_context_alloc());
    heif_image_handle* handle = nullptr;
    if (!isReady || !opened.context
        || heif_context_read_from_memory_without_copy(
               opened.context.get(), picture.data(), picture.size(), nullptr)
                .code
            != heif_error_Ok
        || heif_context_get_primary_image_handle(opened.context.get(), &handle).code != heif_error_Ok)
        return std::nullopt;
    opened.handle.reset(handle);
    return opened;
}

PictureHeader headerOf(int width, int height)
{
    return {.width = static_cast<std::size_t>(std::max(width, 0)),
        .height = static_cast<std::size_t>(std::max(height, 0))};
}

std::optional<PictureHeader> readHeader(Bytes picture)
{
    const auto opened = open(picture);
    if (!opened)
        return std::nullopt;
    const heif_image_handle* handle = opened->handle.get();
    return headerOf(heif_image_handle_get_width(handle), heif_image_handle_get_height(handle));
}

std::optional<PictureHeader> readStoredHeader(Bytes picture)
{
    const auto opened = open(picture);
    if (!opened)
        return std::nullopt;
    const heif_image_handle* handle = opened->handle.get();
    return headerOf(heif_image_handle_get_ispe_width(handle), heif_image_handle_get_ispe_height(handle));
}

std::expected<void, Error> decode(Bytes picture, CVPixelBuffer& target, bool ignoresTransformations)
{
    const auto opened = open(picture);
    if (!opened)
        return std::unexpected(pictureError("HEIF", "its boxes are damaged"));
    const std::unique_ptr<heif_decoding_options, Free> options(heif_decoding_options_alloc());
    if (!options)
        return std::unexpected(pictureError("HEIF", "no decoder"));
    options->ignore_transformations = ignoresTransformations ? 1 : 0;
    options->convert_hdr_to_8bit = 1;
    options->decoder_id = "aom"; // for AVIF, if it is installed: dav1d reports damage on standard error
    heif_image* result = nullptr;
    const heif_error error = heif_decode_image(
        opened->handle.get(), &result, heif_colorspace_RGB, heif_chroma_interleaved_RGBA, options.get());
    const std::unique_ptr<heif_image, Free> image(result);
    if (error.code != heif_error_Ok)
        return std::unexpected(pictureError("HEIF", error.message));
    int stride = 0;
    const std::uint8_t* pixels
        = heif_image_get_plane_readonly(image.get(), heif_channel_interleaved, &stride);
    const int width = heif_image_get_width(image.get(), heif_channel_interleaved);
    const int height = heif_image_get_height(image.get(), heif_channel_interleaved);
    const bool hasSize
        = width == static_cast<int>(target.width()) && height == static_cast<int>(target.height());
    // Some programs write the upright size in place of the stored one. Such a picture can only be decoded upright.
    if (!hasSize && ignoresTransformations)
        return decode(picture, target, false);
    if (!pixels || !hasSize)
        return std::unexpected(pictureError("HEIF", "its size differs from its header"));
    convertRgba(pixels, stride, target);
    return {};
}

} // namespace

PictureFormat heifFormat()
{
    return {&readHeader, [](Bytes picture, CVPixelBuffer& target) { return decode(picture, target, false); }};
}

PictureFormat heifAsStoredFormat()
{
    return {&readStoredHeader,
        [](Bytes picture, CVPixelBuffer& target) { return decode(picture, target, true); }};
}

} // namespace tamsel::host
