#include <formats/HeifContainer.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>

namespace tamsel::formats {

using platform::Error;
using namespace std::string_view_literals;

namespace {

constexpr std::size_t versionSize = 4; // and flags
constexpr std::uint32_t mostShort = 0xFFFF; // the last number of an item with two bytes
constexpr std::string_view noRoom = "the numbers of the HEIF file have no room for its EXIF";

/// The orientation after a turn or a reflection (ISO/IEC 23008-12, 6.5.10 and 6.5.12). Each is a reflection left to
/// right or none, then quarter turns clockwise.
Orientation transformed(Orientation orientation, const IsoBox& property, unsigned argument)
{
    constexpr std::array<Orientation, 8> orientations{1, 6, 3, 8, 2, 7, 4, 5};
    const auto place = std::ranges::find(orientations, orientation) - orientations.begin();
    auto turns = static_cast<unsigned>(place % 4);
    auto isReflected = static_cast<unsigned>(place / 4);
    if (property.type == "irot")
        turns += 4 - argument % 4; // states anticlockwise turns
    else if (property.type == "imir") {
        turns = (argument % 2 == 0 ? 6 : 4) - turns;
        isReflected = 1 - isReflected;
    }
    return orientations[isReflected * 4 + turns % 4];
}

} // namespace

/// The edits of a file. A number that does not fit is a failure of all.
class HeifContainer::Edits {
public:
    void put(std::vector<std::byte>& bytes, std::uint64_t number, std::size_t size)
    {
        if (size < 8 && number >> 8 * size != 0)
            fail(noRoom);
        appendNumber(bytes, number, size, ByteOrder::big);
    }

    void set(std::size_t place, std::size_t size, std::uint64_t number)
    {
        Splice splice{.begin = place, .end = place + size, .bytes = {}};
        put(splice.bytes, number, size);
        numbers_.push_back(std::move(splice));
    }

    void insert(std::size_t place, std::vector<std::byte> bytes)
    {
        insertions_.push_back({.begin = place, .end = place, .bytes = std::move(bytes)});
    }

    void grow(const IsoBox& box, std::size_t growth)
    {
        const bool isLarge = box.content - box.begin > 8;
        set(box.begin + (isLarge ? 8 : 0), isLarge ? 8 : 4, box.end - box.begin + growth);
    }

    void fail(std::string_view problem)
    {
        if (problem_.empty())
            problem_ = problem;
    }

    std::expected<std::vector<Splice>, Error> take()
    {
        if (!problem_.empty())
            return std::unexpected(Error{.localizedDescription = std::move(problem_)});
        std::ranges::move(numbers_, std::back_inserter(insertions_));
        return std::move(insertions_); // insertions precede a number at the same offset
    }

private:
    std::vector<Splice> insertions_;
    std::vector<Splice> numbers_;
    std::string problem_;
};

HeifContainer::HeifContainer(ByteView file) : ImageContainer(file)
{
    auto items = HeifItems::read(file);
    if (!items) {
        fail(std::move(items.error()));
        return;
    }
    items_ = std::move(*items);
    readProperties();
    exifItem_ = items_->exif();
    if (exifItem_)
        readExif();
}

void HeifContainer::readProperties()
{
    orientation_ = upright;
    for (const IsoBox& property : items_->primaryProperties()) {
        IsoNumbers numbers(file_, property.content, property.end);
        if (property.type == "ispe" && !size_ && property.end - property.content >= versionSize + 8) {
            numbers.next(versionSize);
            size_.emplace().width = static_cast<std::uint32_t>(numbers.next(4));
            size_->height = static_cast<std::uint32_t>(numbers.next(4));
        } else {
            orientation_ = transformed(*orientation_, property, static_cast<unsigned>(numbers.next(1)));
        }
    }
}

void HeifContainer::readExif()
{
    const auto contains = [&](const HeifReference& reference) {
        return reference.type == "iloc"
            && std::ranges::find(reference.to, exifItem_->id) != reference.to.end();
    };
    if (std::ranges::any_of(items_->references(), contains))
        fail("another item of the HEIF file contains its EXIF");
    if (exifItem_->isProtected)
        fail("the EXIF of the HEIF file is protected");
    auto content = items_->content(exifItem_->id);
    const auto begin = content ? exifBeginIn(*content) : std::nullopt;
    if (!begin) {
        fail("the EXIF of the picture is damaged");
        return;
    }
    content_ = std::move(*content);
    exif_ = ByteView(content_).subspan(*begin);
}

std::expected<std::vector<Splice>, Error> HeifContainer::replaceExif(const std::vector<Splice>& changes) const
{
    std::vector<std::byte> data(content_.begin(), content_.end() - static_cast<std::ptrdiff_t>(exif_.size()));
    if (data.empty())
        appendNumber(data, 0, 4, ByteOrder::big); // the offset of the TIFF structure
    append(data, changedExif(changes));

    Edits edits;
    const IsoBox* last = &items_->meta();
    for (const IsoBox& box : items_->fileBoxes()) {
        for (const std::string_view type : {"meta"sv, "mdat"sv, "imda"sv, "moov"sv, "moof"sv}) {
            if (box.type == type)
                last = &box;
        }
    }
    const bool isInside = last->isOpen && last->type == "mdat";
    if (last->isOpen && !isInside)
        edits.fail("the last box of the HEIF file has no size");
    const Place place{.offset = last->end, .headSize = isInside ? 0U : 8U, .size = data.size()};
    const std::size_t growth = exifItem_ ? 0 : addItem(edits, place);
    if (exifItem_)
        replaceLocation(edits, place);
    moveItems(edits, place, growth);

    std::vector<std::byte> box;
    if (!isInside) {
        edits.put(box, place.headSize + data.size(), 4);
        appendText(box, "mdat");
    }
    append(box, data);
    edits.insert(place.offset, std::move(box));
    return edits.take();
}

/// A number above all that the file uses.
std::uint32_t HeifContainer::freeId() const
{
    std::uint32_t most = items_->primary();
    for (const HeifItem& item : items_->items())
        most = std::max(most, item.id);
    for (const HeifLocation& location : items_->locations())
        most = std::max(most, location.id);
    for (const HeifReference& reference : items_->references()) {
        most = std::max(most, reference.from);
        for (const std::uint32_t id : reference.to)
            most = std::max(most, id);
    }
    // Groups of items are numbered with them.
    if (const IsoBox* groups = items_->box("grpl")) {
        for (const IsoBox& group : isoBoxes(file_, groups->content, groups->end)) {
            IsoNumbers numbers(file_, group.content, group.end);
            numbers.next(versionSize);
            most = std::max(most, static_cast<std::uint32_t>(numbers.next(4)));
        }
    }
    return most + 1;
}

std::vector<std::byte> HeifContainer::newEntry(Edits& edits, std::uint32_t id)
{
    constexpr std::uint64_t hidden = 1; // it is no picture
    const bool isLong = id > mostShort;
    std::vector<std::byte> entry;
    edits.put(entry, isLong ? 23 : 21, 4);
    appendText(entry, "infe");
    edits.put(entry, (isLong ? 3U : 2U) << 24U | hidden, versionSize);
    edits.put(entry, id, isLong ? 4 : 2);
    edits.put(entry, 0, 2); // not protected
    appendText(entry, "Exif\0"sv); // without a name
    return entry;
}

/// In a box of its own if the file has no references.
std::vector<std::byte> HeifContainer::newReference(Edits& edits, std::uint32_t id) const
{
    const IsoBox* references = items_->box("iref");
    const bool isLong
        = references ? items_->versionOf(*references) != 0 : std::max(id, items_->primary()) > mostShort;
    std::vector<std::byte> entry;
    if (!references) {
        edits.put(entry, isLong ? 30 : 26, 4);
        appendText(entry, "iref");
        edits.put(entry, isLong ? 1U << 24U : 0, versionSize);
    }
    edits.put(entry, isLong ? 18 : 14, 4);
    appendText(entry, "cdsc");
    edits.put(entry, id, isLong ? 4 : 2);
    edits.put(entry, 1, 2);
    edits.put(entry, items_->primary(), isLong ? 4 : 2);
    return entry;
}

/// One extent.
std::vector<std::byte> HeifContainer::newLocation(
    Edits& edits, std::uint32_t id, std::size_t begin, std::size_t size) const
{
    const unsigned version = items_->versionOf(*items_->box("iloc"));
    const bool hasOffsets = items_->offsetSize() != 0;
    std::vector<std::byte> entry;
    edits.put(entry, id, version < 2 ? 2 : 4);
    edits.put(entry, 0, version > 0 ? 2 : 0); // in the file
    edits.put(entry, 0, 2); // in this one
    edits.put(entry, hasOffsets ? 0 : begin, items_->baseSize());
    edits.put(entry, 1, 2);
    edits.put(entry, 0, items_->indexSize());
    edits.put(entry, hasOffsets ? begin : 0, items_->offsetSize());
    edits.put(entry, size, items_->lengthSize());
    return entry;
}

/// Returns the growth of meta.
std::size_t HeifContainer::addItem(Edits& edits, const Place& place) const
{
    const IsoBox& information = *items_->box("iinf");
    const IsoBox& locations = *items_->box("iloc");
    const IsoBox* references = items_->box("iref");
    const std::uint32_t id = freeId();
    if (id == 0)
        edits.fail(noRoom);

    std::vector<std::byte> entry = newEntry(edits, id);
    std::vector<std::byte> reference = newReference(edits, id);
    const std::size_t locationSize = newLocation(edits, id, 0, 0).size();
    const std::size_t growth = entry.size() + reference.size() + locationSize;
    const std::size_t begin = place.offset + growth + place.headSize;

    edits.set(information.content + versionSize, items_->versionOf(information) == 0 ? 2 : 4,
        items_->items().size() + 1);
    edits.set(locations.content + versionSize + 2, items_->versionOf(locations) < 2 ? 2 : 4,
        items_->locations().size() + 1);
    edits.grow(information, entry.size());
    edits.grow(locations, locationSize);
    if (references)
        edits.grow(*references, reference.size());
    edits.grow(items_->meta(), growth);
    edits.insert(information.end, std::move(entry));
    edits.insert(locations.end, newLocation(edits, id, begin, place.size));
    edits.insert(references ? references->end : items_->meta().end, std::move(reference));
    return growth;
}

/// All extents keep their lengths, but for the last.
void HeifContainer::replaceLocation(Edits& edits, const Place& place) const
{
    const HeifLocation& location = *items_->location(exifItem_->id);
    const bool hasOffsets = items_->offsetSize() != 0;
    std::size_t begin = place.offset + place.headSize;
    std::size_t left = place.size;
    if (location.origin != HeifOrigin::file)
        edits.set(location.originPlace, 2, 0);
    edits.set(location.basePlace, items_->baseSize(), hasOffsets ? 0 : begin);
    for (const HeifExtent& extent : location.extents) {
        const std::size_t length = &extent == &location.extents.back() ? left : extent.length;
        edits.set(extent.offsetPlace, items_->offsetSize(), hasOffsets ? begin : 0);
        edits.set(extent.lengthPlace, items_->lengthSize(), length);
        begin += length;
        left -= length;
    }
}

/// Corrects the places of all other items: behind meta by its growth, behind the new EXIF also by that.
void HeifContainer::moveItems(Edits& edits, const Place& place, std::size_t growth) const
{
    for (const IsoBox& box : items_->fileBoxes()) {
        for (const std::string_view type : {"moov"sv, "moof"sv, "mfra"sv, "sidx"sv, "meco"sv}) {
            if (box.type == type && growth != 0)
                edits.fail("the HEIF file contains a movie, whose parts would move");
        }
    }
    for (const HeifLocation& location : items_->locations()) {
        if ((exifItem_ && location.id == exifItem_->id) || location.origin != HeifOrigin::file)
            continue;
        for (const HeifExtent& extent : location.extents) {
            const std::uint64_t begin = location.base + extent.offset;
            const std::uint64_t end = begin + extent.length;
            const bool isInFile
                = begin >= location.base && extent.length != 0 && end > begin && end <= file_.size();
            if (location.isElsewhere || !isInFile)
                edits.fail("an item of the HEIF file exceeds it");
            std::size_t distance = 0;
            if (begin >= place.offset)
                distance = growth + place.headSize + place.size;
            else if (begin >= items_->meta().end && end <= place.offset)
                distance = growth;
            else if (end > items_->meta().begin)
                edits.fail("an item of the HEIF file is in parts that would move differently");
            if (distance != 0 && items_->offsetSize() != 0)
                edits.set(extent.offsetPlace, items_->offsetSize(), extent.offset + distance);
            else if (distance != 0)
                edits.set(location.basePlace, items_->baseSize(), location.base + distance);
        }
    }
}

} // namespace tamsel::formats
