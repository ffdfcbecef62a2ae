#include "support/PictureFiles.h"

#include <simulated/Phone.h>
#include <simulated/showPlaces.h>

#include <engine/image/renderImage.h>

#include <tamsel/photo/makeImage.h>

#include <gtest/gtest.h>

#include <array>
#include <cmath>

namespace tamsel::tests {

using namespace platform;

namespace {

std::shared_ptr<CVPixelBuffer> picture(std::size_t width, std::size_t height)
{
    auto buffer = std::make_shared<CVPixelBuffer>(width, height);
    simulated::showPlaces(*buffer, 9);
    return buffer;
}

OvriCaptureFrameUpdate frame(
    std::shared_ptr<CVPixelBuffer> buffer, std::optional<CGAffineTransform> transform = std::nullopt)
{
    return {std::move(buffer), nullptr, CGImagePropertyOrientation::down, transform};
}

/// The place, column and row in the source, that a rendered pixel shows.
std::array<int, 2> placeShown(const CVPixelBuffer& pixels, std::size_t x, std::size_t y)
{
    return {std::to_integer<int>(pixels.pixel(x, y)[0]), std::to_integer<int>(pixels.pixel(x, y)[1])};
}

using Place = std::array<int, 2>;

} // namespace

TEST(ImageFromSample, IsDecodedUprightAndOnlyWhenSomebodyRendersIt)
{
    simulated::Phone phone;
    const auto script = std::make_shared<simulated::PictureScript>(picture(6, 4), picture(4, 6));
    phone.images().put(bytesOf("photo"), script);
    CaptureSampleUpdate update(bytesOf("photo"), OvriImageSource::photo, CGImagePropertyOrientation::left);
    update.setSource(OvriImageSource::album);
    const auto image = makeImage(update, phone.platform());
    ASSERT_TRUE(image.has_value());
    EXPECT_EQ(image->source(), OvriImageSource::album) << "as it is now";
    EXPECT_EQ(image->ciImage().extent(), (CGRect{{0, 0}, {6, 4}}));
    EXPECT_EQ(script->decodes, 0);
    const auto rendered = engine::renderImage(image->ciImage());
    ASSERT_TRUE(rendered.has_value());
    EXPECT_EQ(*rendered, script->pixels);
    EXPECT_EQ(script->decodes, 1);

    for (const char* none : {"", "letter"})
        EXPECT_FALSE(makeImage(
            CaptureSampleUpdate(bytesOf(none), OvriImageSource::photo, CGImagePropertyOrientation::up),
            phone.platform())
                .has_value());

    // A real file that nobody has put a picture behind has a size, upright, and no pixels.
    simulated::Phone other;
    const auto file = other.images().encodePhoto(*picture(3, 2), {{"Orientation", 6}});
    ASSERT_TRUE(file.has_value());
    const auto unknown = makeImage(
        CaptureSampleUpdate(*file, OvriImageSource::photo, CGImagePropertyOrientation::up), phone.platform());
    ASSERT_TRUE(unknown.has_value());
    EXPECT_EQ(unknown->ciImage().extent().size, (CGSize{2, 3}));
    EXPECT_FALSE(engine::renderImage(unknown->ciImage()).has_value());

    script->canBeDecoded = false;
    EXPECT_FALSE(engine::renderImage(makeImage(update, phone.platform())->ciImage()).has_value());
}

TEST(ImageFromFrame, SharesThePixelsAndIsMovedByItsTransformAlone)
{
    const auto buffer = picture(6, 4);
    const OvriImage plain = makeImage(frame(buffer));
    EXPECT_EQ(plain.source(), OvriImageSource::video);
    EXPECT_EQ(plain.ciImage().extent(), (CGRect{{0, 0}, {6, 4}}));
    EXPECT_EQ(*engine::renderImage(plain.ciImage()), buffer) << "neither copied nor turned";

    const OvriImage turned = makeImage(frame(buffer, CGAffineTransform{0, 1, -1, 0, 0, 0}));
    EXPECT_EQ(turned.source(), OvriImageSource::video);
    EXPECT_EQ(turned.ciImage().extent(), (CGRect{{-4, 0}, {4, 6}})) << "left where the transform puts it";
    const OvriImage moved = makeImage(frame(buffer, CGAffineTransform{0, 1, -1, 0, 100, -7}));
    EXPECT_EQ(moved.ciImage().extent(), (CGRect{{96, -7}, {4, 6}}));
    const CIImage twice = turned.ciImage().imageByApplyingTransform({2, 0, 0, 2, 1, 0});
    EXPECT_EQ(twice.extent(), (CGRect{{-7, 0}, {8, 12}})) << "the first transform first";
}

TEST(RenderImage, KeepsEachPixelWhenItTurnsByRightAnglesOrMirrors)
{
    struct Case {
        CGAffineTransform transform;
        Place topLeft, topRight, bottomLeft; ///< which place of the source is shown there
    };
    // The source is 6 wide and 4 high; y grows upwards, so (0, 1, -1, 0) turns to the left.
    for (const Case& one : std::vector<Case>{
             {{1, 0, 0, 1, 3.25, -8}, {0, 0}, {5, 0}, {0, 3}},
             {{0, 1, -1, 0, 0, 0}, {5, 0}, {5, 3}, {0, 0}},
             {{-1, 0, 0, -1, 0, 0}, {5, 3}, {0, 3}, {5, 0}},
             {{0, -1, 1, 0, 0, 6}, {0, 3}, {0, 0}, {5, 3}},
             {{-1, 0, 0, 1, 6, 0}, {5, 0}, {0, 0}, {5, 3}},
             {{1, 0, 0, -1, 0, 4}, {0, 3}, {5, 3}, {0, 0}},
             {{0, 1, 1, 0, 0, 0}, {5, 3}, {5, 0}, {0, 3}},
             {{0, -1, -1, 0, 0.5, 0.5}, {0, 0}, {0, 3}, {5, 0}},
         }) {
        const auto rendered = engine::renderImage(makeImage(frame(picture(6, 4), one.transform)).ciImage());
        ASSERT_TRUE(rendered.has_value());
        const CVPixelBuffer& pixels = **rendered;
        EXPECT_EQ(pixels.width() * pixels.height(), 24U);
        EXPECT_EQ(placeShown(pixels, 0, 0), one.topLeft);
        EXPECT_EQ(placeShown(pixels, pixels.width() - 1, 0), one.topRight);
        EXPECT_EQ(placeShown(pixels, 0, pixels.height() - 1), one.bottomLeft);
        for (std::size_t y = 0; y < pixels.height(); ++y) {
            for (std::size_t x = 0; x < pixels.width(); ++x)
                EXPECT_EQ(std::to_integer<int>(pixels.pixel(x, y)[3]), 255);
        }
    }
}

TEST(RenderImage, InterpolatesOtherTransformsAndLeavesTheRestTransparent)
{
    // Four pixels that lie on no plane, one of them nearly transparent, in twice the size.
    const auto four = std::make_shared<CVPixelBuffer>(2, 2);
    for (const auto& [x, y, blue, alpha] :
        {std::array{0, 0, 0, 255}, {1, 0, 200, 51}, {0, 1, 100, 255}, {1, 1, 40, 255}}) {
        std::byte* pixel = four->baseAddress() + static_cast<std::size_t>(y) * four->bytesPerRow() + 4 * x;
        pixel[0] = static_cast<std::byte>(blue);
        pixel[3] = static_cast<std::byte>(alpha);
    }
    const auto rendered
        = engine::renderImage(makeImage(frame(four, CGAffineTransform{2, 0, 0, 2, 0, 0})).ciImage());
    ASSERT_TRUE(rendered.has_value());
    // Each counts by its nearness (9, 3, 3 and 1 sixteenths) and its alpha; around the picture nothing is.
    for (const auto& [x, y, blue, alpha] : {std::array{1, 1, 34, 217}, {2, 1, 66, 140}, {1, 2, 70, 242},
             {2, 2, 57, 217}, {0, 0, 0, 143}, {3, 0, 200, 29}, {0, 1, 25, 191}}) {
        const std::byte* pixel = (*rendered)->pixel(static_cast<std::size_t>(x), static_cast<std::size_t>(y));
        EXPECT_EQ(std::to_integer<int>(pixel[0]), blue) << x << " " << y;
        EXPECT_EQ(std::to_integer<int>(pixel[3]), alpha) << x << " " << y;
    }

    const double half = std::sqrt(0.5);
    const auto tilted = engine::renderImage(
        makeImage(frame(picture(20, 20), CGAffineTransform{half, half, -half, half, 0, 0})).ciImage());
    ASSERT_TRUE(tilted.has_value());
    EXPECT_EQ((*tilted)->width(), 29U);
    EXPECT_EQ(std::to_integer<int>((*tilted)->pixel(0, 0)[3]), 0) << "outside of the picture";
    EXPECT_EQ(std::to_integer<int>((*tilted)->pixel(14, 14)[3]), 255);

    for (const CGAffineTransform& none :
        {CGAffineTransform{0, 0, 0, 0, 0, 0}, CGAffineTransform{1, 1, 1, 1, 0, 0},
            CGAffineTransform{std::nan(""), 0, 0, 1, 0, 0}, CGAffineTransform{1e9, 0, 0, 1e9, 0, 0},
            CGAffineTransform{1, 0, 0, 1, std::numeric_limits<double>::infinity(), 0}})
        EXPECT_FALSE(engine::renderImage(makeImage(frame(picture(6, 4), none)).ciImage()).has_value());
}

} // namespace tamsel::tests
