#include "support/CaptureScreen.h"
#include "support/PictureFiles.h"

#include <tamsel/photo/OvriLocationMetadataDelegate.h>
#include <tamsel/photo/makeImage.h>
#include <tamsel/platform/ImageServices.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace tamsel::tests {

using namespace platform;
using CameraModel = OvriLocationMetadataDelegate::CameraModel;

namespace {

class PlainPhoto final : public AVCapturePhoto {
public:
    explicit PlainPhoto(PropertyDictionary metadata) : metadata_(std::move(metadata)) { }

    [[nodiscard]] const PropertyDictionary& metadata() const override { return metadata_; }
    [[nodiscard]] std::optional<std::vector<std::byte>> fileDataRepresentation() const override { return {}; }
    [[nodiscard]] std::optional<std::vector<std::byte>> fileDataRepresentation(
        AVCapturePhotoFileDataRepresentationCustomizer& /*customizer*/) const override
    {
        return {};
    }

private:
    PropertyDictionary metadata_;
};

Texts keysOf(const PropertyDictionary& dictionary)
{
    Texts keys;
    for (const auto& [key, value] : dictionary)
        keys.push_back(key);
    return keys;
}

/// "Sydney": a fix with every sign, one hour before midnight of 2023-11-14 UTC.
constexpr CLLocation sydney{.latitude = -33.8688,
    .longitude = 151.2093,
    .altitude = -4.0,
    .horizontalAccuracy = 17.5,
    .timestamp = 1'700'002'799.9};

struct PhotoMetadata : testing::Test {
    simulated::Phone phone{{.systemVersion = "16.4", .model = "Tablet"}};
    Platform& platform = phone.platform();
    OvriLocationMetadataDelegate customizer{CameraModel::facingBack, platform};

    PropertyDictionary gps() { return customizer.gpsMetadata().value_or(PropertyDictionary{}); }
    PropertyDictionary rewritten(PropertyDictionary dictionary, CameraModel model = CameraModel::album)
    {
        return OvriLocationMetadataDelegate::addingTIFFMetadata(std::move(dictionary), model, platform);
    }
};

} // namespace

TEST_F(PhotoMetadata, StatesTheLastKnownLocationInOrder)
{
    EXPECT_FALSE(customizer.gpsMetadata().has_value());
    phone.location().setHeading(CLHeading{12.5});
    EXPECT_FALSE(customizer.gpsMetadata().has_value()) << "a heading alone is no place";
    phone.location().setHeading(std::nullopt);
    phone.location().setLocation(sydney);
    const PropertyDictionary expected{{"DateStamp", "2023:11:14"}, {"TimeStamp", "22:59:59"},
        {"LatitudeRef", "S"}, {"Latitude", 33.8688}, {"LongitudeRef", "E"}, {"Longitude", 151.2093},
        {"DOP", 17.5}, {"AltitudeRef", 1}, {"Altitude", 4.0}};
    EXPECT_EQ(describe(gps()), describe(expected));
    EXPECT_TRUE(gps() == expected);

    phone.location().setHeading(CLHeading{359.5});
    EXPECT_EQ(gps().size(), 11U);
    EXPECT_EQ(keysOf(gps()).at(9), "ImgDirectionRef");
    EXPECT_EQ(keysOf(gps()).at(10), "ImgDirection");
    EXPECT_EQ(*gps().find("ImgDirectionRef"), PropertyValue("T"));
    EXPECT_EQ(*gps().find("ImgDirection"), PropertyValue(359.5));
}

TEST_F(PhotoMetadata, CountsZeroAsNorthEastAndAboveTheSea)
{
    for (const double zero : {0.0, -0.0}) {
        phone.location().setLocation(CLLocation{.latitude = zero, .longitude = zero, .altitude = zero});
        EXPECT_EQ(*gps().find("LatitudeRef"), PropertyValue("N"));
        EXPECT_EQ(*gps().find("LongitudeRef"), PropertyValue("E"));
        EXPECT_EQ(*gps().find("AltitudeRef"), PropertyValue(0));
        EXPECT_FALSE(std::signbit(*gps().find("Latitude")->real()));
    }
    phone.location().setLocation(CLLocation{.latitude = 0, .longitude = -0.5});
    EXPECT_EQ(*gps().find("LongitudeRef"), PropertyValue("W"));
    EXPECT_EQ(*gps().find("Longitude"), PropertyValue(0.5));
}

TEST_F(PhotoMetadata, StampsTheFixInUtc)
{
    const std::vector<std::pair<double, std::pair<const char*, const char*>>> cases{
        {0.0, {"1970:01:01", "00:00:00"}},
        {-0.5, {"1969:12:31", "23:59:59"}},
        {951'782'400.0, {"2000:02:29", "00:00:00"}},
        {4'102'444'799.999, {"2099:12:31", "23:59:59"}},
        {1e300, {"9999:12:31", "23:59:59"}},
        {-std::numeric_limits<double>::infinity(), {"0000:01:01", "00:00:00"}},
        {std::numeric_limits<double>::quiet_NaN(), {"1970:01:01", "00:00:00"}},
    };
    for (const auto& [timestamp, stamps] : cases) {
        phone.location().setLocation(CLLocation{.timestamp = timestamp});
        EXPECT_EQ(*gps().find("DateStamp"), PropertyValue(stamps.first));
        EXPECT_EQ(*gps().find("TimeStamp"), PropertyValue(stamps.second));
    }
}

TEST_F(PhotoMetadata, ReplacesThePhotosOwnPlaceOnlyByAKnownOne)
{
    const PropertyDictionary own{{"LatitudeRef", "N"}, {"Speed", 3.0}};
    const PlainPhoto photo({{"{GPS}", own}, {"Orientation", 6},
        {"{TIFF}", PropertyDictionary{{"Software", "16.4"}, {"Model", "Phone 12"}, {"Make", "M"}}}});
    PropertyDictionary metadata = customizer.replacementMetadataForPhoto(photo);
    EXPECT_TRUE(*metadata.findDictionary("{GPS}") == own);
    EXPECT_EQ(keysOf(metadata), (Texts{"{GPS}", "Orientation", "{TIFF}"}));
    EXPECT_EQ(describe(*metadata.findDictionary("{TIFF}")),
        R"({"Software": "Mobile SDK. iOS 16.4", "Model": "Phone 12 facing back", "Make": "M"})");

    phone.location().setLocation(sydney);
    metadata = customizer.replacementMetadataForPhoto(photo);
    EXPECT_EQ(metadata.findDictionary("{GPS}")->size(), 9U);
    EXPECT_EQ(metadata.findDictionary("{GPS}")->find("Speed"), nullptr);
}

TEST_F(PhotoMetadata, FillsSoftwareAndModelFromTheDevice)
{
    const char* fromDevice = R"({"Software": "Mobile SDK. iOS 16.4", "Model": "Tablet photo album"})";
    const auto tiffOf = [&](PropertyDictionary dictionary) {
        return describe(*rewritten(std::move(dictionary)).findDictionary("{TIFF}"));
    };
    EXPECT_EQ(tiffOf({}), fromDevice);
    EXPECT_EQ(tiffOf({{"{TIFF}", "no dictionary"}}), fromDevice);
    EXPECT_EQ(tiffOf({{"{TIFF}", PropertyDictionary{{"Software", 16.4}, {"Model", 12}}}}), fromDevice);
    EXPECT_EQ(tiffOf({{"{TIFF}", PropertyDictionary{{"Software", ""}, {"Model", ""}}}}),
        R"({"Software": "Mobile SDK. iOS ", "Model": " photo album"})");
    // Twice is twice.
    EXPECT_EQ(describe(*rewritten(rewritten({}), CameraModel::facingFront).findDictionary("{TIFF}")),
        R"({"Software": "Mobile SDK. iOS Mobile SDK. iOS 16.4", "Model": "Tablet photo album facing front"})");
}

TEST_F(PhotoMetadata, KnowsItsCameraModelsByTheirTextsOnly)
{
    EXPECT_EQ(CameraModel::fromRawValue("facing front"), CameraModel::facingFront);
    EXPECT_EQ(CameraModel::fromRawValue("facing back"), CameraModel::facingBack);
    EXPECT_EQ(CameraModel::fromRawValue("photo album"), CameraModel::album);
    for (const char* other : {"", "album", "Photo album", "facing back ", "facingBack"})
        EXPECT_EQ(CameraModel::fromRawValue(other), std::nullopt) << other;
}

TEST(PropertyDictionary, KeepsTheOrderOfFirstSetting)
{
    PropertyDictionary dictionary{{"b", 1}, {"a", "text"}};
    dictionary.set("b", 2.5);
    dictionary.set("c", PropertyDictionary{{"inner", PropertyValue::List{1, "two"}}});
    EXPECT_EQ(describe(dictionary), R"({"b": 2.5, "a": "text", "c": {"inner": [1, "two"]}})");
    EXPECT_FALSE(dictionary == (PropertyDictionary{{"a", "text"}, {"b", 2.5}}));
    EXPECT_TRUE(dictionary.remove("b"));
    EXPECT_FALSE(dictionary.remove("b"));
    dictionary.set("b", PropertyValue::Bytes(3));
    EXPECT_EQ(describe(dictionary), R"({"a": "text", "c": {"inner": [1, "two"]}, "b": <3 bytes>})");
    EXPECT_FALSE(PropertyValue(1) == PropertyValue(1.0)) << "an integer is no real";
}

TEST(AlbumImage, ComesBackStampedWithTheGivenOrientation)
{
    CaptureScreen screen;
    screen.manager->setDelegate(screen.client);
    const auto pixels = std::make_shared<CVPixelBuffer>(3, 2);
    const auto picture = screen.phone.images().pngRepresentation(UIImage(pixels));
    ASSERT_TRUE(picture.has_value());
    screen.manager->provide(*picture, {{"{TIFF}", PropertyDictionary{{"Artist", "Somebody"}}}},
        CGImagePropertyOrientation::leftMirrored);
    EXPECT_EQ(screen.client->samples.size(), 0U) << "never inside the call";
    screen.phone.run();
    ASSERT_EQ(screen.client->samples.size(), 1U);
    const CaptureSampleUpdate& sample = *screen.client->samples.front();
    EXPECT_TRUE(sample.isAlbum() && !sample.isCamera());
    EXPECT_EQ(sample.exifOrientation(), CGImagePropertyOrientation::leftMirrored);
    const PropertyDictionary properties
        = screen.phone.platform().images.makeImageSource(sample.sample())->copyProperties();
    const PropertyDictionary* tiff = properties.findDictionary("{TIFF}");
    ASSERT_TRUE(tiff);
    EXPECT_EQ(*tiff->find("Model"), PropertyValue("Simulated phone photo album"));
    EXPECT_EQ(*tiff->find("Software"), PropertyValue("Mobile SDK. iOS 16.4"));
    EXPECT_EQ(*tiff->find("Artist"), PropertyValue("Somebody"));
    const auto image = makeImage(sample, screen.phone.platform());
    ASSERT_TRUE(image.has_value());
    EXPECT_EQ(image->ciImage().extent().size, (CGSize{3, 2}));
}

TEST(AlbumImage, ThatIsNoneComesBackAsItIs)
{
    CaptureScreen screen;
    const auto refused = bytesOf("no picture at all");
    for (const auto& bytes :
        {refused, bytesOf(""), bytesOf("\x89PNG\r\n\x1a\n"), bytesOf("\xff\xd8\xff\xd9")})
        screen.manager->provide(bytes, {}, CGImagePropertyOrientation::up);
    // Set after the calls: looked up when the samples are delivered.
    screen.manager->setDelegate(screen.client);
    screen.phone.run();
    ASSERT_EQ(screen.client->samples.size(), 4U);
    EXPECT_TRUE(screen.client->samples.at(0)->sample() == refused);
    EXPECT_TRUE(screen.client->samples.at(1)->sample().empty());
    EXPECT_EQ(screen.client->samples.at(2)->sample().size(), 8U);
    EXPECT_EQ(screen.client->samples.at(3)->sample().size(), 4U);
    EXPECT_EQ(screen.phone.journal().texts("report"), Texts{});

    screen.manager->provide(refused, {}, CGImagePropertyOrientation::up);
    screen.manager.reset();
    screen.phone.run();
    EXPECT_EQ(screen.client->samples.size(), 4U) << "nothing once the manager is gone";
}

} // namespace tamsel::tests
