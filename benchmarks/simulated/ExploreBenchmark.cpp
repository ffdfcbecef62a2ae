// Runs of a scenario a second on one processor: one virtual second with a camera, motion, detection and a still.

#include <simulated/explore.h>

#include <tamsel/client/SourceCallbacks.h>
#include <tamsel/facade/OvriSourceManager.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace tamsel {

namespace {

using namespace platform;
using namespace std::chrono_literals;

std::optional<std::string> oneSecond(simulated::Phone& phone)
{
    int frames = 0;
    const auto screen
        = makeDelegate({.didGetFrame = [&](OvriSourceManager&, const OvriCaptureFrameUpdate&) { ++frames; }});
    const auto view = std::make_shared<UIView>();
    const auto manager = OvriSourceManager::create({SourceType::stability()},
        CameraConfiguration::SessionPreset::photo, phone.makeQueue("screen"), phone.platform());
    manager->setMetadataDetection({MetadataObjectType::qr}, screen);
    if (!manager->startSession(SourceType::cameraBack(false), screen, {}, view))
        return "no start";
    manager->startMotionDetection({SourceType::stability()}, screen, {});
    phone.detector().show({simulated::code(MetadataObjectType::qr, "hello")});
    phone.at(500ms, "still", [&] { manager->captureStillImage(OvriImageSource::photo, std::nullopt); });
    phone.advance(1s);
    return frames < 5 ? std::optional<std::string>("frames are missing") : std::nullopt;
}

/// The argument is `lateBy` in milliseconds.
void explore(benchmark::State& state)
{
    simulated::ExploreOptions options{.runs = 200, .lateBy = std::chrono::milliseconds(state.range(0))};
    options.phone.cameras.front() = {.width = 8, .height = 6, .frameInterval = 33ms};
    std::size_t runs = 0;
    for (auto _ : state) {
        const simulated::ExploreResult result = simulated::explore(options, oneSecond);
        if (result.failure)
            state.SkipWithError(result.failure->reason.c_str());
        runs += result.runs;
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(runs));
}
BENCHMARK(explore)->Arg(0)->Arg(60)->Unit(benchmark::kMillisecond);

} // namespace

} // namespace tamsel
