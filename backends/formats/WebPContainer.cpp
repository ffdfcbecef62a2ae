#include <formats/WebPContainer.h>

#include <algorithm>
#include <limits>
#include <string_view>

namespace tamsel::formats {

using platform::Error;
using namespace std::string_view_literals;

namespace {

constexpr std::size_t riffHeadSize = 8;
constexpr std::size_t firstChunk = 12;
constexpr std::size_t headSize = 8;
constexpr std::size_t extendedSize = 10;
constexpr unsigned exifFlag = 0x08;
constexpr unsigned alphaFlag = 0x10;
constexpr std::string_view exifPrefix = "Exif\0\0"sv;

std::uint32_t number24(ByteView bytes, std::size_t at)
{
    return number16(bytes, at, ByteOrder::little) | std::to_integer<std::uint32_t>(bytes[at + 2]) << 16U;
}

} // namespace

WebPContainer::WebPContainer(ByteView file) : ImageContainer(file)
{
    const std::size_t stated = riffHeadSize + number32(file, 4, ByteOrder::little);
    const std::size_t end = std::min(stated, file.size());
    isCutOff_ = stated > file.size() + 1;
    std::size_t at = firstChunk;
    while (at < end) {
        const std::size_t length
            = holds(file, at, headSize) ? number32(file, at + 4, ByteOrder::little) : file.size();
        if (at + headSize + length > end) {
            isCutOff_ = true;
            if (holds(file, at, headSize))
                readPicture(
                    {reinterpret_cast<const char*>(file.data()) + at, 4}, file.subspan(at + headSize));
            break;
        }
        const std::size_t chunkEnd = at + headSize + length + length % 2;
        const Chunk chunk{at, std::min(chunkEnd, end), file.subspan(at + headSize, length)};
        readChunk({reinterpret_cast<const char*>(file.data()) + at, 4}, chunk);
        at = chunkEnd;
        isPaddingMissing_ = chunkEnd > end;
    }
    chunksEnd_ = std::min(at, end);
    if (!hasPicture_ || !size_)
        fail("the WebP file has no picture");
}

void WebPContainer::readChunk(std::string_view type, const Chunk& chunk)
{
    if (type == "VP8X" && chunk.begin == firstChunk && chunk.data.size() >= extendedSize) {
        extendedFlags_ = firstChunk + headSize;
        size_ = {.width = number24(chunk.data, 4) + 1, .height = number24(chunk.data, 7) + 1};
    } else if (type == "EXIF" && !exifChunk_) {
        exifChunk_ = chunk;
        exif_ = holdsText(chunk.data, 0, exifPrefix) ? chunk.data.subspan(exifPrefix.size()) : chunk.data;
        prefixSize_ = chunk.data.size() - exif_.size();
        if (exif_.empty())
            fail("the EXIF of the picture is damaged");
    } else if (type == "XMP " && !xmpBegin_) {
        xmpBegin_ = chunk.begin;
    } else {
        readPicture(type, chunk.data);
    }
}

void WebPContainer::readPicture(std::string_view type, ByteView data)
{
    if (type != "VP8 " && type != "VP8L" && type != "ANMF")
        return;
    hasPicture_ = true;
    if (size_)
        return;
    constexpr std::uint32_t sizeMask = 0x3FFF;
    if (type == "VP8 " && holdsText(data, 3, "\x9D\x01\x2A") && holds(data, 6, 4)) {
        size_ = {.width = number16(data, 6, ByteOrder::little) & sizeMask,
            .height = number16(data, 8, ByteOrder::little) & sizeMask};
    } else if (type == "VP8L" && holdsText(data, 0, "\x2F") && holds(data, 1, 4)) {
        const std::uint32_t head = number32(data, 1, ByteOrder::little);
        size_ = {.width = (head & sizeMask) + 1, .height = (head >> 14U & sizeMask) + 1};
        hasAlpha_ = (head >> 28U & 1U) != 0;
    }
    if (size_ && (size_->width == 0 || size_->height == 0))
        size_.reset();
}

void WebPContainer::extend(std::vector<Splice>& changes) const
{
    if (extendedFlags_) {
        const std::byte flags = file_[*extendedFlags_] | std::byte{exifFlag};
        changes.push_back({*extendedFlags_, *extendedFlags_ + 1, {flags}});
        return;
    }
    Splice head{.begin = firstChunk, .end = firstChunk, .bytes = {}};
    appendText(head.bytes, "VP8X");
    appendNumber(head.bytes, extendedSize, 4, ByteOrder::little);
    appendNumber(head.bytes, exifFlag | (hasAlpha_ ? alphaFlag : 0U), 4, ByteOrder::little);
    appendNumber(head.bytes, size_->width - 1, 3, ByteOrder::little);
    appendNumber(head.bytes, size_->height - 1, 3, ByteOrder::little);
    changes.push_back(std::move(head));
}

std::expected<std::vector<Splice>, Error> WebPContainer::replaceExif(const std::vector<Splice>& changes) const
{
    if (!exifChunk_ && !xmpBegin_ && isCutOff_)
        return std::unexpected(Error{.localizedDescription = "the WebP file is truncated before its EXIF"});
    std::vector<std::byte> data;
    if (exifChunk_)
        append(data, exifChunk_->data.first(prefixSize_));
    append(data, changedExif(changes));

    const std::size_t place = xmpBegin_.value_or(chunksEnd_);
    Splice chunk{.begin = exifChunk_ ? exifChunk_->begin : place,
        .end = exifChunk_ ? exifChunk_->end : place,
        .bytes = {}};
    if (!exifChunk_ && !xmpBegin_ && isPaddingMissing_)
        chunk.bytes.push_back({});
    appendText(chunk.bytes, "EXIF");
    appendNumber(chunk.bytes, data.size(), 4, ByteOrder::little);
    append(chunk.bytes, data);
    if (data.size() % 2 != 0)
        chunk.bytes.push_back({});

    std::vector<Splice> result;
    extend(result);
    result.push_back(std::move(chunk));
    std::uint64_t riffSize = number32(file_, 4, ByteOrder::little);
    if (!isCutOff_) // the size may count a missing padding byte
        riffSize = std::min<std::uint64_t>(riffSize, file_.size() - riffHeadSize);
    for (const Splice& change : result)
        riffSize += change.bytes.size() - (change.end - change.begin);
    if (riffSize > std::numeric_limits<std::uint32_t>::max() - 10)
        return std::unexpected(Error{.localizedDescription = "the WebP file would exceed 4 GiB"});
    Splice size{.begin = 4, .end = riffHeadSize, .bytes = {}};
    appendNumber(size.bytes, riffSize, 4, ByteOrder::little);
    result.push_back(std::move(size));
    return result;
}

} // namespace tamsel::formats
