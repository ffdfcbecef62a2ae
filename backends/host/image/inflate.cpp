#include <host/image/inflate.h>

#include <libdeflate.h>

#include <algorithm>
#include <memory>

namespace tamsel::host {

namespace {

struct Free {
    void operator()(libdeflate_decompressor* decompressor) const
    {
        libdeflate_free_decompressor(decompressor);
    }
};

} // namespace

std::optional<std::vector<std::byte>> inflate(std::span<const std::byte> zlib, std::size_t limit)
{
    const std::unique_ptr<libdeflate_decompressor, Free> decompressor(libdeflate_alloc_decompressor());
    if (!decompressor)
        return std::nullopt;
    // The stream does not state its uncompressed size.
    for (std::size_t space = std::min(limit, zlib.size() * 8 + 4096);; space = std::min(limit, space * 4)) {
        std::vector<std::byte> bytes(space);
        std::size_t size = 0;
        const libdeflate_result result = libdeflate_zlib_decompress(
            decompressor.get(), zlib.data(), zlib.size(), bytes.data(), bytes.size(), &size);
        if (result == LIBDEFLATE_SUCCESS) {
            bytes.resize(size);
            return bytes;
        }
        if (result != LIBDEFLATE_INSUFFICIENT_SPACE || space == limit)
            return std::nullopt;
    }
}

} // namespace tamsel::host
