#include "support/PictureFiles.h"

#include <formats/imageMetadata.h>
#include <formats/pictureDataIsEqual.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <ranges>

namespace tamsel::tests {

using namespace platform;
using namespace std::string_view_literals;
using formats::ByteOrder;

namespace {

const char* const software = "Another 2.0";

PropertyDictionary properties()
{
    return {{"{TIFF}", PropertyDictionary{{"Software", software}, {"Model", "Phone"}}}};
}

std::string softwareOf(const Bytes& file, const formats::Inflate& inflate = {})
{
    const PropertyDictionary read = formats::readImageProperties(file, inflate);
    const PropertyDictionary* tiff = read.findDictionary("{TIFF}");
    const std::string* text = tiff ? tiff->findText("Software") : nullptr;
    return text ? *text : "none";
}

Bytes rewritten(const Bytes& file, const formats::Inflate& inflate = {})
{
    const auto result = formats::rewriteImage(file, properties(), inflate);
    EXPECT_TRUE(result) << (result ? "" : result.error().localizedDescription);
    if (!result)
        return {};
    EXPECT_EQ(softwareOf(*result), software);
    return *result;
}

std::string errorOf(const Bytes& file)
{
    const auto result = formats::rewriteImage(file, properties());
    return result ? "none" : result.error().localizedDescription;
}

/// Whether the files begin and end alike, up to where they differ: before and behind one place.
bool differInOnePlace(const Bytes& before, const Bytes& after, std::size_t begin, std::size_t length)
{
    const std::size_t end = begin + length;
    return formats::areEqual(formats::ByteView(before).first(begin), formats::ByteView(after).first(begin))
        && formats::areEqual(
            formats::ByteView(before).subspan(end), formats::ByteView(after).last(before.size() - end));
}

bool contains(const Bytes& file, const Bytes& part)
{
    return std::search(file.begin(), file.end(), part.begin(), part.end()) != file.end();
}

Bytes jfif()
{
    return jpegSegment(0xE0, bytesOf("JFIF\0\1\2"sv));
}

/// A multi-picture list (CIPA DC-007) with two pictures: of 1000 bytes, and one 5000 bytes behind the list's header.
Bytes pictureList(ByteOrder order)
{
    TiffBuilder builder(order);
    return join({bytesOf("MPF\0"sv),
        builder.finish(builder.addDirectory(
            {{0xB000, formats::TiffType::undefined, 4, bytesOf("0100")}, builder.longInteger(0xB001, 2),
                {0xB002, formats::TiffType::undefined, 32,
                    builder.numbers({7, 1000, 0, 0, 8, 800, 5000, 0})}}))});
}

std::vector<std::uint32_t> numbersOfPictures(const Bytes& file, ByteOrder order)
{
    const std::size_t begin = placeOf(file, "MPF\0"sv) + 4;
    const auto block = formats::TiffBlock::open(formats::ByteView(file).subspan(begin));
    const auto list = block ? block->value(*block->first().find(0xB002)) : std::nullopt;
    std::vector<std::uint32_t> result;
    for (std::size_t at = 0; list && at < list->size(); at += 4)
        result.push_back(formats::number32(*list, at, order));
    return result;
}

/// The EXIF as hexadecimal digits, as older programs wrote it into text chunks.
Bytes rawProfile(const Bytes& block)
{
    const Bytes profile = join({bytesOf("Exif\0\0"sv), block});
    std::string text = "\nexif\n     ";
    text.append(std::to_string(profile.size())).append("\n");
    for (std::size_t index = 0; index < profile.size(); ++index) {
        const auto value = std::to_integer<std::size_t>(profile[index]);
        text += {"0123456789abcdef"[value / 16], "0123456789abcdef"[value % 16]};
        text += index % 36 == 35 ? "\n" : "";
    }
    return bytesOf(text);
}

} // namespace

TEST(JpegRewriting, ReplacesTheExifWhereItStands)
{
    const Bytes segment = exifSegment(phoneExif(ByteOrder::big));
    const Bytes before
        = jpeg({jfif(), bytesOf("garbage\xFF\xFF"sv), segment, exifSegment(phoneExif(ByteOrder::little)),
                   jpegSegment(0xE2, bytesOf("ICC_PROFILE\0\1\1"sv)), bytesOf("\xFF"sv)},
            "behind the picture");
    const Bytes after = rewritten(before);
    EXPECT_TRUE(differInOnePlace(before, after, 2 + jfif().size() + 9, segment.size()));
}

TEST(JpegRewriting, PutsNewExifBehindJfifOnly)
{
    const Bytes extension = jpegSegment(0xE0, bytesOf("JFXX\0\x10"sv));
    const Bytes other = jpegSegment(0xE0, bytesOf("AVI1"));
    for (const auto& [segments, place] : {std::pair{std::vector<Bytes>{}, std::size_t{2}},
             {{jfif()}, 2 + jfif().size()}, {{bytesOf("\xFF"), jfif()}, 3 + jfif().size()},
             {{jfif(), extension, other}, 2 + jfif().size() + extension.size()}, {{other, jfif()}, 2}}) {
        const Bytes before = jpeg(segments, "behind");
        EXPECT_TRUE(differInOnePlace(before, rewritten(before), place, 0));
    }
}

TEST(JpegRewriting, KeepsMultiPictureListsRight)
{
    for (const ByteOrder order : {ByteOrder::little, ByteOrder::big}) {
        const Bytes list = jpegSegment(0xE2, pictureList(order));
        const Bytes exif = exifSegment(phoneExif(order));
        const Bytes listBehind = jpeg({exif, list}, "second");
        const Bytes listBefore = jpeg({list, exif}, "second");
        const auto growth = static_cast<std::uint32_t>(rewritten(listBehind).size() - listBehind.size());
        EXPECT_EQ(numbersOfPictures(rewritten(listBehind), order),
            (std::vector<std::uint32_t>{7, 1000 + growth, 0, 0, 8, 800, 5000, 0}));
        EXPECT_EQ(numbersOfPictures(rewritten(listBefore), order),
            (std::vector<std::uint32_t>{7, 1000 + growth, 0, 0, 8, 800, 5000 + growth, 0}));
    }
}

TEST(JpegRewriting, RefusesWhatItWouldDamage)
{
    TiffBuilder builder(ByteOrder::big);
    builder.add(Bytes(65480));
    const Bytes large = builder.finish(builder.addDirectory({builder.text(0x0131, "C")}));
    EXPECT_EQ(errorOf(jpeg({exifSegment(large)})), "the EXIF segment has no room for 27 of the new bytes");
    EXPECT_EQ(errorOf(jpeg({exifSegment(phoneExif(ByteOrder::big)), exifSegment(bytesOf("continued"))})),
        "the EXIF of the JPEG file is spread over several segments");
    EXPECT_EQ(errorOf(bytesOf("\xFF\xD8\xFF\xD9")), "the JPEG file ends before its picture");
    EXPECT_EQ(errorOf(join({bytesOf("\xFF\xD8"), jfif()})), "the JPEG file ends before its picture");
    EXPECT_EQ(
        errorOf(join({bytesOf("\xFF\xD8"), jfif(), jpegSegment(0xDA, {})})), "the JPEG file has no frame");
    EXPECT_EQ(errorOf(bytesOf("\xFF\xD8\xFF\xE1\xFF\xFF"sv)), "a segment of the JPEG file is damaged");
    EXPECT_EQ(errorOf(bytesOf("GIF89a")), "the file is not a JPEG, PNG, WebP, TIFF, HEIC or AVIF picture");
}

TEST(PngRewriting, ReplacesTheChunkOrPutsItBeforeThePicture)
{
    const Bytes block = phoneExif(ByteOrder::little);
    const Bytes gamma = pngChunk("gAMA", bytesOf("1234"));
    for (const Bytes& content : {block, join({bytesOf("Exif\0\0"sv), block})}) {
        const Bytes chunk = pngChunk("eXIf", content);
        const Bytes before = png({gamma}, {chunk});
        const Bytes after = rewritten(before);
        const std::size_t place = placeOf(before, "eXIf") - 4;
        EXPECT_TRUE(differInOnePlace(before, after, place, chunk.size()));
        const std::size_t size = formats::number32(after, place, ByteOrder::big);
        const auto data = formats::ByteView(after).subspan(place + 8, size);
        EXPECT_EQ(formats::holdsText(data, 0, "Exif"), content.size() != block.size());
        EXPECT_TRUE(formats::areEqual(
            formats::ByteView(after).subspan(place, size + 12), pngChunk("eXIf", {data.begin(), data.end()})))
            << "the checksum";
    }
    const Bytes before = png({gamma});
    EXPECT_TRUE(differInOnePlace(before, rewritten(before), placeOf(before, "gAMA") - 4, 0)) << "behind IHDR";
    EXPECT_EQ(errorOf(bytesOf("\x89PNG\r\n\x1A\n")), "the PNG file has no picture");
}

TEST(PngRewriting, TakesExifOutOfTextChunks)
{
    const Bytes text = rawProfile(phoneExif(ByteOrder::big));
    const Bytes plain = pngChunk("tEXt", join({bytesOf("Raw profile type exif\0"sv), text}));
    const Bytes other = pngChunk("tEXt", bytesOf("Raw profile type APP1\0\nxmp\n 2\n4142"sv));
    for (const Bytes& before : {png({plain}), png({}, {plain})}) {
        EXPECT_EQ(softwareOf(before), "Camera 1.0");
        const Bytes after = rewritten(before);
        EXPECT_FALSE(contains(after, bytesOf("Raw profile")));
        const std::size_t exif = placeOf(after, "eXIf") - 4;
        const std::size_t end = exif + 12 + formats::number32(after, exif, ByteOrder::big);
        const auto view = formats::ByteView(after);
        EXPECT_TRUE(join({{view.begin(), view.begin() + static_cast<std::ptrdiff_t>(exif)},
                        {view.begin() + static_cast<std::ptrdiff_t>(end), view.end()}})
            == png({}));
    }
    const Bytes xmpFirst = rewritten(png({other, plain}));
    EXPECT_TRUE(contains(xmpFirst, bytesOf("APP1"))) << "which is no EXIF, and stays";
    EXPECT_FALSE(contains(xmpFirst, bytesOf("type exif")));
    EXPECT_EQ(errorOf(png({pngChunk("iTXt", bytesOf("Raw profile type exif\0\0\0\0\0"sv))})),
        "the EXIF of the PNG file is a text of an unsupported kind");
    const Bytes compressed = png({pngChunk("zTXt", bytesOf("Raw profile type exif\0\0packed"sv))});
    EXPECT_EQ(errorOf(compressed), "the EXIF of the PNG file is compressed text, which is not supported");
    const formats::Inflate inflate = [&](formats::ByteView packed, std::size_t) -> std::optional<Bytes> {
        return formats::areEqual(packed, bytesOf("packed")) ? std::optional(text) : std::nullopt;
    };
    EXPECT_EQ(softwareOf(compressed, inflate), "Camera 1.0");
    rewritten(compressed, inflate);
    EXPECT_TRUE(contains(rewritten(png({other})), other)) << "XMP stays";
    EXPECT_EQ(errorOf(png({pngChunk("tEXt", bytesOf("Raw profile type exif\0\nexif\n 9\n4x"sv))})),
        "the EXIF of the picture is damaged");
}

TEST(WebPRewriting, MakesTheExtendedFormWithItsSizeAndAlpha)
{
    const auto head = [](unsigned flags) {
        Bytes data(10);
        data[0] = static_cast<std::byte>(flags);
        data[4] = std::byte{7};
        data[7] = std::byte{3};
        return webPChunk("VP8X", data);
    };
    const Bytes exif = webPChunk("EXIF", phoneExif(ByteOrder::big));
    const Bytes xmp = webPChunk("XMP ", bytesOf("xmp"));
    const auto after = [&](const std::vector<Bytes>& chunks) { return rewritten(webP(chunks)); };
    const auto exifOf = [](const Bytes& file) {
        const std::size_t place = placeOf(file, "EXIF");
        const std::size_t size = formats::number32(file, place + 4, ByteOrder::little);
        const auto view = formats::ByteView(file).subspan(place + 8, size);
        return webPChunk("EXIF", {view.begin(), view.end()});
    };
    const auto isAs
        = [&](const std::vector<Bytes>& before, const std::function<std::vector<Bytes>(Bytes)>& expected) {
              const Bytes file = after(before);
              return file == webP(expected(exifOf(file)));
          };
    const Bytes lossy = lossyPicture();
    const Bytes lossless = losslessPictureWithAlpha();
    using List = std::vector<Bytes>;
    EXPECT_TRUE(isAs({lossy}, [&](const Bytes& made) { return List{head(8), lossy, made}; }));
    EXPECT_TRUE(isAs({lossless}, [&](const Bytes& made) { return List{head(0x18), lossless, made}; }));
    EXPECT_TRUE(
        isAs({head(4), lossy, xmp}, [&](const Bytes& made) { return List{head(12), lossy, made, xmp}; }));
    EXPECT_TRUE(isAs(
        {head(12), lossy, xmp, exif}, [&](const Bytes& made) { return List{head(12), lossy, xmp, made}; }));

    const Bytes trailing = bytesOf("behind it");
    EXPECT_TRUE(std::ranges::equal(
        rewritten(join({webP({lossy}), trailing})) | std::views::reverse | std::views::take(trailing.size()),
        trailing | std::views::reverse));
    Bytes cutOff = webP({head(0), lossy});
    cutOff.resize(cutOff.size() - 5);
    EXPECT_EQ(errorOf(cutOff), "the WebP file is truncated before its EXIF");
    Bytes unpadded = webP({lossy});
    unpadded.pop_back();
    EXPECT_TRUE(rewritten(unpadded) == after({lossy}));
    EXPECT_EQ(errorOf(webP({xmp})), "the WebP file has no picture");
}

TEST(TiffRewriting, AddsToTheFileAndToItsFirstPageAlone)
{
    for (const ByteOrder order : {ByteOrder::little, ByteOrder::big}) {
        const Bytes before = join({tiffFile(order), bytesOf("behind")});
        const Bytes after = rewritten(before);
        EXPECT_TRUE(formats::areEqual(
            formats::ByteView(before).subspan(8), formats::ByteView(after).subspan(8, before.size() - 8)));
        const auto block = formats::TiffBlock::open(after);
        ASSERT_TRUE(block);
        EXPECT_EQ(block->allDirectories().size(), 3U);
    }
    TiffBuilder builder(ByteOrder::big);
    const Bytes whole = builder.finish(builder.addDirectory({builder.shortInteger(256, 1),
        builder.shortInteger(257, 1), builder.longInteger(273, 0), builder.longInteger(279, 8)}));
    EXPECT_EQ(errorOf(whole), "the rewriting would change the picture") << "its strip is the header";
    EXPECT_EQ(errorOf(join({tiffFile(ByteOrder::little), bytesOf("cbipcbbl")})),
        "a trailer of the TIFF file must stay at its end");
    const Bytes cutOff = builder.finish(builder.addDirectory({builder.shortInteger(256, 1),
        builder.shortInteger(257, 1), builder.longInteger(273, 20), builder.longInteger(279, 80'000)}));
    EXPECT_EQ(errorOf(cutOff), "the TIFF file is truncated");
    EXPECT_EQ(errorOf(bytesOf("II+\0\x08\0\0\0"sv)), "BigTIFF is not rewritten");
    EXPECT_EQ(errorOf(phoneExif(ByteOrder::big)), "the TIFF file has no picture");
}

TEST(PictureData, DiffersWithAnyByteOfThePictureOrTheMakersNotes)
{
    const Bytes exif = phoneExif(ByteOrder::little);
    const HeifFile heif = heifFileWithExif();
    struct Case {
        Bytes file;
        std::string_view where;
    };
    for (const auto& [file, where] :
        {Case{jpeg({jfif(), exifSegment(exif)}), "JFIF"}, {jpeg({exifSegment(exif)}), "MAKER"},
            {jpeg({exifSegment(exif)}), "\x12\xFF"}, {jpeg({exifSegment(exif)}), "thumbnail"},
            {png({pngChunk("eXIf", exif)}), "no zlib"}, {png({pngChunk("eXIf", exif)}), "MAKER"},
            {webP({lossyPicture(), webPChunk("EXIF", exif)}), "MAKER"}, {png({}), "behind"},
            {webP({lossyPicture()}), "picture"}, {tiffFile(ByteOrder::big), "strip below"},
            {tiffFile(ByteOrder::big), "second strip"}, {heif.bytes(), "first picture"},
            {heif.bytes(), "the data box"}, {heif.bytes(), "thmb"}, {heif.bytes(), "ispe"},
            {heif.bytes(), "hvc1"}, {heif.bytes(), "MAKER"}, {heif.bytes(), "Exif\0\0MM"sv},
            {heif.bytes(), "behind it"}}) {
        Bytes changed = rewritten(file);
        EXPECT_TRUE(formats::pictureDataIsEqual(file, changed));
        *std::ranges::find_end(changed, bytesOf(where)).begin() ^= std::byte{0x20};
        EXPECT_FALSE(formats::pictureDataIsEqual(file, changed)) << where;
    }
}

TEST(PictureData, DiffersWithThePlaceOfAnItem)
{
    const Bytes file = heifFile(1).bytes();
    Bytes changed = rewritten(file);
    changed[placeOf(changed, "iloc") + 27] ^= std::byte{1};
    EXPECT_FALSE(formats::pictureDataIsEqual(file, changed));
}

TEST(ImageType, IsFoundFromTheFirstBytes)
{
    for (const auto& [file, type] : {std::pair{"\xFF\xD8\xFF"sv, "public.jpeg"},
             {"\x89PNG\r\n\x1A\n"sv, "public.png"}, {"RIFF1234WEBP"sv, "org.webmproject.webp"},
             {"MM\0*"sv, "public.tiff"}, {"II+\0"sv, "public.tiff"},
             {"\0\0\0\x18"
              "ftypmif1\0\0\0\0mif1heic"sv,
                 "public.heic"},
             {"\0\0\0\x14"
              "ftypavif\0\0\0\0"sv,
                 "public.avif"},
             {"GIF89a"sv, "com.compuserve.gif"},
             {"BM1234\0\0\0\0\x36\0\0\0\x28\0\0\0\x01\0\0\0\x01\0\0\0"sv, "com.microsoft.bmp"},
             {"\0\0\0\x14"
              "ftypisom\0\0\0\0avc1"sv,
                 "none"},
             {"BMW drivers write texts, too"sv, "none"}, {""sv, "none"}})
        EXPECT_EQ(formats::imageType(bytesOf(file)).value_or("none"), type);
}

TEST(ImageRewriting, OfDamagedFilesFailsOrKeepsThePicture)
{
    const Bytes little = phoneExif(ByteOrder::little);
    const Bytes big = phoneExif(ByteOrder::big);
    std::mt19937 random(20261125);
    for (const Bytes& seed :
        {jpeg({jfif(), exifSegment(little), jpegSegment(0xE2, pictureList(ByteOrder::big))}),
            jpeg({exifSegment(big)}), png({pngChunk("eXIf", big)}),
            png({pngChunk("tEXt", join({bytesOf("Raw profile type exif\0"sv), rawProfile(little)}))}),
            webP({lossyPicture()}), webP({losslessPictureWithAlpha(), webPChunk("EXIF", little)}),
            tiffFile(ByteOrder::little), tiffFile(ByteOrder::big), heifFile(1).bytes(),
            heifFileWithExif().bytes()}) {
        int rewrittenCount = 0;
        for (int round = 0; round < 500; ++round) {
            Bytes file = seed;
            for (auto changes = random() % 4 + 1; changes > 0; --changes)
                file[random() % file.size()]
                    = static_cast<std::byte>(random() % 3 == 0 ? random() % 256 : random() % 16);
            if (round % 8 == 0)
                file.resize(random() % file.size());
            const auto result = formats::rewriteImageUnchecked(file, properties());
            if (!result)
                continue;
            ++rewrittenCount;
            const auto checked = formats::rewriteImage(file, properties());
            EXPECT_EQ(checked ? softwareOf(*checked) : software, software) << round;
        }
        EXPECT_GT(rewrittenCount, 50);
    }
}

} // namespace tamsel::tests
