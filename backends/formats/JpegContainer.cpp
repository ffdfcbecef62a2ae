#include <formats/JpegContainer.h>

#include <formats/previewPointers.h>

#include <algorithm>
#include <string_view>

namespace tamsel::formats {

using platform::Error;
using namespace std::string_view_literals;

namespace {

constexpr unsigned endOfImage = 0xD9;
constexpr unsigned startOfScan = 0xDA;
constexpr unsigned application0 = 0xE0;
constexpr unsigned application1 = 0xE1;
constexpr unsigned application2 = 0xE2;
constexpr std::size_t headSize = 4; // marker and length
constexpr std::size_t longestSegment = 0xFFFF; // without its marker
constexpr std::string_view exifName = "Exif\0"sv; // then one byte, usually 0
constexpr std::size_t exifNameSize = 6;
constexpr std::string_view picturesName = "MPF\0"sv; // CIPA DC-007, multi-picture format
constexpr std::uint16_t pictureEntries = 0xB002;
constexpr std::size_t pictureEntrySize = 16;

bool hasNoLength(unsigned marker)
{
    return marker == 0x01 || (marker >= 0xD0 && marker <= endOfImage);
}

bool isFrame(unsigned marker)
{
    return marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}

} // namespace

JpegContainer::JpegContainer(ByteView file) : ImageContainer(file)
{
    std::size_t at = 2;
    while (true) {
        const auto byteAt = [&](std::size_t place) { return std::to_integer<unsigned>(file[place]); };
        // Bytes before a marker are skipped, as decoders do.
        while (holds(file, at, 2) && (byteAt(at) != 0xFF || byteAt(at + 1) == 0 || byteAt(at + 1) == 0xFF))
            ++at;
        if (!holds(file, at, 2) || byteAt(at + 1) == endOfImage) {
            fail("the JPEG file ends before its picture");
            return;
        }
        Segment segment{.marker = byteAt(at + 1), .begin = at, .end = at + 2};
        if (hasNoLength(segment.marker)) {
            at = segment.end;
            continue;
        }
        const std::size_t length = holds(file, at, headSize) ? number16(file, at + 2, ByteOrder::big) : 0;
        if (length < 2 || !holds(file, at + 2, length)) {
            fail("a segment of the JPEG file is damaged");
            return;
        }
        segment.end += length;
        if (segment.marker == startOfScan)
            break;
        readSegment(segment);
        at = segment.end;
    }
    if (!size_)
        fail("the JPEG file has no frame");
}

void JpegContainer::readSegment(const Segment& segment)
{
    const std::size_t content = segment.begin + headSize;
    const ByteView inside = file_.first(segment.end);
    const bool isJfif = segment.marker == application0
        && (holdsText(inside, content, "JFIF\0"sv) || holdsText(inside, content, "JFXX\0"sv));
    isBeforeExif_ = isBeforeExif_ && isJfif;
    if (isBeforeExif_)
        newExifPlace_ = segment.end;
    else if (segment.marker == application1 && holdsText(inside, content, exifName)
        && holds(inside, content, exifNameSize))
        readExif(segment);
    else if (segment.marker == application2 && !picturesSegment_ && holdsText(inside, content, picturesName))
        picturesSegment_ = segment;
    else if (isFrame(segment.marker) && !size_)
        readFrame(segment);
}

void JpegContainer::readExif(const Segment& segment)
{
    const ByteView block = file_.first(segment.end).subspan(segment.begin + headSize + exifNameSize);
    if (exifSegment_) {
        // A segment with a header of its own is another EXIF, which is not changed.
        if (!hasTiffHeader(block))
            fail("the EXIF of the JPEG file is spread over several segments");
        return;
    }
    exifSegment_ = segment;
    exif_ = block;
}

void JpegContainer::readFrame(const Segment& segment)
{
    constexpr std::size_t leastSize = headSize + 6;
    if (segment.end - segment.begin < leastSize)
        return;
    size_ = {.width = number16(file_, segment.begin + 7, ByteOrder::big),
        .height = number16(file_, segment.begin + 5, ByteOrder::big)};
    newExif_ = std::to_integer<int>(file_[segment.begin + 9]) == 3 ? NewExif::colourJpeg : NewExif::jpeg;
}

std::expected<std::vector<Splice>, Error> JpegContainer::replaceExif(const std::vector<Splice>& changes) const
{
    std::vector<std::byte> block = changedExif(changes);
    if (exifSegment_)
        followPreviews(block);
    const std::size_t length = 2 + exifNameSize + block.size();
    if (length > longestSegment)
        return std::unexpected(Error{.localizedDescription = "the EXIF segment has no room for "
                + std::to_string(length - longestSegment) + " of the new bytes"});

    const Segment place = exifSegment_.value_or(Segment{.begin = newExifPlace_, .end = newExifPlace_});
    Splice segment{.begin = place.begin, .end = place.end, .bytes = {}};
    segment.bytes.reserve(2 + length);
    appendNumber(segment.bytes, 0xFF00U | application1, 2, ByteOrder::big);
    appendNumber(segment.bytes, length, 2, ByteOrder::big);
    if (exifSegment_)
        append(segment.bytes, file_.subspan(place.begin + headSize, exifNameSize));
    else
        appendText(segment.bytes, "Exif\0\0"sv);
    append(segment.bytes, block);

    const auto growth = static_cast<std::ptrdiff_t>(segment.bytes.size() - (place.end - place.begin));
    std::vector<Splice> result;
    result.push_back(std::move(segment));
    followPictures(place.begin, growth, result);
    return result;
}

/// Everything behind the EXIF moves by its growth.
void JpegContainer::followPreviews(std::vector<std::byte>& block) const
{
    const std::size_t growth = block.size() - exif_.size();
    for (const PreviewPointer& pointer : previewPointers(file_, exif_)) {
        std::vector<std::byte> number;
        appendNumber(number, pointer.offset + growth, 4, pointer.order);
        std::ranges::copy(number, block.begin() + static_cast<std::ptrdiff_t>(pointer.place));
    }
}

/// A multi-picture file states the size of its first picture, and the offsets of the others from its own list.
void JpegContainer::followPictures(
    std::size_t exifBegin, std::ptrdiff_t growth, std::vector<Splice>& changes) const
{
    if (!picturesSegment_)
        return;
    const std::size_t blockBegin = picturesSegment_->begin + headSize + picturesName.size();
    const auto block = TiffBlock::open(file_.first(picturesSegment_->end).subspan(blockBegin));
    const TiffEntry* entry = block ? block->first().find(pictureEntries) : nullptr;
    const auto list = entry ? block->value(*entry) : std::nullopt;
    if (!list)
        return;
    const auto listBegin = static_cast<std::size_t>(list->data() - file_.data());
    const auto change = [&](std::size_t at, std::uint32_t number) {
        Splice splice{.begin = listBegin + at, .end = listBegin + at + 4, .bytes = {}};
        appendNumber(splice.bytes, number + static_cast<std::uint64_t>(growth), 4, block->order());
        changes.push_back(std::move(splice));
    };
    for (std::size_t at = 0; at + pictureEntrySize <= list->size(); at += pictureEntrySize) {
        const std::uint32_t size = number32(*list, at + 4, block->order());
        const std::uint32_t offset = number32(*list, at + 8, block->order());
        // The first picture has no offset: it is at the start of the file.
        if (offset == 0 && at == 0)
            change(at + 4, size);
        else if (offset != 0 && exifBegin > picturesSegment_->begin)
            change(at + 8, offset);
    }
}

} // namespace tamsel::formats
