#include <formats/exifProperties.h>

#include <formats/TiffEditor.h>
#include <formats/exifTags.h>
#include <formats/exifValues.h>

#include <algorithm>
#include <array>
#include <limits>

namespace tamsel::formats {

using platform::Error;
using platform::PropertyDictionary;
using platform::PropertyValue;

namespace {

constexpr std::uint16_t exifVersion = 0x9000;
constexpr std::uint16_t componentsConfiguration = 0x9101;
constexpr std::uint16_t flashpixVersion = 0xA000;
constexpr std::uint16_t gpsVersion = 0x0000;

struct Group {
    ExifGroup group{};
    std::string_view dictionary;
    std::uint16_t pointer = 0; ///< the entry of the first directory; 0 for the first directory itself
};

constexpr std::array<Group, 3> groups{{
    {ExifGroup::tiff, platform::kCGImagePropertyTIFFDictionary, 0},
    {ExifGroup::exif, platform::kCGImagePropertyExifDictionary, tiffTag::exifDirectory},
    {ExifGroup::gps, platform::kCGImagePropertyGPSDictionary, tiffTag::gpsDirectory},
}};

std::optional<TiffDirectory> directoryOf(const TiffBlock& block, const Group& group)
{
    return group.pointer == 0 ? std::optional(block.first()) : block.directoryOf(group.pointer);
}

std::optional<PropertyValue> ownValue(
    const TiffBlock& block, const TiffDirectory& directory, const ExifTag& tag)
{
    const TiffEntry* entry = directory.find(tag.tag);
    return entry ? readValue(tag, block, *entry) : std::nullopt;
}

} // namespace

PropertyDictionary readExif(const TiffBlock& block)
{
    PropertyDictionary result;
    for (const Group& group : groups) {
        const auto directory = directoryOf(block, group);
        PropertyDictionary entries;
        for (const ExifTag& tag : exifTags(group.group)) {
            if (auto value = directory ? ownValue(block, *directory, tag) : std::nullopt)
                entries.set(tag.name, std::move(*value));
        }
        const PropertyValue* orientation = entries.find(platform::kCGImagePropertyTIFFOrientation);
        if (const std::int64_t* number = orientation ? orientation->integer() : nullptr;
            number && *number >= 1 && *number <= 8)
            result.set(platform::kCGImagePropertyOrientation, *number);
        if (!entries.empty())
            result.set(group.dictionary, std::move(entries));
    }
    return result;
}

namespace {

/// The given entries of a dictionary; the orientation at the top belongs to TIFF.
PropertyDictionary entriesFor(
    const Group& group, const PropertyDictionary& properties, const PropertyDictionary& own)
{
    const PropertyDictionary* given = properties.findDictionary(group.dictionary);
    PropertyDictionary result = given ? *given : PropertyDictionary{};
    if (group.group != ExifGroup::tiff)
        return result;
    const PropertyValue* orientation = properties.find(platform::kCGImagePropertyOrientation);
    const PropertyValue* ownOrientation = own.find(platform::kCGImagePropertyOrientation);
    const std::int64_t* number = orientation ? orientation->integer() : nullptr;
    const bool isOrientation = number && *number >= 1 && *number <= 8;
    if (isOrientation && (!ownOrientation || *ownOrientation != *orientation))
        result.set(platform::kCGImagePropertyTIFFOrientation, *orientation);
    return result;
}

void setEntries(TiffDirectoryEditor& editor, const TiffBlock& block, const Group& group,
    const PropertyDictionary& entries, NewExif newExif)
{
    const TiffDirectory none;
    for (const auto& [key, value] : entries) {
        const auto tag = std::ranges::find(exifTags(group.group), key, &ExifTag::name);
        if (tag == exifTags(group.group).end())
            continue;
        const auto taken = valueFor(*tag, value);
        const auto own = ownValue(block, editor.directory() ? *editor.directory() : none, *tag);
        if (taken && (!own || (*own != value && *own != *taken)))
            editor.set(tag->tag, encodeValue(*tag, *taken, block.order()));
    }
    if (editor.directory() || !editor.isChanged())
        return;
    const auto add = [&](std::uint16_t tag, TiffType type, std::array<unsigned char, 4> bytes) {
        if (editor.has(tag))
            return;
        const auto view = std::as_bytes(std::span(bytes));
        editor.set(tag, {.type = type, .count = 4, .bytes = {view.begin(), view.end()}});
    };
    if (group.group == ExifGroup::gps)
        add(gpsVersion, TiffType::byte, {2, 3, 0, 0});
    else if (group.group == ExifGroup::exif)
        add(exifVersion, TiffType::undefined, {'0', '2', '3', '2'});
    if (group.group == ExifGroup::exif && newExif == NewExif::colourJpeg)
        add(componentsConfiguration, TiffType::undefined, {1, 2, 3, 0});
    if (group.group == ExifGroup::exif && newExif != NewExif::plain)
        add(flashpixVersion, TiffType::undefined, {'0', '1', '0', '0'});
}

bool overlap(const std::optional<TiffDirectory>& one, const std::optional<TiffDirectory>& other)
{
    return one && other && one->place < other->end() && other->place < one->end();
}

/// Where new bytes begin: at an even offset, and not where the last directory lacks the offset of the next one, or it
/// would be read from them.
std::size_t endOf(const TiffBlock& block)
{
    std::size_t end = block.bytes().size();
    for (const TiffDirectory& directory : block.allDirectories()) {
        if (!directory.hasNext)
            end = std::max(end, directory.end() + 4);
    }
    return end + end % 2;
}

} // namespace

std::expected<std::vector<Splice>, Error> changesOfExif(
    const TiffBlock& block, const PropertyDictionary& properties, NewExif newExif)
{
    const PropertyDictionary own = readExif(block);
    std::vector<TiffDirectoryEditor> editors;
    for (const Group& group : groups) {
        TiffDirectoryEditor& editor = editors.emplace_back(block, directoryOf(block, group));
        setEntries(editor, block, group, entriesFor(group, properties, own), newExif);
        if (editor.isChanged() && !editor.directory() && block.first().find(group.pointer))
            return std::unexpected(Error{.localizedDescription = "a directory of the EXIF is damaged"});
    }
    std::vector<Splice> changes;
    TiffDirectoryEditor& first = editors[0];
    for (std::size_t index = 1; index < groups.size(); ++index) {
        if (editors[index].isMoved())
            first.setPointer(groups[index].pointer, 0); // the offset is unknown until the sizes are known
    }
    if (std::ranges::none_of(editors, &TiffDirectoryEditor::isChanged))
        return changes;
    if (overlap(editors[0].directory(), editors[1].directory())
        || overlap(editors[0].directory(), editors[2].directory())
        || overlap(editors[1].directory(), editors[2].directory()))
        return std::unexpected(Error{.localizedDescription = "directories of the EXIF overlap"});

    const std::size_t base = endOf(block);
    std::vector<std::size_t> bases;
    std::size_t end = base;
    for (const TiffDirectoryEditor& editor : editors) {
        bases.push_back(end);
        end += editor.addedSize();
    }
    if (end > std::numeric_limits<std::uint32_t>::max())
        return std::unexpected(Error{.localizedDescription = "a TIFF structure would exceed 4 GiB"});
    for (std::size_t index = 1; index < groups.size(); ++index) {
        if (editors[index].isMoved())
            first.setPointer(groups[index].pointer, bases[index]);
    }
    std::vector<std::byte> added;
    for (std::size_t index = 0; index < groups.size(); ++index)
        editors[index].write(bases[index], changes, added);
    if (first.isMoved()) {
        changes.push_back({.begin = 4, .end = 8, .bytes = {}});
        appendNumber(changes.back().bytes, bases[0], 4, block.order());
    }
    if (added.empty())
        return changes;
    Splice tail{.begin = block.bytes().size(), .end = block.bytes().size(), .bytes = {}};
    tail.bytes.resize(base - block.bytes().size());
    append(tail.bytes, added);
    changes.push_back(std::move(tail));
    return changes;
}

} // namespace tamsel::formats
