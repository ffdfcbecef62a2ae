#include <formats/pngChunk.h>

#include <array>
#include <cstdint>

namespace tamsel::formats {

namespace {

constexpr std::array<std::uint32_t, 256> makeChecksums()
{
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t index = 0; index < table.size(); ++index) {
        std::uint32_t value = index;
        for (int bit = 0; bit < 8; ++bit)
            value = (value & 1U) != 0 ? 0xEDB88320U ^ value >> 1U : value >> 1U;
        table[index] = value;
    }
    return table;
}

constexpr std::array<std::uint32_t, 256> checksums = makeChecksums();

/// The CRC of PNG, annex D, of a chunk's type and data.
std::uint32_t checksumOf(ByteView bytes)
{
    std::uint32_t value = ~0U;
    for (const std::byte byte : bytes)
        value = checksums[(value ^ std::to_integer<std::uint32_t>(byte)) & 0xFFU] ^ value >> 8U;
    return ~value;
}

} // namespace

void appendPngChunk(std::vector<std::byte>& file, std::string_view type, ByteView data)
{
    appendNumber(file, data.size(), 4, ByteOrder::big);
    const std::size_t checked = file.size();
    appendText(file, type);
    append(file, data);
    appendNumber(file, checksumOf(ByteView(file).subspan(checked)), 4, ByteOrder::big);
}

} // namespace tamsel::formats
