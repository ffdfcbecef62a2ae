#include <formats/heifItemsAreKept.h>

#include <algorithm>
#include <optional>
#include <vector>

namespace tamsel::formats {

namespace {

/// Bytes that are equal in both files.
struct Piece {
    std::size_t begin = 0;
    std::size_t end = 0;
    std::size_t place = 0; ///< of the first one in the other file
};

ByteView bytesOf(ByteView file, const IsoBox& box)
{
    return file.subspan(box.begin, box.end - box.begin);
}

/// The boxes of the file but meta; absent if more than an additional mdat differs.
std::optional<std::vector<Piece>> keptPieces(
    ByteView before, const HeifItems& old, ByteView after, const HeifItems& anew)
{
    std::vector<Piece> result;
    const auto add = [&](const Piece& piece) {
        Piece* last = result.empty() ? nullptr : &result.back();
        if (last && piece.begin == last->end && piece.place - last->place == piece.begin - last->begin)
            last->end = piece.end;
        else
            result.push_back(piece);
    };
    bool isAdded = false;
    auto other = anew.fileBoxes().begin();
    const auto end = anew.fileBoxes().end();
    for (const IsoBox& box : old.fileBoxes()) {
        const auto matches = [&] {
            if (other == end || other->type != box.type || other->isOpen != box.isOpen)
                return false;
            if (box.begin == old.meta().begin)
                return other->begin == anew.meta().begin;
            const std::size_t size = box.end - box.begin;
            const std::size_t otherSize = other->end - other->begin;
            return (box.isOpen ? otherSize >= size : otherSize == size)
                && areEqual(bytesOf(before, box), after.subspan(other->begin, size));
        };
        bool isKept = matches();
        if (!isKept && other != end && !isAdded && other->type == "mdat") {
            isAdded = true;
            ++other;
            isKept = matches();
        }
        if (!isKept)
            return std::nullopt;
        if (box.begin != old.meta().begin)
            add({box.begin, box.end, other->begin});
        ++other;
    }
    if (other != end && !isAdded && other->type == "mdat")
        ++other;
    const ByteView trailer = before.subspan(old.fileBoxes().back().end);
    if (other != end || !areEqual(trailer, after.subspan(anew.fileBoxes().back().end)))
        return std::nullopt;
    if (!trailer.empty())
        add({before.size() - trailer.size(), before.size(), after.size() - trailer.size()});
    return result;
}

/// Whether the entries of a box in meta are the same, with or without one more of that type behind them.
bool entriesAreKept(ByteView before, const IsoBox* old, ByteView after, const IsoBox* anew,
    std::size_t headSize, std::string_view added)
{
    if (!anew || (old && !areEqual(before.subspan(old->content, 4), after.subspan(anew->content, 4))))
        return !anew && !old;
    const auto entriesIn = [&](ByteView file, const IsoBox* box) {
        return box ? isoBoxes(file, box->content + headSize, box->end) : std::vector<IsoBox>{};
    };
    const std::vector<IsoBox> entries = entriesIn(before, old);
    const std::vector<IsoBox> others = entriesIn(after, anew);
    for (std::size_t index = 0; index < others.size(); ++index) {
        if (index < entries.size() ? !areEqual(bytesOf(before, entries[index]), bytesOf(after, others[index]))
                                   : others[index].type != added)
            return false;
    }
    return others.size() == entries.size() || others.size() == entries.size() + 1;
}

/// Whether all boxes in meta but those three are the same.
bool otherBoxesAreKept(ByteView before, const HeifItems& old, ByteView after, const HeifItems& anew)
{
    const auto othersIn = [](ByteView file, const HeifItems& items) {
        std::vector<std::byte> result;
        for (const IsoBox& box : items.boxes()) {
            if (&box == items.box("iinf") || &box == items.box("iloc") || &box == items.box("iref"))
                continue;
            append(result, bytesOf(file, box));
        }
        return result;
    };
    return othersIn(before, old) == othersIn(after, anew)
        && areEqual(before.subspan(old.meta().content, 4), after.subspan(anew.meta().content, 4));
}

bool locationIsKept(const HeifLocation& old, const HeifLocation& anew, const std::vector<Piece>& pieces)
{
    if (old.id != anew.id || old.origin != anew.origin || old.isElsewhere || anew.isElsewhere
        || old.extents.size() != anew.extents.size())
        return false;
    for (std::size_t index = 0; index < old.extents.size(); ++index) {
        const std::uint64_t length = old.extents[index].length;
        const std::uint64_t begin = old.base + old.extents[index].offset;
        std::uint64_t expected = begin;
        if (old.origin == HeifOrigin::file) {
            const auto piece = std::ranges::upper_bound(pieces, begin, {}, &Piece::end);
            if (piece == pieces.end() || begin < piece->begin || length > piece->end - begin)
                return false;
            expected = piece->place + (begin - piece->begin);
        }
        if (anew.extents[index].length != length || anew.base + anew.extents[index].offset != expected)
            return false;
    }
    return true;
}

} // namespace

bool heifItemsAreKept(ByteView before, const HeifItems& old, ByteView after, const HeifItems& anew)
{
    const auto pieces = keptPieces(before, old, after, anew);
    const std::size_t informationHead = old.versionOf(*old.box("iinf")) == 0 ? 6 : 8;
    if (!pieces || !otherBoxesAreKept(before, old, after, anew)
        || !entriesAreKept(before, old.box("iinf"), after, anew.box("iinf"), informationHead, "infe")
        || !entriesAreKept(before, old.box("iref"), after, anew.box("iref"), 4, "cdsc"))
        return false;
    const HeifItem* oldExif = old.exif();
    const HeifItem* exif = anew.exif();
    const std::size_t added = oldExif ? 0 : 1;
    if (!exif || (oldExif && oldExif->id != exif->id) || anew.items().size() != old.items().size() + added
        || anew.locations().size() != old.locations().size() + added)
        return false;
    for (std::size_t index = 0; index < old.locations().size(); ++index) {
        const HeifLocation& location = old.locations()[index];
        const HeifLocation& other = anew.locations()[index];
        if (location.id == exif->id ? !oldExif || other.id != exif->id
                                    : !locationIsKept(location, other, *pieces))
            return false;
    }
    return true;
}

} // namespace tamsel::formats
