// The screens of docs/testing.md.

#include <simulated/explore.h>

#include <tamsel/client/SourceCallbacks.h>
#include <tamsel/facade/OvriSourceManager.h>
#include <tamsel/platform/Platform.h>
#include <tamsel/platform/RunLoop.h>

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tamsel::tests {

using namespace platform;
using namespace std::chrono_literals;
using simulated::ExploreOptions;
using simulated::ExploreResult;
using simulated::Phone;
using Lines = std::vector<std::string>;

namespace {

ExploreOptions options(std::size_t runs)
{
    ExploreOptions options{
        .runs = runs, .maximumDelays = 2, .choicesFrom = 100ms, .choicesUntil = 300ms, .threads = 0};
    options.phone.cameras.front() = {.width = 8, .height = 6, .frameInterval = 33ms};
    return options;
}

std::shared_ptr<OvriSourceManager> makeManager(Phone& phone)
{
    return OvriSourceManager::create(
        {}, CameraConfiguration::SessionPreset::photo, phone.makeQueue("screen"), phone.platform());
}

enum class Fault : std::uint8_t { none, asksAgainOnResume, armsOnResume };

/// Takes one still of the first code, which comes into view when the person leaves for a moment.
ExploreResult exploreCodeScreen(Fault fault)
{
    return simulated::explore(options(600), [fault](Phone& phone) -> std::optional<std::string> {
        bool isAsked = false;
        int stills = 0;
        const auto ask = [&](OvriSourceManager& manager) {
            isAsked = true;
            manager.captureStillImage(OvriImageSource::photo, std::nullopt);
        };
        const auto screen = makeDelegate({.didGetSample =
                                              [&](OvriSourceManager&, const auto&) {
                                                  ++stills;
                                                  isAsked = false;
                                              },
            .didGetSourceError =
                [&](OvriSourceManager&, const SourceError& error) {
                    if (std::get<CameraError>(error) == CameraError::captureImageFailed())
                        isAsked = isAsked && fault == Fault::armsOnResume;
                },
            .cameraDidResume =
                [&](OvriSourceManager& manager) {
                    if (fault == Fault::asksAgainOnResume && isAsked)
                        ask(manager);
                    isAsked = isAsked && fault != Fault::armsOnResume;
                },
            .didDetectCodes =
                [&](OvriSourceManager& manager, const auto&) {
                    if (!isAsked && stills == 0)
                        ask(manager);
                }});
        const auto view = std::make_shared<UIView>();
        const auto manager = makeManager(phone);
        manager->setMetadataDetection({MetadataObjectType::qr}, screen);
        if (!manager->startSession(SourceType::cameraBack(false), screen, {}, view))
            return "no start";
        phone.at(110ms, "code",
            [&] { phone.detector().show({simulated::code(MetadataObjectType::qr, "hello")}); });
        phone.at(132ms, "leave", [&] { phone.enterBackground(); });
        phone.at(140ms, "return", [&] { phone.enterForeground(); });
        phone.advance(6s);
        return stills == 1 ? std::nullopt : std::optional(std::to_string(stills) + " stills");
    });
}

/// Raises an alarm when no frame has come for so long.
ExploreResult exploreWatchdog(std::chrono::milliseconds patience, std::chrono::milliseconds lateBy)
{
    ExploreOptions late = options(1900);
    late.lateBy = lateBy;
    return simulated::explore(late, [patience](Phone& phone) -> std::optional<std::string> {
        std::optional<std::chrono::nanoseconds> last;
        bool isAlarmed = false;
        const auto screen = makeDelegate(
            {.didGetFrame = [&](OvriSourceManager&, const OvriCaptureFrameUpdate&) { last = phone.now(); }});
        const auto manager = makeManager(phone);
        if (!manager->startSession(SourceType::cameraBack(false), screen, {}, nullptr))
            return "no start";
        const auto timer = phone.platform().runLoops.current().scheduleTimer(
            50ms, true, [&](Timer&) { isAlarmed = isAlarmed || (last && phone.now() - *last > patience); });
        phone.advance(500ms);
        timer->invalidate();
        return isAlarmed ? std::optional<std::string>("false alarm") : std::nullopt;
    });
}

} // namespace

TEST(FaultyScreens, AreFoundAndExplained)
{
    const ExploreResult again = exploreCodeScreen(Fault::asksAgainOnResume);
    ASSERT_TRUE(again.failure);
    EXPECT_EQ(again.failure->reason, "2 stills");
    EXPECT_EQ(again.failure->order, (Lines{"\"frame of simulated:0\" before \"leave\" at 132 ms"}));

    const ExploreResult armed = exploreCodeScreen(Fault::armsOnResume);
    ASSERT_TRUE(armed.failure);
    EXPECT_EQ(armed.failure->reason, "2 stills");
    EXPECT_EQ(armed.failure->order,
        (Lines{"\"frame of simulated:0\" before \"leave\" at 132 ms",
            "\"video-frame-queue\" before \"photo\" at 173 ms"}));

    const ExploreResult inTime = exploreWatchdog(100ms, 0ms);
    EXPECT_FALSE(inTime.failure) << inTime;
    const ExploreResult late = exploreWatchdog(100ms, 60ms);
    ASSERT_TRUE(late.failure);
    EXPECT_EQ(late.failure->order,
        (Lines{"time passes 18 ms before \"video-frame-queue\" at 132 ms",
            "time passes 60 ms before \"screen\" at 150 ms"}));
    EXPECT_LE(again.runs + armed.runs + late.runs, 20U);
}

TEST(FaultyScreens, AreFineOnceCorrected)
{
    for (const ExploreResult& result : {exploreCodeScreen(Fault::none), exploreWatchdog(500ms, 60ms)}) {
        EXPECT_FALSE(result.failure) << result;
        EXPECT_TRUE(result.isComplete) << result;
    }
}

} // namespace tamsel::tests
