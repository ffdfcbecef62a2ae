#include <host/image/PngWriter.h>

#include <libdeflate.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <span>
#include <string_view>
#include <utility>

namespace tamsel::host {

using namespace platform;

namespace {

using Row = std::uint8_t*;
using ConstRow = const std::uint8_t*;

/// Room before each row for the pixel to the left of the first, which counts as zero.
constexpr std::size_t margin = 4;
/// So that the sum over a row does not overflow.
constexpr std::size_t maximumSide = 1'000'000;

bool isOpaque(const CVPixelBuffer& picture)
{
    constexpr std::uint32_t alpha = 0xff000000; // BGRA on a little-endian machine
    for (std::size_t y = 0; y < picture.height(); ++y) {
        const auto* row = reinterpret_cast<const std::uint32_t*>(picture.pixel(0, y));
        std::uint32_t all = alpha;
        for (std::size_t x = 0; x < picture.width(); ++x)
            all &= row[x];
        if (all != alpha)
            return false;
    }
    return true;
}

template <std::size_t Channels> void takeRow(const CVPixelBuffer& picture, std::size_t y, Row row)
{
    const auto* pixel = reinterpret_cast<ConstRow>(picture.pixel(0, y));
    for (std::size_t x = 0; x < picture.width(); ++x, pixel += 4, row += Channels) {
        row[0] = pixel[2];
        row[1] = pixel[1];
        row[2] = pixel[0];
        if constexpr (Channels == 4)
            row[3] = pixel[3];
    }
}

// The filters store the difference between each byte and the value predicted from its neighbours. `distance` is that to
// the pixel on the left.

void filterSub(ConstRow row, ConstRow, Row out, std::size_t size, std::size_t distance)
{
    const ConstRow lefts = row - distance;
    for (std::size_t index = 0; index < size; ++index)
        out[index] = static_cast<std::uint8_t>(row[index] - lefts[index]);
}

void filterUp(ConstRow row, ConstRow above, Row out, std::size_t size, std::size_t)
{
    for (std::size_t index = 0; index < size; ++index)
        out[index] = static_cast<std::uint8_t>(row[index] - above[index]);
}

void filterPaeth(ConstRow row, ConstRow above, Row out, std::size_t size, std::size_t distance)
{
    const ConstRow lefts = row - distance;
    const ConstRow corners = above - distance;
    for (std::size_t index = 0; index < size; ++index) {
        // 16 bits, so that many fit into a register.
        const auto left = static_cast<std::int16_t>(lefts[index]);
        const auto up = static_cast<std::int16_t>(above[index]);
        const auto corner = static_cast<std::int16_t>(corners[index]);
        const auto toLeft = static_cast<std::int16_t>(std::abs(up - corner));
        const auto toUp = static_cast<std::int16_t>(std::abs(left - corner));
        const auto toCorner = static_cast<std::int16_t>(std::abs(left + up - 2 * corner));
        const std::int16_t nearer = toUp <= toCorner ? up : corner;
        const std::int16_t nearest = toLeft <= toUp && toLeft <= toCorner ? left : nearer;
        out[index] = static_cast<std::uint8_t>(row[index] - nearest);
    }
}

struct Filter {
    std::uint8_t number;
    void (*apply)(ConstRow row, ConstRow above, Row out, std::size_t size, std::size_t distance);
};
constexpr std::array filters{Filter{1, &filterSub}, Filter{2, &filterUp}, Filter{4, &filterPaeth}};

/// The distance of a filtered row from zeros, which compress best.
std::uint32_t weight(ConstRow row, std::size_t size)
{
    std::uint32_t sum = 0;
    for (std::size_t index = 0; index < size; ++index)
        sum += static_cast<std::uint32_t>(std::abs(static_cast<std::int8_t>(row[index])));
    return sum;
}

/// All rows, each preceded by the number of its best filter.
template <std::size_t Channels>
std::unique_ptr<std::uint8_t[]> filterRows(const CVPixelBuffer& picture, std::size_t size)
{
    const std::size_t rowSize = picture.width() * Channels;
    auto filtered = std::make_unique_for_overwrite<std::uint8_t[]>(size);
    std::vector<std::uint8_t> first(margin + rowSize);
    std::vector<std::uint8_t> second(margin + rowSize);
    std::vector<std::uint8_t> candidate(rowSize);
    Row row = first.data() + margin;
    Row above = second.data() + margin;
    Row out = filtered.get();
    for (std::size_t y = 0; y < picture.height(); ++y, out += rowSize + 1) {
        takeRow<Channels>(picture, y, row);
        std::uint32_t least = std::numeric_limits<std::uint32_t>::max();
        for (const Filter& filter : filters) {
            filter.apply(row, above, candidate.data(), rowSize, Channels);
            const std::uint32_t own = weight(candidate.data(), rowSize);
            if (own >= least)
                continue;
            least = own;
            out[0] = filter.number;
            std::memcpy(out + 1, candidate.data(), rowSize);
        }
        std::swap(row, above);
    }
    return filtered;
}

/// A PNG file, chunk by chunk.
class PngFile {
public:
    PngFile() { append("\x89PNG\r\n\x1a\n"); }

    void append(std::string_view text)
    {
        const auto part = std::as_bytes(std::span(text));
        bytes_.insert(bytes_.end(), part.begin(), part.end());
    }
    void appendNumber(std::size_t number)
    {
        for (int shift = 24; shift >= 0; shift -= 8)
            bytes_.push_back(static_cast<std::byte>(number >> shift & 0xff));
    }
    void beginChunk(std::string_view kind)
    {
        start_ = bytes_.size();
        appendNumber(0);
        append(kind);
    }
    /// At the end of the chunk; `cut` removes what is not needed.
    std::span<std::byte> appendSpace(std::size_t size)
    {
        bytes_.resize(bytes_.size() + size);
        return std::span(bytes_).last(size);
    }
    void cut(std::size_t size) { bytes_.resize(bytes_.size() - size); }
    void endChunk()
    {
        const std::size_t checked = bytes_.size() - start_ - 4; // its type and content
        for (std::size_t index = 0; index < 4; ++index)
            bytes_[start_ + index] = static_cast<std::byte>((checked - 4) >> (24 - 8 * index) & 0xff);
        appendNumber(libdeflate_crc32(0, bytes_.data() + start_ + 4, checked));
    }
    [[nodiscard]] std::vector<std::byte> take() { return std::move(bytes_); }

private:
    std::vector<std::byte> bytes_;
    std::size_t start_ = 0; ///< of the chunk
};

struct Free {
    void operator()(libdeflate_compressor* compressor) const { libdeflate_free_compressor(compressor); }
};

void appendHeader(PngFile& file, const CVPixelBuffer& picture, bool hasAlpha)
{
    file.beginChunk("IHDR");
    file.appendNumber(picture.width());
    file.appendNumber(picture.height());
    file.append({hasAlpha ? "\x08\x06\0\0\0" : "\x08\x02\0\0\0", 5}); // 8 bits a channel
    file.endChunk();
}

} // namespace

std::optional<std::vector<std::byte>> writePng(const CVPixelBuffer& picture)
{
    if (picture.width() == 0 || picture.height() == 0 || picture.width() > maximumSide
        || picture.height() > maximumSide)
        return std::nullopt;
    const bool hasAlpha = !isOpaque(picture);
    const std::size_t size = (picture.width() * (hasAlpha ? 4 : 3) + 1) * picture.height();
    // The fastest level: a thorough search finds little in photographs.
    const std::unique_ptr<libdeflate_compressor, Free> compressor(libdeflate_alloc_compressor(1));
    const std::size_t bound = libdeflate_zlib_compress_bound(compressor.get(), size);
    if (!compressor || bound > std::numeric_limits<std::int32_t>::max())
        return std::nullopt;
    const auto rows = hasAlpha ? filterRows<4>(picture, size) : filterRows<3>(picture, size);
    PngFile file;
    appendHeader(file, picture, hasAlpha);
    file.beginChunk("IDAT");
    const std::span<std::byte> space = file.appendSpace(bound);
    const std::size_t packed
        = libdeflate_zlib_compress(compressor.get(), rows.get(), size, space.data(), space.size());
    file.cut(bound - packed);
    file.endChunk();
    file.beginChunk("IEND");
    file.endChunk();
    if (packed == 0)
        return std::nullopt;
    return file.take();
}

} // namespace tamsel::host
