#include <formats/pictureDataIsEqual.h>

#include <formats/TiffBlock.h>
#include <formats/exifTags.h>
#include <formats/heifItemsAreKept.h>
#include <formats/imageMetadata.h>
#include <formats/previewPointers.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace tamsel::formats {

namespace {

using namespace std::string_view_literals;

/// The content of a file without its EXIF.
struct Parts {
    std::vector<ByteView> kept;
    ByteView exif; ///< the TIFF structure
    ByteView pictures; ///< the list of a multi-picture file

    void keep(ByteView piece)
    {
        if (!kept.empty() && kept.back().data() + kept.back().size() == piece.data())
            kept.back() = {kept.back().data(), kept.back().size() + piece.size()};
        else
            kept.push_back(piece);
    }
};

/// Whether the pieces contain the same bytes, however they are divided.
bool holdTheSame(const std::vector<ByteView>& one, const std::vector<ByteView>& other)
{
    std::size_t oneIndex = 0, otherIndex = 0;
    ByteView first, second;
    while (true) {
        while (first.empty() && oneIndex < one.size())
            first = one[oneIndex++];
        while (second.empty() && otherIndex < other.size())
            second = other[otherIndex++];
        const std::size_t size = std::min(first.size(), second.size());
        if (size == 0)
            return first.empty() && second.empty();
        if (!areEqual(first.first(size), second.first(size)))
            return false;
        first = first.subspan(size);
        second = second.subspan(size);
    }
}

ByteView withoutName(ByteView exif)
{
    return holdsText(exif, 0, "Exif\0"sv) && exif.size() >= 6 ? exif.subspan(6) : exif;
}

Parts partsOfJpeg(ByteView file)
{
    Parts parts;
    std::size_t begin = 0;
    const auto leaveOut = [&](std::size_t from, std::size_t to) {
        parts.keep(file.subspan(begin, from - begin));
        begin = to;
    };
    for (std::size_t at = 2; holds(file, at, 4);) {
        const unsigned marker = number16(file, at, ByteOrder::big);
        if (marker <= 0xFF01 || marker == 0xFFFF) {
            ++at;
            continue;
        }
        if (marker == 0xFFDA || marker == 0xFFD9)
            break;
        if (marker >= 0xFFD0 && marker <= 0xFFD8) {
            at += 2;
            continue;
        }
        const std::size_t end = std::min(at + 2 + number16(file, at + 2, ByteOrder::big), file.size());
        const ByteView content = end - at > 4 ? file.subspan(at + 4, end - at - 4) : ByteView{};
        if (marker == 0xFFE1 && parts.exif.empty() && holdsText(content, 0, "Exif\0"sv)) {
            parts.exif = withoutName(content);
            leaveOut(at, end);
        } else if (marker == 0xFFE2 && parts.pictures.empty() && holdsText(content, 0, "MPF\0"sv)) {
            parts.pictures = content.subspan(4);
            leaveOut(at + 8, end);
        }
        at = end;
    }
    parts.keep(file.subspan(begin));
    return parts;
}

Parts partsOfPng(ByteView file)
{
    constexpr std::size_t aroundData = 12;
    Parts parts{.kept = {file.first(8)}, .exif = {}, .pictures = {}};
    std::size_t at = 8;
    while (holds(file, at, aroundData) && !holdsText(file, at + 4, "IEND"sv)) {
        const std::size_t length = number32(file, at, ByteOrder::big);
        if (!holds(file, at, aroundData + length))
            break;
        const ByteView data = file.subspan(at + 8, length);
        if (holdsText(file, at + 4, "eXIf"sv) && parts.exif.empty())
            parts.exif = withoutName(data);
        else if (!holdsText(data, 0, "Raw profile type exif\0"sv)
            && !holdsText(data, 0, "Raw profile type APP1\0"sv))
            parts.keep(file.subspan(at, aroundData + length));
        at += aroundData + length;
    }
    parts.keep(file.subspan(at));
    return parts;
}

Parts partsOfWebP(ByteView file)
{
    Parts parts;
    const std::size_t end = std::min<std::size_t>(file.size(), 8 + number32(file, 4, ByteOrder::little));
    std::size_t at = 12;
    while (at < end && holds(file, at, 8)) {
        const std::size_t length = number32(file, at + 4, ByteOrder::little);
        const ByteView chunk = file.subspan(at, std::min(8 + length, file.size() - at));
        const bool isExtended = holdsText(chunk, 0, "VP8X"sv) && at == 12;
        if (holdsText(chunk, 0, "EXIF"sv) && parts.exif.empty())
            parts.exif = withoutName(chunk.subspan(8));
        else if (!isExtended)
            parts.keep(chunk);
        at += chunk.size() + chunk.size() % 2;
    }
    if (end < file.size())
        parts.keep(file.subspan(end));
    return parts;
}

/// The list may differ in sizes and offsets of pictures only.
bool picturesAreEqual(ByteView before, ByteView after)
{
    constexpr std::size_t entrySize = 16;
    constexpr std::uint16_t pictureEntries = 0xB002;
    const auto block = TiffBlock::open(before);
    const TiffEntry* entry = block ? block->first().find(pictureEntries) : nullptr;
    const auto list = entry ? block->value(*entry) : std::nullopt;
    const std::size_t listBegin = list ? static_cast<std::size_t>(list->data() - before.data()) : 0;
    const std::size_t listEnd = list ? listBegin + list->size() : 0;
    if (before.size() != after.size())
        return false;
    for (std::size_t at = 0; at < before.size(); ++at) {
        const std::size_t inEntry = (at - listBegin) % entrySize;
        const bool mayDiffer = at >= listBegin && at < listEnd && inEntry >= 4 && inEntry < 12;
        if (!mayDiffer && before[at] != after[at])
            return false;
    }
    return true;
}

struct Span {
    std::size_t begin = 0;
    std::size_t end = 0;
};

/// The places where entries of the directories may have changed, and the offset of the first directory; in order.
std::vector<Span> placesOfEntries(const TiffBlock& block)
{
    std::vector<Span> result{{4, 8}};
    const auto add
        = [&](const TiffDirectory& directory) { result.push_back({directory.place + 2, directory.end()}); };
    add(block.first());
    for (const std::uint16_t tag : {tiffTag::exifDirectory, tiffTag::gpsDirectory}) {
        if (const auto directory = block.directoryOf(tag))
            add(*directory);
    }
    std::ranges::sort(result, {}, &Span::begin);
    return result;
}

bool isEditable(ExifGroup group, std::uint16_t tag)
{
    const auto tags = exifTags(group);
    return std::ranges::find(tags, tag, &ExifTag::tag) != tags.end()
        || (group == ExifGroup::tiff && (tag == tiffTag::exifDirectory || tag == tiffTag::gpsDirectory));
}

/// Whether every entry that is not a property still exists, in the same order.
bool entriesAreKept(ExifGroup group, const TiffBlock& before, const std::optional<TiffDirectory>& old,
    const TiffBlock& after, const std::optional<TiffDirectory>& anew)
{
    if (!old)
        return true;
    if (!anew || old->next != anew->next)
        return false;
    auto place = anew->entries.begin();
    for (const TiffEntry& entry : old->entries) {
        if (isEditable(group, entry.tag))
            continue;
        const ByteView raw = before.bytes().subspan(entry.place, TiffEntry::size);
        place = std::find_if(place, anew->entries.end(), [&](const TiffEntry& candidate) {
            return areEqual(raw, after.bytes().subspan(candidate.place, TiffEntry::size));
        });
        if (place == anew->entries.end())
            return false;
        ++place;
    }
    return true;
}

/// The differences within those places.
std::vector<Span> changesWithin(const std::vector<Span>& places, ByteView before, ByteView after)
{
    std::vector<Span> result;
    std::size_t at = 0;
    for (const Span& place : places) {
        for (at = std::max(at, place.begin); at < place.end; ++at) {
            if (before[at] == after[at])
                continue;
            if (result.empty() || result.back().end != at)
                result.push_back({at, at});
            result.back().end = at + 1;
        }
    }
    return result;
}

/// Whether no change is inside a thumbnail of any directory or, in a whole file, inside a strip or a tile: EXIF that
/// was copied from a TIFF file may still contain their offsets.
bool pictureIsKept(const TiffBlock& block, const std::vector<Span>& changes, bool isFile)
{
    constexpr std::array<std::pair<std::uint16_t, std::uint16_t>, 3> allOffsetsAndSizes{
        {{513, 514}, {273, 279}, {324, 325}}};
    const auto offsetsAndSizes = std::span(allOffsetsAndSizes).first(isFile ? 3 : 1);
    std::size_t left = 1 << 22; // a limit for pictures with more strips
    for (const TiffDirectory& directory : block.allDirectories()) {
        for (const auto& [offsetTag, sizeTag] : offsetsAndSizes) {
            const TiffEntry* offsetEntry = directory.find(offsetTag);
            const TiffEntry* sizeEntry = directory.find(sizeTag);
            if (!offsetEntry || !sizeEntry)
                continue;
            const auto offsets = block.numbers(*offsetEntry);
            const auto sizes = block.numbers(*sizeEntry);
            const std::size_t count = std::min(offsets.size(), sizes.size());
            if (count > left)
                return false;
            left -= count;
            for (std::size_t index = 0; index < count; ++index) {
                const std::size_t begin = offsets[index];
                if (!isFile && (begin < 8 || !holds(block.bytes(), begin, sizes[index])))
                    continue; // an invalid offset
                const auto change = std::ranges::upper_bound(changes, begin, {}, &Span::end);
                if (change != changes.end() && change->begin < begin + sizes[index])
                    return false;
            }
        }
    }
    return true;
}

bool tiffIsKept(ByteView before, ByteView after, bool isFile)
{
    const auto old = TiffBlock::open(before);
    const auto anew = TiffBlock::open(after);
    if (!old || !anew || after.size() < before.size())
        return areEqual(before, after);
    const std::vector<Span> places = placesOfEntries(*old);
    std::size_t at = 0;
    for (const Span& span : places) {
        if (span.begin > at
            && !areEqual(before.subspan(at, span.begin - at), after.subspan(at, span.begin - at)))
            return false;
        at = std::max(at, span.end);
    }
    return areEqual(before.subspan(at), after.subspan(at, before.size() - at))
        && pictureIsKept(*old, changesWithin(places, before, after), isFile)
        && entriesAreKept(ExifGroup::tiff, *old, old->first(), *anew, anew->first())
        && entriesAreKept(ExifGroup::exif, *old, old->directoryOf(tiffTag::exifDirectory), *anew,
            anew->directoryOf(tiffTag::exifDirectory))
        && entriesAreKept(ExifGroup::gps, *old, old->directoryOf(tiffTag::gpsDirectory), *anew,
            anew->directoryOf(tiffTag::gpsDirectory));
}

/// Whether the EXIF is unchanged, except for numbers that follow a preview behind it.
bool exifIsKept(ByteView file, ByteView before, ByteView after)
{
    std::vector<std::byte> restored(after.begin(), after.end());
    if (imageType(file) == "public.jpeg" && after.size() >= before.size()) {
        for (const PreviewPointer& pointer : previewPointers(file, before)) {
            if (number32(after, pointer.place, pointer.order)
                != pointer.offset + (after.size() - before.size()))
                return false;
            std::ranges::copy(before.subspan(pointer.place, 4),
                restored.begin() + static_cast<std::ptrdiff_t>(pointer.place));
        }
    }
    return tiffIsKept(before, restored, false);
}

bool heifIsKept(ByteView before, ByteView after)
{
    const auto old = HeifItems::read(before);
    const auto anew = HeifItems::read(after);
    if (areEqual(before, after) || !old || !anew)
        return areEqual(before, after);
    if (!heifItemsAreKept(before, *old, after, *anew))
        return false;
    if (!old->exif())
        return true;
    const auto oldContent = old->content(old->exif()->id);
    const auto content = anew->content(anew->exif()->id);
    const auto begin = oldContent ? exifBeginIn(*oldContent) : std::nullopt;
    if (!begin || !content || content->size() < oldContent->size())
        return false;
    const ByteView exif = ByteView(*oldContent).subspan(*begin);
    return areEqual(ByteView(*oldContent).first(*begin), ByteView(*content).first(*begin))
        && (exif.empty() || tiffIsKept(exif, ByteView(*content).subspan(*begin), false));
}

} // namespace

bool pictureDataIsEqual(ByteView before, ByteView after)
{
    const auto type = imageType(before);
    if (type != imageType(after))
        return false;
    if (type == "public.tiff")
        return tiffIsKept(before, after, true);
    if (type == "public.heic" || type == "public.avif")
        return heifIsKept(before, after);
    if (type != "public.jpeg" && type != "public.png" && type != "org.webmproject.webp")
        return areEqual(before, after);
    const auto partsOf = [&](ByteView file) {
        return type == "public.jpeg" ? partsOfJpeg(file)
            : type == "public.png"   ? partsOfPng(file)
                                     : partsOfWebP(file);
    };
    const Parts old = partsOf(before);
    const Parts anew = partsOf(after);
    return holdTheSame(old.kept, anew.kept) && picturesAreEqual(old.pictures, anew.pictures)
        && (old.exif.empty() || exifIsKept(before, old.exif, anew.exif));
}

} // namespace tamsel::formats
