#include <host/image/Bytes.h>

#include <algorithm>
#include <bit>

namespace tamsel::host {

std::optional<std::uint32_t> bigNumber(Bytes bytes, std::size_t offset, std::size_t size)
{
    if (!formats::holds(bytes, offset, size))
        return std::nullopt;
    std::uint32_t number = 0;
    for (const std::byte byte : bytes.subspan(offset, size))
        number = number << 8 | std::to_integer<std::uint32_t>(byte);
    return number;
}

std::optional<std::uint32_t> littleNumber(Bytes bytes, std::size_t offset, std::size_t size)
{
    const std::optional<std::uint32_t> number = bigNumber(bytes, offset, size);
    return number ? std::optional(std::byteswap(*number) >> (32 - 8 * size)) : std::nullopt;
}

Bytes partOf(Bytes bytes, std::size_t offset, std::size_t size)
{
    const Bytes rest = bytes.subspan(std::min(offset, bytes.size()));
    return rest.first(std::min(size, rest.size()));
}

} // namespace tamsel::host
