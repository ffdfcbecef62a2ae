#include <formats/isoBoxes.h>

namespace tamsel::formats {

std::vector<IsoBox> isoBoxes(ByteView file, std::size_t begin, std::size_t end)
{
    std::vector<IsoBox> result;
    while (begin < end) {
        IsoNumbers numbers(file, begin, end);
        std::uint64_t size = numbers.next(4);
        const std::size_t type = numbers.place();
        numbers.next(4);
        const bool isOpen = size == 0 && end == file.size();
        if (isOpen)
            size = end - begin;
        else if (size == 1)
            size = numbers.next(8);
        if (numbers.isPastEnd() || size < numbers.place() - begin || size > end - begin)
            break;
        result.push_back({.begin = begin,
            .content = numbers.place(),
            .end = begin + static_cast<std::size_t>(size),
            .type = {reinterpret_cast<const char*>(file.data()) + type, 4},
            .isOpen = isOpen});
        begin = result.back().end;
    }
    return result;
}

std::uint64_t IsoNumbers::next(std::size_t size)
{
    if (!holds(bytes_, at_, size)) {
        isPastEnd_ = true;
        return 0;
    }
    std::uint64_t result = 0;
    for (const std::byte byte : bytes_.subspan(at_, size))
        result = result << 8U | std::to_integer<std::uint64_t>(byte);
    at_ += size;
    return result;
}

} // namespace tamsel::formats
