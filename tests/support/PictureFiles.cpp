#include "support/PictureFiles.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace tamsel::tests {

using formats::ByteOrder;
using formats::TiffType;

Bytes bytesOf(std::string_view text)
{
    const auto view = std::as_bytes(std::span(text));
    return {view.begin(), view.end()};
}

Bytes join(const std::vector<Bytes>& parts)
{
    Bytes result;
    for (const Bytes& part : parts)
        formats::append(result, part);
    return result;
}

std::size_t placeOf(const Bytes& file, std::string_view text)
{
    const Bytes sought = bytesOf(text);
    const auto found = std::ranges::search(file, sought);
    EXPECT_FALSE(found.empty()) << "no '" << text << "'";
    return static_cast<std::size_t>(found.begin() - file.begin());
}

TiffBuilder::TiffBuilder(ByteOrder order) : order_(order)
{
    bytes_ = bytesOf(order == ByteOrder::little ? "II" : "MM");
    formats::appendNumber(bytes_, 42, 2, order);
    bytes_.resize(8);
}

Bytes TiffBuilder::numbers(const std::vector<std::uint32_t>& values, std::size_t size) const
{
    Bytes result;
    for (const std::uint32_t value : values)
        formats::appendNumber(result, value, size, order_);
    return result;
}

TiffBuilder::Entry TiffBuilder::text(std::uint16_t tag, std::string_view text) const
{
    Bytes value = bytesOf(text);
    value.push_back({});
    return {tag, TiffType::ascii, static_cast<std::uint32_t>(value.size()), value};
}

TiffBuilder::Entry TiffBuilder::shortInteger(std::uint16_t tag, std::uint32_t value) const
{
    return {tag, TiffType::shortInteger, 1, numbers({value}, 2)};
}

TiffBuilder::Entry TiffBuilder::longInteger(std::uint16_t tag, std::size_t value) const
{
    return {tag, TiffType::longInteger, 1, numbers({static_cast<std::uint32_t>(value)})};
}

TiffBuilder::Entry TiffBuilder::rationals(std::uint16_t tag, const std::vector<std::uint32_t>& values) const
{
    return {tag, TiffType::rational, static_cast<std::uint32_t>(values.size() / 2), numbers(values)};
}

std::size_t TiffBuilder::add(const Bytes& bytes)
{
    bytes_.resize(bytes_.size() + bytes_.size() % 2);
    const std::size_t place = bytes_.size();
    formats::append(bytes_, bytes);
    return place;
}

std::size_t TiffBuilder::addDirectory(const std::vector<Entry>& entries, std::size_t next)
{
    Bytes directory;
    formats::appendNumber(directory, entries.size(), 2, order_);
    for (const Entry& entry : entries) {
        formats::appendNumber(directory, entry.tag, 2, order_);
        formats::appendNumber(directory, static_cast<std::uint64_t>(entry.type), 2, order_);
        formats::appendNumber(directory, entry.count, 4, order_);
        if (entry.value.size() > 4) {
            formats::appendNumber(directory, add(entry.value), 4, order_);
        } else {
            formats::append(directory, entry.value);
            directory.resize(directory.size() + 4 - entry.value.size());
        }
    }
    formats::appendNumber(directory, next, 4, order_);
    return add(directory);
}

Bytes TiffBuilder::finish(std::size_t first)
{
    Bytes result = bytes_;
    const Bytes place = numbers({static_cast<std::uint32_t>(first)});
    std::ranges::copy(place, result.begin() + 4);
    return result;
}

Bytes phoneExif(ByteOrder order)
{
    TiffBuilder builder(order);
    const std::size_t thumbnail = builder.add(bytesOf("\xFF\xD8 thumbnail \xFF\xD9"));
    const std::size_t second
        = builder.addDirectory({builder.longInteger(513, thumbnail), builder.longInteger(514, 15)});
    const std::size_t below = builder.addDirectory({builder.text(0xC001, "of the maker alone")});
    const std::size_t exif = builder.addDirectory(
        {builder.rationals(0x829A, {10, 30}), {0x9000, TiffType::undefined, 4, bytesOf("0221")},
            {0x927C, TiffType::undefined, 24, bytesOf("MAKER\0\1 offset 0x00000042")},
            builder.shortInteger(0xA002, 8)});
    return builder.finish(builder.addDirectory(
        {builder.text(0x0131, "Camera 1.0"), builder.text(0x010F, "Maker"), builder.shortInteger(0x0112, 6),
            {0xC000, static_cast<TiffType>(77), 3, bytesOf("\1\2\3\4")}, builder.longInteger(0x8769, exif),
            builder.longInteger(0xC634, below)},
        second));
}

Bytes jpegSegment(unsigned marker, const Bytes& content)
{
    Bytes result;
    formats::appendNumber(result, 0xFF00U | marker, 2, ByteOrder::big);
    formats::appendNumber(result, content.size() + 2, 2, ByteOrder::big);
    formats::append(result, content);
    return result;
}

Bytes exifSegment(const Bytes& block)
{
    return jpegSegment(0xE1, join({bytesOf(std::string_view("Exif\0\0", 6)), block}));
}

Bytes jpeg(const std::vector<Bytes>& segments, std::string_view behind)
{
    const Bytes frame = jpegSegment(0xC0,
        bytesOf(std::string_view("\x08\x00\x04\x00\x08\x03"
                                 "123456789",
            15)));
    const Bytes scan = jpegSegment(0xDA, bytesOf(std::string_view("\x01\x01\x00\x00\x3F\x00", 6)));
    // What looks like segments in the scan, or behind it, is none.
    return join(
        {bytesOf("\xFF\xD8"), join(segments), frame, scan, bytesOf(std::string_view("\x12\xFF\0\x34", 4)),
            exifSegment(bytesOf("no EXIF")), bytesOf("\xFF\xD9"), bytesOf(behind)});
}

namespace {

std::uint32_t checksumOf(const Bytes& bytes)
{
    std::uint32_t value = ~0U;
    for (const std::byte byte : bytes) {
        value ^= std::to_integer<std::uint32_t>(byte);
        for (int bit = 0; bit < 8; ++bit)
            value = value >> 1U ^ ((value & 1U) != 0 ? 0xEDB88320U : 0U);
    }
    return ~value;
}

} // namespace

Bytes pngChunk(std::string_view type, const Bytes& data)
{
    Bytes result;
    formats::appendNumber(result, data.size(), 4, ByteOrder::big);
    formats::append(result, bytesOf(type));
    formats::append(result, data);
    formats::appendNumber(result, checksumOf(join({bytesOf(type), data})), 4, ByteOrder::big);
    return result;
}

Bytes png(const std::vector<Bytes>& beforePicture, const std::vector<Bytes>& behindPicture)
{
    const Bytes head = pngChunk("IHDR", bytesOf(std::string_view("\0\0\0\x08\0\0\0\x04\x08\x02\0\0\0", 13)));
    Bytes picture = pngChunk("IDAT", bytesOf("no zlib"));
    picture.back() ^= std::byte{1}; // a wrong checksum is the file's own
    return join({bytesOf("\x89PNG\r\n\x1A\n"), head, join(beforePicture), picture, pngChunk("IDAT", {}),
        join(behindPicture), pngChunk("IEND", {}), bytesOf("behind it")});
}

Bytes webPChunk(std::string_view type, const Bytes& data)
{
    Bytes result = bytesOf(type);
    formats::appendNumber(result, data.size(), 4, ByteOrder::little);
    formats::append(result, data);
    result.resize(result.size() + data.size() % 2);
    return result;
}

Bytes webP(const std::vector<Bytes>& chunks)
{
    const Bytes content = join(chunks);
    Bytes result = bytesOf("RIFF");
    formats::appendNumber(result, 4 + content.size(), 4, ByteOrder::little);
    return join({result, bytesOf("WEBP"), content});
}

Bytes lossyPicture()
{
    return webPChunk("VP8 ", bytesOf(std::string_view("\x10\0\0\x9D\x01\x2A\x08\0\x04\0picture", 17)));
}

Bytes losslessPictureWithAlpha()
{
    Bytes data = bytesOf("\x2F");
    formats::appendNumber(data, 7U | 3U << 14U | 1U << 28U, 4, ByteOrder::little);
    return webPChunk("VP8L", join({data, bytesOf("picture")}));
}

Bytes tiffFile(ByteOrder order)
{
    TiffBuilder builder(order);
    const auto page = [&](std::string_view strip, std::size_t next, std::vector<TiffBuilder::Entry> more) {
        const std::size_t place = builder.add(bytesOf(strip));
        std::vector<TiffBuilder::Entry> entries{builder.shortInteger(256, 8), builder.shortInteger(257, 4),
            builder.longInteger(273, place), builder.longInteger(279, strip.size())};
        entries.insert(entries.end(), more.begin(), more.end());
        return builder.addDirectory(entries, next);
    };
    const std::size_t below = page("the strip below", 0, {});
    const std::size_t second = page("the second strip", 0, {builder.text(0x0131, "Scanner")});
    return builder.finish(page("the first strip", second, {builder.longInteger(330, below)}));
}

namespace {

Bytes bigEndian(const std::vector<std::pair<std::uint64_t, std::size_t>>& numbersAndSizes)
{
    Bytes result;
    for (const auto& [number, size] : numbersAndSizes)
        formats::appendNumber(result, number, size, ByteOrder::big);
    return result;
}

} // namespace

Bytes isoBox(std::string_view type, const Bytes& content, bool isLarge)
{
    const std::size_t size = content.size() + (isLarge ? 16 : 8);
    return join({bigEndian({{isLarge ? 1 : size, 4}}), bytesOf(type),
        bigEndian({{isLarge ? size : 0, isLarge ? 8 : 0}}), content});
}

Bytes HeifFile::meta(const std::vector<std::size_t>& places) const
{
    const std::size_t idSize = isWide ? 4 : 2;
    const std::size_t wideVersion = isWide ? 0x1000000 : 0;
    Bytes information = bigEndian({{wideVersion, 4}, {items.size(), idSize}});
    Bytes locations = bigEndian(
        {{version << 24U, 4}, {offsetSize << 12U | lengthSize << 8U | baseSize << 4U | indexSize, 2},
            {items.size(), version < 2 ? 2U : 4U}});
    for (const Item& item : items) {
        const bool isExif = item.type == "Exif";
        information = join({information,
            isoBox("infe",
                join({bigEndian({{(isWide ? 0x3000000U : 0x2000000U) | (isExif ? 1U : 0U), 4},
                          {item.id, idSize}, {0, 2}}),
                    bytesOf(item.type), bigEndian({{0, 1}})}))});
        std::size_t place = item.origin == 0 ? places[item.source] + item.offset : item.source;
        const std::size_t base = offsetSize == 0 ? place : baseSize == 0 || item.origin != 0 ? 0 : item.base;
        formats::append(locations,
            bigEndian({{item.id, version < 2 ? 2U : 4U}, {item.origin, version > 0 ? 2U : 0U}, {0, 2},
                {base, baseSize}, {item.firstLength != 0 ? 2 : 1, 2}}));
        for (const std::size_t length : {item.firstLength, item.length - item.firstLength}) {
            if (length != 0)
                formats::append(
                    locations, bigEndian({{0, indexSize}, {place - base, offsetSize}, {length, lengthSize}}));
            place += length;
        }
    }
    Bytes referring = bigEndian({{wideVersion, 4}});
    for (const Reference& reference : references)
        formats::append(referring,
            isoBox(reference.type, bigEndian({{reference.from, idSize}, {1, 2}, {reference.to, idSize}})));
    const Bytes properties = join({isoBox("ipco",
                                       join({isoBox("ispe", bigEndian({{0, 4}, {8, 4}, {4, 4}})),
                                           isoBox("irot", bigEndian({{3, 1}}))})),
        isoBox(
            "ipma", bigEndian({{wideVersion, 4}, {1, 4}, {items.front().id, idSize}, {2, 1}, {0x0102, 2}}))});
    return isoBox("meta",
        join({bigEndian({{0, 4}}), isoBox("hdlr", bytesOf(std::string_view("\0\0\0\0\0\0\0\0pict", 12))),
            isoBox("pitm", bigEndian({{wideVersion, 4}, {items.front().id, idSize}})),
            isoBox("iinf", information, isWide), isoBox("iloc", locations, isWide),
            isoBox("iprp", properties), isoBox("idat", join({bytesOf("the data box"), bigEndian({{0, 4}})})),
            group == 0 ? Bytes{} : isoBox("grpl", isoBox("altr", bigEndian({{0, 4}, {group, 4}, {0, 4}}))),
            references.empty() ? Bytes{} : isoBox("iref", referring, isWide)}),
        isWide);
}

Bytes HeifFile::bytes() const
{
    std::vector<std::size_t> places(media.size());
    Bytes result;
    for (int pass = 0; pass < 2; ++pass) {
        result = isoBox("ftyp", bytesOf(std::string_view("heic\0\0\0\0mif1heic", 16)));
        formats::append(result, front);
        for (std::size_t index = 0; index <= media.size(); ++index) {
            if (index == mediaBeforeMeta)
                formats::append(result, meta(places));
            if (index == media.size())
                break;
            Bytes box = isoBox("mdat", media[index].data, media[index].isLarge);
            if (isLastOpen && index + 1 == media.size())
                std::ranges::fill_n(box.begin(), 4, std::byte{});
            places[index] = result.size() + box.size() - media[index].data.size();
            formats::append(result, box);
        }
        formats::append(result, behind);
    }
    return result;
}

HeifFile heifFile(unsigned version)
{
    HeifFile result{.version = version,
        .items = {{1, "hvc1", 0, 0, 13}, {2, "hvc1", 0, 1, 15, 10, 4}},
        .references = {{"thmb", 2, 1}},
        .media = {{bytesOf("first picture")}, {bytesOf("behind it small picture")}}};
    result.items[1].length = result.media[1].data.size();
    if (version > 0) {
        result.items.push_back({7, "grid", 1, 4, 8});
        result.items.push_back({4, "hvc1", 2, 3, 5});
        result.references.push_back({"iloc", 4, 1});
        result.indexSize = 4;
    }
    return result;
}

HeifFile heifFileWithExif()
{
    HeifFile result = heifFile(1);
    const Bytes exif = join({bytesOf(std::string_view("\0\0\0\6Exif\0\0", 10)), phoneExif(ByteOrder::big)});
    result.items.push_back({9, "Exif", 0, 2, exif.size()});
    result.references.push_back({"cdsc", 9, 1});
    result.media.push_back({exif});
    return result;
}

} // namespace tamsel::tests
