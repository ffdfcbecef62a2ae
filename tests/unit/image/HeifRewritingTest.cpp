// HEIF files that are compared, byte for byte, with ones that were put together with their EXIF.

#include "support/PictureFiles.h"

#include <formats/imageMetadata.h>
#include <formats/pictureDataIsEqual.h>

#include <gtest/gtest.h>

#include <algorithm>

namespace tamsel::tests {

using namespace platform;
using namespace std::string_view_literals;
using formats::ByteOrder;

namespace {

std::expected<Bytes, Error> stamped(const Bytes& file)
{
    return formats::rewriteImage(file,
        {{"Orientation", 3},
            {"{TIFF}", PropertyDictionary{{"Software", "Another 2.0"}, {"Model", "Phone"}}}});
}

std::string errorOf(const Bytes& file)
{
    const auto result = stamped(file);
    return result ? "none" : result.error().localizedDescription;
}

/// The content of the EXIF item of a stamped file: the last TIFF structure, and the bytes before it.
Bytes newExif(const Bytes& file, std::size_t prefixSize, std::size_t sizeBehind = 0)
{
    const auto found = std::ranges::find_end(file, bytesOf("MM\0*"sv)).begin();
    return {found - static_cast<std::ptrdiff_t>(prefixSize),
        file.end() - static_cast<std::ptrdiff_t>(sizeBehind)};
}

Bytes oldExif()
{
    return heifFileWithExif().media.back().data;
}

} // namespace

TEST(HeifRewriting, AddsAnItemAndKeepsThePlacesOfAllOthersRight)
{
    std::vector<HeifFile> files(9, heifFile(1));
    files[1] = heifFile(0);
    files[1].references.clear();
    files[2] = heifFile(2);
    files[2].isWide = true;
    files[2].offsetSize = files[2].lengthSize = files[2].baseSize = 8;
    files[2].group = 80'000;
    files[2].media[1].isLarge = true;
    files[2].items[1].id = files[2].references[0].from = 70'000;
    files[3].mediaBeforeMeta = 2;
    files[4].mediaBeforeMeta = 1;
    files[4].baseSize = 4;
    files[5].isLastOpen = true;
    files[6].items.push_back({30, "uri ", 0, 1, 5, 0, 0, files[6].media[1].data.size() + 8}); // in `behind`
    files[6].behind = join({isoBox("mpvd", bytesOf("found from the end")), bytesOf("no box")});
    files[7].references.push_back({"cdsc", 9, 2});
    files[7].items.push_back({9, "Exif", 0, 2, oldExif().size()});
    files[7].media.push_back({oldExif()});
    files[8].items.resize(1);
    files[8].items[0].source = 1;
    files[8].references.clear();
    files[8].offsetSize = 0;
    files[8].baseSize = 4;
    for (HeifFile& file : files) {
        SCOPED_TRACE(&file - files.data());
        const auto after = stamped(file.bytes());
        ASSERT_TRUE(after) << after.error().localizedDescription;
        const Bytes exif = newExif(*after, 4, file.behind.size());
        std::uint32_t id = file.group;
        if (!file.behind.empty())
            file.items.back().offset += 8 + exif.size();
        for (const HeifFile::Item& item : file.items)
            id = std::max(id, item.id);
        file.items.push_back({id + 1, "Exif", 0, file.media.size(), exif.size(), 0});
        file.references.push_back({"cdsc", id + 1, 1});
        if (file.isLastOpen) {
            file.items.back().source = 1;
            file.items.back().offset = file.media[1].data.size();
            formats::append(file.media[1].data, exif);
        } else {
            file.media.push_back({exif});
        }
        EXPECT_TRUE(*after == file.bytes());
        const auto read = formats::readImageProperties(*after);
        EXPECT_EQ(*read.find("PixelWidth"), PropertyValue(8));
        EXPECT_EQ(*read.find("PixelHeight"), PropertyValue(4));
        EXPECT_EQ(*read.find("Orientation"), PropertyValue(6)) << "as the file transforms its picture";
        EXPECT_EQ(read.findDictionary("{TIFF}")->find("Orientation"), nullptr);
        EXPECT_EQ(*read.findDictionary("{TIFF}")->findText("Software"), "Another 2.0");
    }
}

TEST(HeifRewriting, ReplacesAnItemAndMovesNothingElse)
{
    std::vector<HeifFile> files(5, heifFile(1));
    files[1].isWide = true;
    files[1].version = 2;
    files[1].baseSize = 8;
    files[2] = heifFile(0);
    files[2].behind = isoBox("mfra", bytesOf("found from the end"));
    files[4].front = isoBox("moov", {});
    const std::size_t size = oldExif().size();
    for (HeifFile& file : files) {
        SCOPED_TRACE(&file - files.data());
        // The first one describes the thumbnail.
        file.items.insert(file.items.begin() + 1, {{20, "Exif", 0, 1, 4}, {21, "Exif", 0, 0, size}});
        file.items[2].firstLength = &file == &files[3] ? 30 : 0;
        file.media.insert(file.media.begin(), {oldExif()});
        if (&file == &files[1])
            file.media[0].data[3] = {}; // as by writers that do not count the prefix
        for (HeifFile::Item& item : file.items)
            item.source += item.origin == 0 && item.id != 21 ? 1 : 0;
        file.references.push_back({"cdsc", 20, 2});
        if (&file != &files[4])
            file.references.push_back({"cdsc", 21, 1});
        const auto after = stamped(file.bytes());
        ASSERT_TRUE(after) << after.error().localizedDescription;
        const Bytes exif = newExif(*after, 10, file.behind.size());
        file.items[2].source = file.media.size();
        file.items[2].length = exif.size();
        file.items[2].base = 0;
        file.media.push_back({exif});
        EXPECT_TRUE(*after == file.bytes());
        EXPECT_TRUE(std::equal(exif.begin(), exif.begin() + 10, file.media[0].data.begin()));
        EXPECT_EQ(stamped(*after), *after) << "once is enough";
    }
    HeifFile file = heifFile(1);
    file.items.push_back({9, "Exif", 1, 12, 4}); // empty, and in the data box
    const auto after = stamped(file.bytes());
    ASSERT_TRUE(after) << after.error().localizedDescription;
    file.media.push_back({newExif(*after, 4)});
    file.items.back() = {9, "Exif", 0, 2, file.media[2].data.size(), 0};
    EXPECT_TRUE(*after == file.bytes());
}

TEST(HeifRewriting, GivesTheReasonWhereItIsNotSafe)
{
    const HeifFile plain = heifFile(1);
    Bytes file = plain.bytes();
    file.pop_back();
    EXPECT_EQ(errorOf(file), "the HEIF file is truncated");
    EXPECT_EQ(errorOf(isoBox("ftyp", bytesOf("heic1234"))), "the HEIF file has no picture");
    HeifFile other = plain;
    other.behind = isoBox("moov", {});
    EXPECT_EQ(errorOf(other.bytes()), "the HEIF file contains a movie, whose parts would move");
    other = plain;
    other.items[0].length = 80;
    EXPECT_EQ(errorOf(other.bytes()), "an item of the HEIF file exceeds it");
    other.media[1].data.resize(200);
    EXPECT_EQ(errorOf(other.bytes()), "none");
    other.mediaBeforeMeta = 1;
    EXPECT_EQ(errorOf(other.bytes()), "an item of the HEIF file is in parts that would move differently");
    other = plain;
    other.items[1].id = other.references[0].from = 0xFFFF;
    EXPECT_EQ(errorOf(other.bytes()), "the numbers of the HEIF file have no room for its EXIF");
    other.items[1].id = 1;
    EXPECT_EQ(errorOf(other.bytes()), "the list of items of the HEIF file is damaged or unknown");

    other = heifFileWithExif();
    EXPECT_EQ(errorOf(other.bytes()), "none");
    other.items.back().source = 0;
    EXPECT_EQ(errorOf(other.bytes()), "the EXIF of the picture is damaged");
    other.items.back().origin = 2;
    EXPECT_EQ(errorOf(other.bytes()), "the EXIF of the picture is damaged") << "it is part of another item";
    other = heifFileWithExif();
    const auto changed = [&](std::string_view after, std::size_t distance, unsigned number) {
        Bytes result = other.bytes();
        result[placeOf(result, after) + distance] = static_cast<std::byte>(number);
        return result;
    };
    EXPECT_EQ(errorOf(changed("Exif", std::size_t(-1), 1)), "the EXIF of the HEIF file is protected");
    EXPECT_EQ(errorOf(changed("iloc", 17, 1)), "an item of the HEIF file exceeds it")
        << "it is in another file";
    EXPECT_EQ(
        errorOf(changed("iloc", 4, 3)), "the places of the items of the HEIF file are damaged or unknown");
    EXPECT_EQ(errorOf(changed("iloc", 31, 0)), "an item of the HEIF file exceeds it")
        << "it is the whole file";
    EXPECT_EQ(errorOf(changed("pitm", 4, 2)), "the HEIF file has no primary picture");
    EXPECT_EQ(errorOf(changed("hdlr", std::size_t(-1), 4)), "a box of the HEIF file is damaged");
    other.references.push_back({"iloc", 7, 9});
    EXPECT_EQ(errorOf(other.bytes()), "another item of the HEIF file contains its EXIF");
}

} // namespace tamsel::tests
