#include <formats/TiffHazards.h>

#include <algorithm>
#include <array>
#include <utility>

namespace tamsel::formats {

namespace {

constexpr std::pair<std::uint16_t, std::uint16_t> thumbnail{513, 514}; // offset and size
constexpr std::array<std::pair<std::uint16_t, std::uint16_t>, 2> stripsAndTiles{{{273, 279}, {324, 325}}};

class Hazards {
public:
    Hazards(const TiffBlock& block, std::size_t newEnd, bool isFile)
        : block_(block),
          newEnd_(newEnd),
          isFile_(isFile)
    {
    }

    [[nodiscard]] bool inDirectory(const TiffDirectory& directory) const
    {
        if (wouldBegin(directory.next) || inPair(directory, thumbnail))
            return true;
        if (isFile_
            && std::ranges::any_of(stripsAndTiles, [&](auto tags) { return inPair(directory, tags); }))
            return true;
        return std::ranges::any_of(directory.entries, [&](const TiffEntry& entry) {
            return inEntry(entry) || (isDirectoryPointer(entry.tag) && inPointers(entry));
        });
    }

    [[nodiscard]] bool pointsAtFirst(const TiffDirectory& directory) const
    {
        const std::size_t first = block_.first().place;
        return directory.next == first || std::ranges::any_of(directory.entries, [&](const TiffEntry& entry) {
            const auto places
                = isDirectoryPointer(entry.tag) ? block_.numbers(entry) : std::vector<std::uint32_t>{};
            return std::ranges::find(places, first) != places.end();
        });
    }

private:
    /// A range that the new bytes would complete or, if parts count, extend.
    [[nodiscard]] bool wouldChange(std::uint64_t begin, std::uint64_t size, bool doesPartCount) const
    {
        const std::uint64_t end = begin + size;
        return size > 0 && begin < newEnd_ && end > block_.bytes().size()
            && (doesPartCount || end <= newEnd_);
    }
    /// An offset without a directory, where new bytes could form one.
    [[nodiscard]] bool wouldBegin(std::uint32_t place) const
    {
        return place >= 8 && place < newEnd_ && !block_.directory(place);
    }
    [[nodiscard]] bool inPair(
        const TiffDirectory& directory, std::pair<std::uint16_t, std::uint16_t> tags) const
    {
        const TiffEntry* offsetEntry = directory.find(tags.first);
        const TiffEntry* sizeEntry = directory.find(tags.second);
        if (!offsetEntry || !sizeEntry)
            return false;
        const auto offsets = block_.numbers(*offsetEntry);
        const auto sizes = block_.numbers(*sizeEntry);
        for (std::size_t index = 0; index < std::min(offsets.size(), sizes.size()); ++index) {
            const bool isNone = !isFile_ && offsets[index] < 8; // the header is not a thumbnail
            if (!isNone && wouldChange(offsets[index], sizes[index], isFile_))
                return true;
        }
        return false;
    }
    [[nodiscard]] bool inEntry(const TiffEntry& entry) const
    {
        const std::uint64_t size = std::uint64_t{entry.count} * sizeOf(entry.type);
        return size > 4
            && wouldChange(number32(block_.bytes(), entry.place + 8, block_.order()), size, isFile_);
    }
    [[nodiscard]] bool inPointers(const TiffEntry& entry) const
    {
        return std::ranges::any_of(
            block_.numbers(entry), [this](std::uint32_t place) { return wouldBegin(place); });
    }

    const TiffBlock& block_;
    const std::size_t newEnd_;
    const bool isFile_;
};

} // namespace

std::optional<std::string> hazardOf(const TiffBlock& block, const std::vector<Splice>& changes, bool isFile)
{
    std::size_t newEnd = block.bytes().size();
    bool isFirstMoved = false;
    for (const Splice& change : changes) {
        newEnd += change.bytes.size() - (change.end - change.begin);
        isFirstMoved = isFirstMoved || change.begin == 4;
    }
    const Hazards hazards(block, newEnd, isFile);
    for (const TiffDirectory& directory : block.allDirectories()) {
        if (newEnd > block.bytes().size() && hazards.inDirectory(directory))
            return isFile ? "the TIFF file is truncated" : "the EXIF is damaged: it reaches beyond its end";
        if (isFirstMoved && hazards.pointsAtFirst(directory))
            return "directories of the EXIF form a loop";
    }
    return std::nullopt;
}

} // namespace tamsel::formats
