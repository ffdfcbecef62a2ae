#include "support/CaptureScreen.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace tamsel::tests {

using namespace platform;

namespace {

struct Lens {
    float fieldOfView = 60;
    int minimumFocusDistance = 100;
    std::string systemVersion = "16.0";
    double maxZoomFactor = 16;
};

/// The zoom factor after a start with this object size; 1 when the camera was left alone.
double zoomFor(const Lens& lens, const std::any& size, std::size_t* locks = nullptr)
{
    simulated::PhoneConfiguration configuration{.systemVersion = lens.systemVersion};
    configuration.cameras[0].videoFieldOfView = lens.fieldOfView;
    configuration.cameras[0].minimumFocusDistance = lens.minimumFocusDistance;
    configuration.cameras[0].maxZoomFactor = lens.maxZoomFactor;
    CaptureScreen screen(configuration);
    screen.startAndRun(SourceType::cameraBack(false), {{"minimumFocusObjectSize", size}});
    EXPECT_EQ(screen.phone.journal().texts("lock").size(), screen.phone.journal().texts("unlock").size());
    if (locks)
        *locks = screen.phone.journal().texts("lock").size();
    return screen.back().zoomFactor();
}

} // namespace

TEST(MinimumFocusZoom, IsTheDistanceRatioInSinglePrecision)
{
    // 20 mm fill the view of 60 degrees at 20 / tan(60°) = 11.547 mm.
    EXPECT_FLOAT_EQ(static_cast<float>(zoomFor({}, 20.0)), 8.6602535F);
    // The constant just below π, not the nearest to it: the last bits differ.
    const float product = 75.0F * std::bit_cast<float>(0x40490FDAU);
    EXPECT_EQ(zoomFor({.fieldOfView = 75}, 50.0),
        static_cast<double>(100.0F / (50.0F / std::tan(product / 180.0F))));
    EXPECT_EQ(zoomFor({}, 200.0), 1);
}

TEST(MinimumFocusZoom, IsLeftAloneWithoutAReason)
{
    std::size_t locks = 0;
    for (const std::any& size : {std::any(std::string("20")), std::any(20), std::any(20.0F), std::any()}) {
        EXPECT_EQ(zoomFor({}, size, &locks), 1);
        EXPECT_EQ(locks, 0U);
    }
    EXPECT_EQ(zoomFor({.minimumFocusDistance = -1}, 20.0, &locks), 1);
    EXPECT_EQ(zoomFor({.systemVersion = "15.9"}, 20.0, &locks), 1);
    EXPECT_EQ(zoomFor({}, std::numeric_limits<double>::quiet_NaN(), &locks), 1);
    EXPECT_EQ(zoomFor({.minimumFocusDistance = 0}, 20.0, &locks), 1);
    EXPECT_EQ(locks, 0U);
    EXPECT_GT(zoomFor({.systemVersion = "17.1"}, 20.0, &locks), 1);
    EXPECT_EQ(locks, 1U);
}

TEST(MinimumFocusZoom, StaysWithinWhatTheDeviceAccepts)
{
    EXPECT_EQ(zoomFor({.maxZoomFactor = 4}, 20.0), 4);
    EXPECT_EQ(zoomFor({}, 0.0), 16);
    EXPECT_EQ(zoomFor({}, -20.0), 1);
    EXPECT_EQ(zoomFor({}, -0.0), 1);
    EXPECT_EQ(zoomFor({.fieldOfView = 120}, 20.0), 1) << "more than 90 degrees: the distance is negative";
    EXPECT_EQ(zoomFor({}, -std::numeric_limits<double>::infinity()), 1);
    EXPECT_EQ(zoomFor({}, 1e-300), 16);
}

TEST(MinimumFocusZoom, WritesOneLineWhenTheDeviceCannotBeLockedAndStartsAllTheSame)
{
    simulated::PhoneConfiguration configuration;
    configuration.cameras[0].minimumFocusDistance = 100;
    CaptureScreen screen(configuration);
    screen.phone.refuse(engine::CaptureCall::lockForConfiguration);
    screen.startAndRun(SourceType::cameraBack(false), {{"minimumFocusObjectSize", 20.0}});
    EXPECT_EQ(screen.phone.journal().texts("line"),
        Texts{"line Could not lock for configuration: the device cannot be locked"});
    EXPECT_EQ(screen.phone.journal().texts("setVideoZoom"), Texts{});
    EXPECT_EQ(screen.phone.journal().texts("unlock"), Texts{});
    EXPECT_EQ(screen.client->calls, Texts{});
    EXPECT_TRUE(screen.back().isStarted());
}

TEST(ConnectionOrientation, FollowsTheStatusBarOnTheMainThread)
{
    CaptureScreen screen;
    screen.startAndRun();
    screen.phone.journal().clear();
    screen.phone.setInterfaceOrientation(UIInterfaceOrientation::landscapeLeft);
    screen.phone.run();
    EXPECT_EQ(screen.phone.journal().texts(),
        (Texts{"setVideoOrientation landscapeLeft", "setVideoOrientation landscapeLeft"}));
    EXPECT_EQ(screen.previewLayer()->connection()->videoOrientation(), AVCaptureVideoOrientation::portrait);

    for (const auto odd : {UIInterfaceOrientation::unknown, static_cast<UIInterfaceOrientation>(9)}) {
        screen.phone.setInterfaceOrientation(odd);
        screen.phone.run();
        EXPECT_EQ(screen.phone.journal().texts().back(), "setVideoOrientation portrait");
    }

    // Told on another thread, it waits for the main queue.
    screen.phone.journal().clear();
    screen.phone.asThread("elsewhere", [&] {
        screen.phone.platform().notificationCenter.post(
            UIApplicationDidChangeStatusBarOrientationNotification);
    });
    EXPECT_EQ(screen.phone.journal().texts(), Texts{});
    screen.phone.run();
    EXPECT_EQ(screen.phone.journal().texts().size(), 2U);
    screen.phone.asThread("elsewhere", [&] {
        screen.phone.platform().notificationCenter.post(
            UIApplicationDidChangeStatusBarOrientationNotification);
    });
    screen.manager.reset();
    screen.phone.run();
}

} // namespace tamsel::tests
