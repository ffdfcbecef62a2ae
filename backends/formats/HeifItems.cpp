#include <formats/HeifItems.h>

#include <algorithm>
#include <set>

namespace tamsel::formats {

using namespace std::string_view_literals;

namespace {

constexpr std::size_t versionSize = 4; // and flags

std::size_t idSizeOf(unsigned version)
{
    return version == 0 ? 2 : 4;
}

/// Whether some of them have the same number.
template <typename Entry> bool hasTwins(const std::vector<Entry>& entries)
{
    std::set<std::uint32_t> ids;
    return !std::ranges::all_of(entries, [&](const Entry& entry) { return ids.insert(entry.id).second; });
}

} // namespace

std::expected<HeifItems, std::string> HeifItems::read(ByteView file)
{
    HeifItems result(file);
    if (auto problem = result.readBoxes())
        return std::unexpected(std::move(*problem));
    if (!result.readPrimary())
        return std::unexpected("the HEIF file has no primary picture");
    if (!result.readItems() || !result.readReferences())
        return std::unexpected("the list of items of the HEIF file is damaged or unknown");
    if (!result.readLocations())
        return std::unexpected("the places of the items of the HEIF file are damaged or unknown");
    return result;
}

std::optional<std::string> HeifItems::readBoxes()
{
    fileBoxes_ = isoBoxes(file_, 0, file_.size());
    const std::size_t end = fileBoxes_.empty() ? 0 : fileBoxes_.back().end;
    for (const std::string_view type : {"meta"sv, "mdat"sv, "moov"sv, "moof"sv}) {
        if (holdsText(file_, end + 4, type))
            return "the HEIF file is truncated";
    }
    const auto meta = std::ranges::find(fileBoxes_, "meta"sv, &IsoBox::type);
    if (meta == fileBoxes_.end())
        return "the HEIF file has no picture";
    meta_ = *meta;
    if (meta_.end - meta_.content >= versionSize)
        boxes_ = isoBoxes(file_, meta_.content + versionSize, meta_.end);
    if (boxes_.empty() || boxes_.back().end != meta_.end || boxes_.back().isOpen)
        return "a box of the HEIF file is damaged";
    return std::nullopt;
}

const IsoBox* HeifItems::box(std::string_view type) const
{
    const auto found = std::ranges::find(boxes_, type, &IsoBox::type);
    return found == boxes_.end() ? nullptr : &*found;
}

unsigned HeifItems::versionOf(const IsoBox& box) const
{
    return static_cast<unsigned>(IsoNumbers(file_, box.content, box.end).next(1));
}

bool HeifItems::readPrimary()
{
    const IsoBox* found = box("pitm");
    if (!found)
        return false;
    IsoNumbers numbers(file_, found->content, found->end);
    const std::uint64_t version = numbers.next(versionSize) >> 24U;
    primary_ = static_cast<std::uint32_t>(numbers.next(idSizeOf(version != 0 ? 1 : 0)));
    return !numbers.isPastEnd() && version <= 1;
}

bool HeifItems::readItems()
{
    const IsoBox* found = box("iinf");
    if (!found)
        return false;
    IsoNumbers numbers(file_, found->content, found->end);
    numbers.next(versionSize);
    const std::uint64_t count = numbers.next(idSizeOf(versionOf(*found)));
    if (numbers.isPastEnd())
        return false;
    std::size_t end = numbers.place();
    for (const IsoBox& entry : isoBoxes(file_, numbers.place(), found->end)) {
        IsoNumbers fields(file_, entry.content, entry.end);
        const unsigned version = versionOf(entry);
        fields.next(versionSize);
        const auto id = static_cast<std::uint32_t>(fields.next(version == 3 ? 4 : 2));
        const bool isProtected = fields.next(2) != 0;
        const std::size_t type = fields.place();
        if (version >= 2)
            fields.next(4);
        if (entry.type != "infe" || version > 3 || fields.isPastEnd())
            return false;
        items_.push_back({.id = id,
            .type = version >= 2 ? std::string_view(reinterpret_cast<const char*>(file_.data()) + type, 4)
                                 : std::string_view(),
            .isProtected = isProtected});
        end = entry.end;
    }
    return items_.size() == count && end == found->end && !hasTwins(items_);
}

bool HeifItems::readReferences()
{
    const IsoBox* found = box("iref");
    if (!found)
        return true;
    IsoNumbers head(file_, found->content, found->end);
    head.next(versionSize);
    const std::size_t idSize = idSizeOf(versionOf(*found));
    if (head.isPastEnd() || versionOf(*found) > 1)
        return false;
    std::size_t end = head.place();
    for (const IsoBox& entry : isoBoxes(file_, head.place(), found->end)) {
        IsoNumbers numbers(file_, entry.content, entry.end);
        HeifReference reference{
            .type = entry.type, .from = static_cast<std::uint32_t>(numbers.next(idSize)), .to = {}};
        for (std::uint64_t left = numbers.next(2); left > 0 && !numbers.isPastEnd(); --left)
            reference.to.push_back(static_cast<std::uint32_t>(numbers.next(idSize)));
        if (numbers.isPastEnd())
            return false;
        references_.push_back(std::move(reference));
        end = entry.end;
    }
    return end == found->end;
}

bool HeifItems::readLocations()
{
    const IsoBox* found = box("iloc");
    if (!found)
        return false;
    IsoNumbers numbers(file_, found->content, found->end);
    const auto version = static_cast<unsigned>(numbers.next(versionSize) >> 24U);
    const auto sizes = static_cast<std::size_t>(numbers.next(2));
    offsetSize_ = sizes >> 12U;
    lengthSize_ = sizes >> 8U & 15U;
    baseSize_ = sizes >> 4U & 15U;
    indexSize_ = version == 0 ? 0 : sizes & 15U;
    for (const std::size_t size : {offsetSize_, lengthSize_, baseSize_, indexSize_}) {
        if (size != 0 && size != 4 && size != 8)
            return false;
    }
    const std::size_t idSize = version < 2 ? 2 : 4;
    for (std::uint64_t left = numbers.next(idSize); left > 0; --left) {
        HeifLocation location{.id = static_cast<std::uint32_t>(numbers.next(idSize))};
        if (version > 0) {
            location.originPlace = numbers.place();
            const std::uint64_t origin = numbers.next(2) & 15U;
            if (origin > 2)
                return false;
            location.origin = static_cast<HeifOrigin>(origin);
        }
        location.isElsewhere = numbers.next(2) != 0;
        location.basePlace = numbers.place();
        location.base = numbers.next(baseSize_);
        const std::uint64_t extents = numbers.next(2);
        if (extents > 1 && (offsetSize_ == 0 || lengthSize_ == 0))
            return false;
        for (std::uint64_t index = 0; index < extents && !numbers.isPastEnd(); ++index) {
            numbers.next(indexSize_);
            HeifExtent extent{.offsetPlace = numbers.place()};
            extent.offset = numbers.next(offsetSize_);
            extent.lengthPlace = numbers.place();
            extent.length = numbers.next(lengthSize_);
            location.extents.push_back(extent);
        }
        if (numbers.isPastEnd())
            return false;
        locations_.push_back(std::move(location));
    }
    return version <= 2 && numbers.place() == found->end && !hasTwins(locations_);
}

const HeifLocation* HeifItems::location(std::uint32_t id) const
{
    const auto found = std::ranges::find(locations_, id, &HeifLocation::id);
    return found == locations_.end() ? nullptr : &*found;
}

const HeifItem* HeifItems::exif() const
{
    std::set<std::uint32_t> describing;
    std::set<std::uint32_t> describingPrimary;
    for (const HeifReference& reference : references_) {
        if (reference.type != "cdsc")
            continue;
        describing.insert(reference.from);
        if (std::ranges::find(reference.to, primary_) != reference.to.end())
            describingPrimary.insert(reference.from);
    }
    const HeifItem* result = nullptr;
    for (const HeifItem& item : items_) {
        if (item.type != "Exif")
            continue;
        if (describingPrimary.contains(item.id))
            return &item;
        if (!result && !describing.contains(item.id))
            result = &item;
    }
    return result;
}

std::optional<std::vector<std::byte>> HeifItems::content(std::uint32_t id) const
{
    const HeifLocation* found = location(id);
    const IsoBox* dataBox = box("idat");
    if (!found || found->isElsewhere || found->origin == HeifOrigin::otherItem
        || (found->origin == HeifOrigin::dataBox && !dataBox))
        return std::nullopt;
    const ByteView source = found->origin == HeifOrigin::file
        ? file_
        : file_.subspan(dataBox->content, dataBox->end - dataBox->content);
    std::vector<std::byte> result;
    for (const HeifExtent& extent : found->extents) {
        const std::uint64_t begin = found->base + extent.offset;
        if (begin < found->base || extent.length == 0 || !holds(source, begin, extent.length)
            || extent.length > file_.size() - result.size())
            return std::nullopt;
        append(result, source.subspan(begin, extent.length));
    }
    return result;
}

std::vector<IsoBox> HeifItems::primaryProperties() const
{
    std::vector<IsoBox> result;
    const IsoBox* properties = box("iprp");
    const auto parts
        = properties ? isoBoxes(file_, properties->content, properties->end) : std::vector<IsoBox>{};
    const auto container = std::ranges::find(parts, "ipco"sv, &IsoBox::type);
    if (container == parts.end())
        return result;
    const std::vector<IsoBox> all = isoBoxes(file_, container->content, container->end);
    for (const IsoBox& part : parts) {
        if (part.type != "ipma")
            continue;
        IsoNumbers numbers(file_, part.content, part.end);
        const std::uint64_t head = numbers.next(versionSize);
        const std::size_t indexSize = (head & 1U) != 0 ? 2 : 1;
        const std::uint64_t indexMask = indexSize == 2 ? 0x7FFF : 0x7F;
        for (std::uint64_t left = numbers.next(4); left > 0 && !numbers.isPastEnd(); --left) {
            const std::uint64_t id = numbers.next(idSizeOf(head >> 24U != 0 ? 1 : 0));
            for (std::uint64_t count = numbers.next(1); count > 0; --count) {
                const std::uint64_t index = numbers.next(indexSize) & indexMask;
                if (id == primary_ && index > 0 && index <= all.size())
                    result.push_back(all[index - 1]);
            }
        }
    }
    return result;
}

std::optional<std::size_t> exifBeginIn(ByteView content)
{
    constexpr std::string_view prefix = "Exif\0\0"sv;
    constexpr std::size_t offsetSize = 4;
    const std::size_t begin
        = content.size() < offsetSize ? offsetSize : offsetSize + number32(content, 0, ByteOrder::big);
    if (begin > content.size())
        return std::nullopt;
    // Some writers do not count the prefix.
    return holdsText(content, begin, prefix) ? begin + prefix.size() : begin;
}

} // namespace tamsel::formats
