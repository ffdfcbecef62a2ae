#include <host/recording/FrontMover.h>

#include <algorithm>
#include <limits>
#include <string_view>
#include <utility>

namespace tamsel::host {

using platform::Error;

namespace {

constexpr std::uint64_t largestBlock = std::uint64_t{1} << 20;
constexpr std::size_t boxHead = 8;
constexpr std::size_t tableHead = 8; // version and flags, number of entries

std::uint64_t readNumber(std::span<const std::byte> bytes, std::size_t length)
{
    std::uint64_t value = 0;
    for (std::size_t at = 0; at < length; ++at)
        value = value << 8 | std::to_integer<std::uint64_t>(bytes[at]);
    return value;
}

void writeNumber(std::span<std::byte> bytes, std::size_t length, std::uint64_t value)
{
    for (std::size_t at = length; at-- > 0; value >>= 8)
        bytes[at] = static_cast<std::byte>(value & 0xFF);
}

bool shiftTable(std::span<std::byte> table, std::size_t width, std::uint64_t shift)
{
    if (table.size() < tableHead)
        return false;
    const std::uint64_t count = readNumber(table.subspan(4), 4);
    table = table.subspan(tableHead);
    if (count > table.size() / width)
        return false;
    const std::uint64_t largest
        = width == 4 ? std::numeric_limits<std::uint32_t>::max() : std::numeric_limits<std::uint64_t>::max();
    for (std::uint64_t entry = 0; entry < count; ++entry) {
        const auto place = table.subspan(entry * width, width);
        const std::uint64_t offset = readNumber(place, width);
        if (offset > largest - shift)
            return false;
        writeNumber(place, width, offset + shift);
    }
    return true;
}

} // namespace

bool shiftChunks(std::span<std::byte> index, std::uint64_t shift)
{
    while (index.size() >= boxHead) {
        const std::uint64_t size = readNumber(index, 4);
        if (size < boxHead || size > index.size())
            return false;
        const auto* name = reinterpret_cast<const char*>(index.data() + 4);
        const std::string_view kind(name, 4);
        const auto content = index.subspan(boxHead, size - boxHead);
        bool isGood = true;
        if (kind == "moov" || kind == "trak" || kind == "mdia" || kind == "minf" || kind == "stbl")
            isGood = shiftChunks(content, shift);
        else if (kind == "stco")
            isGood = shiftTable(content, 4, shift);
        else if (kind == "co64")
            isGood = shiftTable(content, 8, shift);
        if (!isGood)
            return false;
        index = index.subspan(size);
    }
    return index.empty();
}

FrontMover::FrontMover(ReservedFile& movie, RecoveryFile& recovery, FrontMove move)
    : movie_(movie),
      recovery_(recovery),
      move_(std::move(move)),
      block_(std::min<std::uint64_t>(largestBlock, move_.index.size()))
{
}

std::expected<bool, Error> FrontMover::step()
{
    const std::uint64_t left = move_.moved - move_.begin;
    if (left == 0) {
        if (auto written = movie_.write(move_.begin, move_.index); !written)
            return std::unexpected(std::move(written.error()));
        return true;
    }
    if (move_.moved == move_.end) {
        if (auto written = movie_.write(move_.begin, move_.head); !written)
            return std::unexpected(std::move(written.error()));
    }
    const std::span<std::byte> block = std::span(block_).first(std::min<std::uint64_t>(block_.size(), left));
    const std::uint64_t from = move_.moved - block.size();
    if (auto read = movie_.read(from, block); !read)
        return std::unexpected(std::move(read.error()));
    if (auto written = movie_.write(from + move_.index.size(), block); !written)
        return std::unexpected(std::move(written.error()));
    if (auto noted = recovery_.noteMoved(from); !noted)
        return std::unexpected(std::move(noted.error()));
    move_.moved = from;
    return false;
}

} // namespace tamsel::host
