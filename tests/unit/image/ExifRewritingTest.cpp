#include "support/PictureFiles.h"

#include <formats/exifNumbers.h>
#include <formats/imageMetadata.h>
#include <formats/pictureDataIsEqual.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace tamsel::tests {

using namespace platform;
using namespace std::string_view_literals;
using formats::ByteOrder;
using formats::TiffBlock;
using formats::TiffType;

namespace {

constexpr std::array bothOrders{ByteOrder::little, ByteOrder::big};
constexpr std::uint32_t exifBegin = 12; // in a JPEG without anything before it

PropertyDictionary tiff(PropertyDictionary entries)
{
    return {{"{TIFF}", std::move(entries)}};
}

/// The EXIF after the properties were set over those of the block, in a JPEG.
Bytes rewritten(const Bytes& block, const PropertyDictionary& properties)
{
    const Bytes file = jpeg({exifSegment(block)});
    const auto result = formats::rewriteImage(file, properties);
    EXPECT_TRUE(result) << (result ? "" : result.error().localizedDescription);
    if (!result)
        return {};
    const std::size_t size = formats::number16(*result, 4, ByteOrder::big) - 8U;
    return {result->begin() + exifBegin, result->begin() + exifBegin + static_cast<std::ptrdiff_t>(size)};
}

std::string errorOf(const Bytes& block, const PropertyDictionary& properties)
{
    const auto result = formats::rewriteImage(jpeg({exifSegment(block)}), properties);
    return result ? "" : result.error().localizedDescription;
}

PropertyDictionary propertiesOf(const Bytes& block)
{
    return formats::readImageProperties(jpeg({exifSegment(block)}));
}

const PropertyValue* find(
    const PropertyDictionary& properties, std::string_view dictionary, std::string_view key)
{
    const PropertyDictionary* found = properties.findDictionary(dictionary);
    return found ? found->find(key) : nullptr;
}

std::string textOf(const Bytes& block, std::string_view key)
{
    const PropertyDictionary properties = propertiesOf(block);
    const PropertyValue* value = find(properties, "{TIFF}", key);
    return value && value->text() ? *value->text() : "none";
}

std::size_t differences(const Bytes& before, const Bytes& after)
{
    std::size_t count = 0;
    for (std::size_t at = 0; at < std::min(before.size(), after.size()); ++at)
        count += before[at] != after[at] ? 1 : 0;
    return count + (after.size() < before.size() ? before.size() - after.size() : 0);
}

} // namespace

TEST(ExifRewriting, OfValuesThatAreThereChangesTheirEntriesOnly)
{
    for (const ByteOrder order : bothOrders) {
        const Bytes before = phoneExif(order);
        EXPECT_TRUE(rewritten(before, propertiesOf(before)) == before) << "10/30 and 1/3 are the same";
        const Bytes shorter = rewritten(before, tiff({{"Software", "abc"}, {"Orientation", 3}}));
        EXPECT_EQ(shorter.size(), before.size());
        EXPECT_EQ(textOf(shorter, "Software"), "abc");
        EXPECT_LE(differences(before, shorter), 9U);

        PropertyDictionary all = propertiesOf(before);
        PropertyDictionary exif = *all.findDictionary("{Exif}");
        exif.set("DateTimeOriginal", "2026:11:25 10:00:00");
        all.set("{Exif}", exif);
        const Bytes longer = rewritten(before, all);
        EXPECT_LE(differences(before, longer), 4U) << "only the place of the Exif directory";
        EXPECT_TRUE(propertiesOf(longer) == propertiesOf(rewritten(longer, all)));
        EXPECT_EQ(*find(propertiesOf(longer), "{Exif}", "ExposureTime"), PropertyValue(10.0 / 30));
    }
}

TEST(ExifRewriting, SetsEveryEntryOfATagThatIsThereTwice)
{
    TiffBuilder builder(ByteOrder::little);
    const Bytes before = builder.finish(builder.addDirectory({builder.text(0x0131, "Camera 1.0"),
        builder.text(0x0131, "Camera 1.1"), {0x0132, static_cast<TiffType>(9), 1, {}}}));
    const Bytes after = rewritten(before, tiff({{"Software", "Another 2.0"}}));
    const auto block = TiffBlock::open(after);
    ASSERT_TRUE(block);
    for (const std::size_t index : {0U, 1U}) {
        const auto value = block->value(block->first().entries[index]);
        EXPECT_TRUE(value && formats::areEqual(*value, bytesOf("Another 2.0\0"sv)));
    }
}

TEST(ExifRewriting, OfABlockThatEndsTooEarlyAddsNothingToItsDirectories)
{
    TiffBuilder builder(ByteOrder::big);
    Bytes before = builder.finish(builder.addDirectory({builder.text(0x0131, "Camera 1.0")}));
    before.resize(before.size() - 3);
    const Bytes after = rewritten(before, tiff({{"Software", "Another 2.0"}}));
    const auto block = TiffBlock::open(after);
    ASSERT_TRUE(block);
    EXPECT_EQ(block->first().next, 0U);
    EXPECT_EQ(textOf(after, "Software"), "Another 2.0");
}

TEST(ExifRewriting, TakesWhatIsDamagedAsAbsentOrRefuses)
{
    TiffBuilder builder(ByteOrder::big);
    TiffBuilder::Entry farAway = builder.longInteger(0x0131, 0xFFFFFFF0);
    farAway.type = TiffType::ascii;
    farAway.count = 100;
    const std::size_t place = builder.addDirectory({farAway, builder.longInteger(0x8769, 0x7FFFFFFF)});
    Bytes block = builder.finish(place);
    const std::size_t next = block.size() - 4;
    formats::Splice cycle{
        .begin = next, .end = next + 4, .bytes = builder.numbers({static_cast<std::uint32_t>(place)})};
    block = formats::spliced(block, {cycle});
    EXPECT_EQ(textOf(block, "Software"), "none");
    EXPECT_EQ(textOf(rewritten(block, tiff({{"Software", "Another 2.0"}})), "Software"), "Another 2.0");
    EXPECT_EQ(
        errorOf(block, {{"{Exif}", PropertyDictionary{{"Flash", 1}}}}), "a directory of the EXIF is damaged");

    EXPECT_EQ(
        errorOf(builder.finish(0x10000), tiff({{"Software", "x"}})), "the EXIF of the picture is damaged");
    EXPECT_EQ(errorOf(bytesOf("II*"), tiff({{"Software", "x"}})), "the EXIF of the picture is damaged");
    EXPECT_EQ(textOf(rewritten({}, tiff({{"Software", "x"}})), "Software"), "x") << "empty is none";
    Bytes many = block;
    many[place] = std::byte{0xFF}; // entries
    EXPECT_EQ(errorOf(many, tiff({{"Software", "x"}})), "the EXIF of the picture is damaged");
}

TEST(ExifRewriting, IgnoresWhatATagCannotTake)
{
    const Bytes before = phoneExif(ByteOrder::little);
    const PropertyDictionary properties{{"Orientation", 9}, {"PixelWidth", 3}, {"Unknown", "x"},
        {"{GPS}", "x"},
        {"{TIFF}",
            PropertyDictionary{{"Software", 3}, {"ImageWidth", 5}, {"Orientation", "left"},
                {"XResolution", -1.0}, {"ResolutionUnit", 1.5}, {"WhitePoint", PropertyValue::List{1.0}}}},
        {"{Exif}",
            PropertyDictionary{{"MakerNote", PropertyValue::Bytes(3)}, {"ExifVersion", "2.3"},
                {"Flash", 1 << 16}, {"ExposureTime", std::nan("")}, {"PixelXDimension", -1},
                {"FNumber", PropertyValue::List{}}}}};
    EXPECT_TRUE(rewritten(before, properties) == before);
    const PropertyDictionary gps{{"{GPS}",
        PropertyDictionary{
            {"Latitude", 181.0}, {"Altitude", -3.0}, {"TimeStamp", "25:00:00"}, {"AltitudeRef", 256}}}};
    EXPECT_TRUE(rewritten(before, gps) == before) << "no empty directory either";
    EXPECT_EQ(textOf(rewritten(before, tiff({{"Software", "cut\0here"sv}})), "Software"), "cut");
}

TEST(ExifRewriting, TakesTheOrientationFromEitherPlace)
{
    const Bytes before = phoneExif(ByteOrder::big); // 6
    const auto orientation = [&](const PropertyDictionary& properties) {
        const PropertyDictionary result = propertiesOf(rewritten(before, properties));
        EXPECT_EQ(*result.find("Orientation"), *find(result, "{TIFF}", "Orientation"));
        return *result.find("Orientation")->integer();
    };
    EXPECT_EQ(orientation({{"Orientation", 3}, {"{TIFF}", PropertyDictionary{{"Orientation", 6}}}}), 3);
    EXPECT_EQ(orientation({{"Orientation", 6}, {"{TIFF}", PropertyDictionary{{"Orientation", 3}}}}), 3);
    EXPECT_EQ(orientation({{"Orientation", 1}}), 1);
    EXPECT_EQ(orientation(tiff({{"Orientation", 8}})), 8);
}

TEST(ExifRewriting, OfAStillWithoutExifMakesTheDirectoriesThatItNeeds)
{
    const PropertyDictionary given{{"Orientation", 6},
        {"{TIFF}",
            PropertyDictionary{
                {"Make", "Maker"}, {"Orientation", 6}, {"XResolution", 72}, {"Software", "Älbum"}}},
        {"{Exif}",
            PropertyDictionary{{"ExposureTime", 1.0 / 3}, {"ISOSpeedRatings", PropertyValue::List{100, 200}},
                {"DateTimeOriginal", "2026:11:25 10:00:00"}, {"ShutterSpeedValue", -3.25},
                {"UserComment", PropertyValue::Bytes(5, std::byte{7})}, {"SubsecTime", "042"},
                {"PixelXDimension", 70000}, {"PixelYDimension", 4}}},
        {"{GPS}",
            PropertyDictionary{{"LatitudeRef", "S"}, {"Latitude", 33.856784}, {"LongitudeRef", "W"},
                {"Longitude", 119.99999999999}, {"AltitudeRef", 1}, {"Altitude", 12.5},
                {"TimeStamp", "09:08:07.25"}, {"DateStamp", "2026:11:25"}, {"DOP", 4.0},
                {"ImgDirectionRef", "T"}, {"ImgDirection", 271.53}}}};
    const auto file = formats::rewriteImage(jpeg({}), given);
    ASSERT_TRUE(file);
    const PropertyDictionary read = formats::readImageProperties(*file);
    for (const char* name : {"{TIFF}", "{Exif}", "{GPS}"}) {
        for (const auto& [key, value] : *given.findDictionary(name)) {
            const PropertyValue* found = find(read, name, key);
            ASSERT_TRUE(found) << key;
            if (value.number())
                EXPECT_NEAR(*found->number(), *value.number(), 1e-9) << key;
            else
                EXPECT_TRUE(*found == value) << key;
        }
    }
    EXPECT_EQ(read.findDictionary("{TIFF}")->size(), 4U) << "nothing that was not asked for";
    EXPECT_EQ(*find(read, "{Exif}", "ExifVersion"), PropertyValue("0232"));
    EXPECT_EQ(*find(read, "{Exif}", "FlashpixVersion"), PropertyValue("0100"));
    EXPECT_EQ(*find(read, "{GPS}", "VersionID"), PropertyValue(PropertyValue::List{2, 3, 0, 0}));
    EXPECT_EQ(read.findDictionary("{Exif}")->size(), 8U + 3U);

    const auto inPng = formats::rewriteImage(png({}), {{"{Exif}", PropertyDictionary{{"Flash", 0}}}});
    ASSERT_TRUE(inPng);
    const PropertyDictionary readFromPng = formats::readImageProperties(*inPng);
    EXPECT_EQ(readFromPng.findDictionary("{Exif}")->size(), 2U);
    EXPECT_FALSE(readFromPng.findDictionary("{TIFF}"));
}

TEST(ExifNumbers, AreTheFractionsThatPeopleWouldWrite)
{
    struct Case {
        double number;
        std::uint32_t largest, numerator, denominator;
    };
    constexpr std::uint32_t all = 0xFFFFFFFF;
    for (const auto& [number, largest, numerator, denominator] :
        {Case{0, all, 0, 1}, {72, all, 72, 1}, {1.8, all, 18, 10}, {271.53, all, 27153, 100},
            {1.0 / 3, all, 1, 3}, {1.0 / 323, all, 1, 323}, {4294967295.0, all, all, 1},
            {1e-9, all, 1, 1'000'000'000}, {1e-12, all, 0, 1}, {2147483646.75, 0x7FFFFFFF, 2147483647, 1}}) {
        const formats::Fraction fraction = formats::fractionOf(number, largest);
        EXPECT_EQ(fraction.numerator, numerator) << number;
        EXPECT_EQ(fraction.denominator, denominator) << number;
    }
    for (double number = 1e-7; number < 4e9; number *= 1.2345678) {
        const formats::Fraction fraction = formats::fractionOf(number, all);
        EXPECT_NEAR(double(fraction.numerator) / fraction.denominator, number, number * 2.4e-10 + 2.4e-10)
            << number;
    }
    const formats::FractionTriple carried = formats::coordinateOf(119.99999999999);
    EXPECT_EQ(carried[0].numerator, 120U);
    EXPECT_EQ(carried[2].numerator, 0U);
    EXPECT_EQ(formats::clockText({9, 8, 7.25}), "09:08:07.25");
    EXPECT_EQ(formats::clockText({23, 59, 59.9999999}), "23:59:60")
        << "nearly the next day, as a leap second";
    EXPECT_EQ(formats::clockText({24, 0, 1}), std::nullopt);
    for (const char* wrong : {"9:08:07", "09:08:07.", "09:08:07.1234567", "09-08-07", "09:60:00", "+9:08:07"})
        EXPECT_FALSE(formats::clockFrom(wrong)) << wrong;
}

TEST(ExifRewriting, RefusesWhatNewBytesBehindItWouldComplete)
{
    const PropertyDictionary changed = tiff({{"Software", "a program"}, {"Model", "a camera"}});
    const char* reaches = "the EXIF is damaged: it reaches beyond its end";
    const auto blockWith = [](const std::vector<TiffBuilder::Entry>& entries, std::size_t next = 0) {
        TiffBuilder builder(ByteOrder::big);
        return builder.finish(builder.addDirectory(entries, next));
    };
    TiffBuilder builder(ByteOrder::big);
    const std::size_t end
        = blockWith({builder.longInteger(0x0201, 0), builder.longInteger(0x0202, 0)}).size();
    const auto thumbnail = [&](std::size_t begin, std::size_t size) {
        return blockWith({builder.longInteger(0x0201, begin), builder.longInteger(0x0202, size)});
    };
    EXPECT_EQ(errorOf(thumbnail(end - 4, 10), changed), reaches);
    EXPECT_EQ(errorOf(thumbnail(end, 4), changed), reaches);
    EXPECT_EQ(errorOf(thumbnail(end - 4, 100'000), changed), "") << "as damaged afterwards as before";
    EXPECT_EQ(errorOf(thumbnail(0, 50), changed), "") << "none at all";
    EXPECT_EQ(errorOf(blockWith({builder.longInteger(0x00FE, 1)}, end), changed), reaches)
        << "the next directory";
    TiffBuilder::Entry unknown = builder.longInteger(0xC000, end - 14);
    unknown.type = TiffType::undefined;
    unknown.count = 8;
    EXPECT_EQ(errorOf(blockWith({unknown, builder.longInteger(0xC001, 0)}), changed), "")
        << "its value lies inside";
    unknown.count = 40;
    EXPECT_EQ(errorOf(blockWith({unknown, builder.longInteger(0xC001, 0)}), changed), reaches);
    // Where strips were before somebody made a JPEG of a TIFF file.
    EXPECT_EQ(
        errorOf(blockWith({builder.longInteger(0x0111, 8), builder.longInteger(0x0117, 5000)}), changed), "");
}

TEST(ExifRewriting, DoesNotMoveADirectoryThatALoopLeadsTo)
{
    TiffBuilder builder(ByteOrder::big);
    const std::size_t first = builder.addDirectory({builder.text(0x0131, "program")});
    Bytes block = builder.finish(first);
    block = formats::spliced(block,
        {formats::Splice{.begin = block.size() - 4,
            .end = block.size(),
            .bytes = builder.numbers({static_cast<std::uint32_t>(first)})}});
    EXPECT_EQ(
        textOf(rewritten(block, tiff({{"Software", "another program"}})), "Software"), "another program");
    EXPECT_EQ(errorOf(block, tiff({{"Model", "a camera"}})), "directories of the EXIF form a loop");
}

TEST(ExifRewriting, EndsSoonWithPointersToNowhere)
{
    std::vector<std::uint32_t> places(16'000);
    std::ranges::generate(places, [place = 70'000U]() mutable { return place += 2; });
    TiffBuilder builder(ByteOrder::big);
    TiffBuilder::Entry pointers{.tag = 0x014A,
        .type = TiffType::longInteger,
        .count = 1000,
        .value = builder.numbers({places.begin(), places.begin() + 1000})};
    std::vector<TiffBuilder::Entry> entries;
    for (int number = 0; number < 15; ++number) {
        entries.push_back(pointers);
        pointers.value
            = builder.numbers({places.begin() + number * 1000, places.begin() + (number + 1) * 1000});
    }
    const Bytes block = builder.finish(builder.addDirectory(entries));
    EXPECT_EQ(textOf(rewritten(block, tiff({{"Software", "a program"}})), "Software"), "a program");
}

TEST(ExifRewriting, FollowsPreviewsBehindThePicture)
{
    const Bytes preview = bytesOf("\xFF\xD8\xFF\xDB the preview"sv);
    const Bytes spoilt = bytesOf("\x02\xD8\xFF\xE1 another"sv);
    for (const ByteOrder noteOrder : bothOrders) {
        const auto fileWith = [&](std::uint32_t one, std::uint32_t other) {
            TiffBuilder builder(ByteOrder::big);
            const TiffBuilder note(noteOrder);
            const Bytes numbers = join({bytesOf("MAKER\0"sv), note.numbers({one, 7, other, 0})});
            const std::size_t exif = builder.addDirectory({TiffBuilder::Entry{.tag = 0x927C,
                .type = TiffType::undefined,
                .count = static_cast<std::uint32_t>(numbers.size()),
                .value = numbers}});
            const Bytes block = builder.finish(
                builder.addDirectory({builder.text(0x0131, "old"), builder.longInteger(0x8769, exif)}));
            return join({jpeg({exifSegment(block)}), preview, spoilt});
        };
        const Bytes draft = fileWith(0, 0);
        const auto previewAt = static_cast<std::uint32_t>(draft.size() - spoilt.size() - preview.size());
        const auto spoiltAt = static_cast<std::uint32_t>(draft.size() - spoilt.size());
        const auto noteAt = static_cast<std::uint32_t>(placeOf(draft, "MAKER"));
        // Counted from the EXIF, and from the maker note itself.
        const Bytes file = fileWith(previewAt - exifBegin, spoiltAt - noteAt);
        const auto after
            = formats::rewriteImage(file, tiff({{"Software", "a longer one"}, {"Model", "camera"}}));
        ASSERT_TRUE(after) << after.error().localizedDescription;
        const std::size_t growth = after->size() - file.size();
        EXPECT_GT(growth, 0U);
        const std::size_t numbersAt = placeOf(*after, "MAKER") + 6;
        EXPECT_EQ(formats::number32(*after, numbersAt, noteOrder), previewAt - exifBegin + growth);
        EXPECT_EQ(formats::number32(*after, numbersAt + 4, noteOrder), 7U);
        EXPECT_EQ(formats::number32(*after, numbersAt + 8, noteOrder), spoiltAt - noteAt + growth);
        Bytes wrong = *after;
        wrong[numbersAt + 3] ^= std::byte{1};
        wrong[numbersAt] ^= std::byte{1};
        EXPECT_FALSE(formats::pictureDataIsEqual(file, wrong));
    }
}

} // namespace tamsel::tests
