#include <formats/fileBytes.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace tamsel::formats {

bool areEqual(ByteView one, ByteView other)
{
    return one.size() == other.size()
        && (one.empty() || std::memcmp(one.data(), other.data(), one.size()) == 0);
}

bool holdsText(ByteView bytes, std::size_t at, std::string_view text)
{
    return holds(bytes, at, text.size()) && std::memcmp(bytes.data() + at, text.data(), text.size()) == 0;
}

namespace {

std::uint32_t number(ByteView bytes, ByteOrder order)
{
    std::uint32_t result = 0;
    for (std::size_t index = 0; index < bytes.size(); ++index) {
        const std::size_t place = order == ByteOrder::big ? index : bytes.size() - 1 - index;
        result = result << 8U | std::to_integer<std::uint32_t>(bytes[place]);
    }
    return result;
}

} // namespace

std::uint16_t number16(ByteView bytes, std::size_t at, ByteOrder order)
{
    return static_cast<std::uint16_t>(number(bytes.subspan(at, 2), order));
}

std::uint32_t number32(ByteView bytes, std::size_t at, ByteOrder order)
{
    return number(bytes.subspan(at, 4), order);
}

void append(std::vector<std::byte>& bytes, ByteView more)
{
    bytes.insert(bytes.end(), more.data(), more.data() + more.size());
}

void appendText(std::vector<std::byte>& bytes, std::string_view text)
{
    append(bytes, std::as_bytes(std::span(text)));
}

void appendNumber(std::vector<std::byte>& bytes, std::uint64_t number, std::size_t size, ByteOrder order)
{
    for (std::size_t index = 0; index < size; ++index) {
        const std::size_t shift = 8 * (order == ByteOrder::little ? index : size - 1 - index);
        bytes.push_back(static_cast<std::byte>(number >> shift & 0xFFU));
    }
}

std::vector<std::byte> spliced(ByteView file, const std::vector<Splice>& changes)
{
    std::vector<const Splice*> inOrder;
    std::size_t size = file.size();
    for (const Splice& change : changes) {
        inOrder.push_back(&change);
        size += change.bytes.size() - (change.end - change.begin);
    }
    std::ranges::sort(inOrder, {}, [](const Splice* change) { return std::pair(change->begin, change); });
    std::vector<std::byte> result;
    result.reserve(size);
    std::size_t copied = 0;
    for (const Splice* change : inOrder) {
        append(result, file.subspan(copied, change->begin - copied));
        append(result, change->bytes);
        copied = change->end;
    }
    append(result, file.subspan(copied));
    return result;
}

} // namespace tamsel::formats
