#include <tamsel/camera/CameraConfiguration.h>
#include <tamsel/facade/types/CaptureSampleUpdate.h>
#include <tamsel/facade/types/OvriCaptureFrameUpdate.h>
#include <tamsel/facade/types/OvriMetadataObjects.h>
#include <tamsel/facade/types/OvriSourceToSession.h>
#include <tamsel/facade/types/SourceType.h>

#include <gtest/gtest.h>

namespace tamsel::tests {

using namespace platform;
using Position = CameraConfiguration::Position;

TEST(MetadataKinds, ConvertToTheirIdentifiersAndBack)
{
    const std::vector<std::string> identifiers{"org.iso.Code39", "org.iso.Code39Mod43", "com.intermec.Code93",
        "org.iso.Code128", "org.gs1.EAN-8", "org.gs1.EAN-13", "org.ansi.Interleaved2of5", "org.gs1.ITF14",
        "org.gs1.UPC-E", "org.iso.Aztec", "org.iso.DataMatrix", "org.iso.PDF417", "org.iso.QRCode"};
    std::vector<MetadataObjectType> all = allBarcodes();
    ASSERT_EQ(all.size(), identifiers.size());
    for (std::size_t index = 0; index < all.size(); ++index) {
        EXPECT_EQ(all[index].rawValue(), identifiers[index]);
        EXPECT_EQ(MetadataObjectType::fromRawValue(identifiers[index]), all[index]);
    }
    const std::vector<MetadataObjectType> flat = all1DBarcodes();
    EXPECT_EQ(flat, (std::vector<MetadataObjectType>{all.begin(), all.begin() + 9}));
    EXPECT_EQ(all2DBarcodes(), (std::vector<MetadataObjectType>{all.begin() + 9, all.end()}));

    EXPECT_EQ(MetadataObjectType(MetadataObjectType::face).rawValue(), "face");
    EXPECT_EQ(MetadataObjectType::fromRawValue("face"), MetadataObjectType(MetadataObjectType::face));
    for (const char* unknown : {"", "qr", "Face", "org.iso.QR", "org.iso.QRCode ", "org.iso.MicroQR"})
        EXPECT_EQ(MetadataObjectType::fromRawValue(unknown), std::nullopt) << unknown;
    EXPECT_EQ(std::hash<MetadataObjectType>{}(all[3]),
        std::hash<MetadataObjectType>{}(MetadataObjectType::code128));
}

TEST(CameraPositions, ConvertExactlyFromText)
{
    for (const auto& [position, text, capture] :
        {std::tuple{Position::front, "front", AVCaptureDevicePosition::front},
            {Position::back, "back", AVCaptureDevicePosition::back},
            {Position::unspecified, "unspecified", AVCaptureDevicePosition::unspecified}}) {
        EXPECT_EQ(Position::fromRawValue(text), Position(position));
        EXPECT_EQ(Position(position).rawValue(), text);
        EXPECT_EQ(Position::decode(Position(position).encode()), Position(position));
        EXPECT_EQ(Position(position).capturePosition(), capture);
    }
    EXPECT_EQ(Position::fromRawValue("Front"), std::nullopt);
    EXPECT_EQ(Position::fromRawValue(""), std::nullopt);
    EXPECT_EQ(Position::decode("Front").error().localizedDescription,
        "'Front' is not a camera position: expected front, back or unspecified");
}

} // namespace tamsel::tests
