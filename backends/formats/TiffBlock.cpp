#include <formats/TiffBlock.h>

#include <algorithm>
#include <array>
#include <unordered_set>

namespace tamsel::formats {

namespace {

constexpr std::size_t headerSize = 8;
constexpr std::uint16_t interoperabilityDirectory = 0xA005;
// More than any picture has: a limit for damaged files.
constexpr std::size_t mostDirectories = 1024;
constexpr std::size_t mostEntries = 1 << 18;
constexpr std::size_t mostPlaces = 4096; // with or without a directory
constexpr std::size_t mostNumbers = 1 << 22;

constexpr std::array<std::byte, headerSize> freshHeader{std::byte{'M'}, std::byte{'M'}, std::byte{0},
    std::byte{42}, std::byte{0}, std::byte{0}, std::byte{0}, std::byte{8}};

} // namespace

std::size_t sizeOf(TiffType type)
{
    switch (type) {
    case TiffType::byte:
    case TiffType::ascii:
    case TiffType::signedByte:
    case TiffType::undefined:
    case TiffType::utf8:
        return 1;
    case TiffType::shortInteger:
    case TiffType::signedShort:
        return 2;
    case TiffType::longInteger:
    case TiffType::signedLong:
    case TiffType::real32:
    case TiffType::directory:
        return 4;
    case TiffType::rational:
    case TiffType::signedRational:
    case TiffType::real64:
        return 8;
    }
    return 0;
}

const TiffEntry* TiffDirectory::find(std::uint16_t tag) const
{
    const auto found = std::ranges::find(entries, tag, &TiffEntry::tag);
    return found == entries.end() ? nullptr : &*found;
}

bool hasTiffHeader(ByteView bytes)
{
    using namespace std::string_view_literals;
    return holdsText(bytes, 0, "II*\0"sv) || holdsText(bytes, 0, "MM\0*"sv);
}

std::optional<TiffBlock> TiffBlock::open(ByteView bytes)
{
    if (!hasTiffHeader(bytes) || bytes.size() < headerSize)
        return std::nullopt;
    TiffBlock block(bytes, bytes[0] == std::byte{'I'} ? ByteOrder::little : ByteOrder::big);
    auto first = block.directory(number32(bytes, 4, block.order()));
    // A directory without entries was emptied, if nothing follows; else the offset is wrong.
    if (!first || (first->entries.empty() && first->next != 0))
        return std::nullopt;
    block.first_ = std::move(*first);
    return block;
}

TiffBlock TiffBlock::fresh()
{
    TiffBlock block(freshHeader, ByteOrder::big);
    block.first_.place = headerSize;
    return block;
}

std::optional<TiffDirectory> TiffBlock::directory(std::size_t place) const
{
    if (place < headerSize || !holds(bytes_, place, 2))
        return std::nullopt;
    const std::size_t count = number16(bytes_, place, order_);
    if (!holds(bytes_, place + 2, TiffEntry::size * count))
        return std::nullopt;
    TiffDirectory result;
    result.place = place;
    result.entries.reserve(count);
    for (std::size_t index = 0; index < count; ++index) {
        const std::size_t at = place + 2 + TiffEntry::size * index;
        result.entries.push_back({.place = at,
            .tag = number16(bytes_, at, order_),
            .type = static_cast<TiffType>(number16(bytes_, at + 2, order_)),
            .count = number32(bytes_, at + 4, order_)});
    }
    result.hasNext = holds(bytes_, result.end(), 4);
    if (result.hasNext)
        result.next = number32(bytes_, result.end(), order_);
    return result;
}

std::optional<TiffDirectory> TiffBlock::directoryOf(std::uint16_t tag) const
{
    const TiffEntry* pointer = first_.find(tag);
    if (!pointer || pointer->count != 1
        || (pointer->type != TiffType::longInteger && pointer->type != TiffType::directory))
        return std::nullopt;
    const std::size_t place = number32(bytes_, pointer->place + 8, order_);
    return place == first_.place ? std::nullopt : directory(place);
}

std::optional<ByteView> TiffBlock::value(const TiffEntry& entry) const
{
    const std::uint64_t size = std::uint64_t{entry.count} * sizeOf(entry.type);
    if (sizeOf(entry.type) == 0)
        return std::nullopt;
    const std::size_t place = size <= 4 ? entry.place + 8 : number32(bytes_, entry.place + 8, order_);
    if (!holds(bytes_, place, size))
        return std::nullopt;
    return bytes_.subspan(place, size);
}

std::vector<std::uint32_t> TiffBlock::numbers(const TiffEntry& entry) const
{
    std::vector<std::uint32_t> result;
    const auto bytes = value(entry);
    if (!bytes || entry.count > mostNumbers)
        return result;
    const bool isShort = entry.type == TiffType::shortInteger;
    if (!isShort && entry.type != TiffType::longInteger && entry.type != TiffType::directory)
        return result;
    for (std::size_t at = 0; at < bytes->size(); at += sizeOf(entry.type))
        result.push_back(isShort ? number16(*bytes, at, order_) : number32(*bytes, at, order_));
    return result;
}

bool isDirectoryPointer(std::uint16_t tag)
{
    return tag == tiffTag::subDirectories || tag == tiffTag::exifDirectory || tag == tiffTag::gpsDirectory
        || tag == interoperabilityDirectory;
}

std::optional<std::uint32_t> TiffBlock::number(std::uint16_t tag) const
{
    const TiffEntry* entry = first_.find(tag);
    const std::vector<std::uint32_t> found = entry ? numbers(*entry) : std::vector<std::uint32_t>{};
    return found.size() == 1 ? std::optional(found.front()) : std::nullopt;
}

std::vector<TiffDirectory> TiffBlock::allDirectories() const
{
    std::vector<TiffDirectory> result{first_};
    std::unordered_set<std::size_t> places{first_.place};
    std::size_t entryCount = first_.entries.size();
    const auto follow = [&](std::size_t place) {
        if (result.size() >= mostDirectories || entryCount > mostEntries || places.size() > mostPlaces
            || !places.insert(place).second)
            return;
        if (auto below = directory(place)) {
            entryCount += below->entries.size();
            result.push_back(std::move(*below));
        }
    };
    for (std::size_t index = 0; index < result.size(); ++index) {
        const std::vector<TiffEntry> entries = result[index].entries;
        for (const TiffEntry& entry : entries) {
            if (isDirectoryPointer(entry.tag) && entry.count <= mostDirectories)
                std::ranges::for_each(numbers(entry), follow);
        }
        follow(result[index].next);
    }
    return result;
}

} // namespace tamsel::formats
