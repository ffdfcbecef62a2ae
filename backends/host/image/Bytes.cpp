#include <host/image/Bytes.h>

#include <algorithm>

namespace tamsel::host {

std::optional<std::uint32_t> numberAt(Bytes bytes, std::size_t offset, std::size_t size, std::endian order)
{
    const Bytes part = partOf(bytes, offset, size);
    if (part.size() < size)
        return std::nullopt;
    std::uint32_t number = 0;
    for (std::size_t index = 0; index < size; ++index)
        number = number << 8
            | std::to_integer<std::uint32_t>(part[order == std::endian::big ? index : size - 1 - index]);
    return number;
}

Bytes partOf(Bytes bytes, std::size_t offset, std::size_t size)
{
    const Bytes rest = bytes.subspan(std::min(offset, bytes.size()));
    return rest.first(std::min(size, rest.size()));
}

} // namespace tamsel::host
