// What a recorder costs a camera session: its events against the processor time of the frames, and one event against a
// bare one in memory.

#include "median.h"
#include "processMilliseconds.h"

#include <engine/record/FlightRecorder.h>
#include <host/Host.h>

#include <tamsel/client/SourceCallbacks.h>
#include <tamsel/facade/OvriSourceManager.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace tamsel::benchmarks {

namespace {

using engine::FlightRecorder;
using Clock = std::chrono::steady_clock;

constexpr int frameCount = 90;
constexpr int rounds = 9;
constexpr int eventCount = 100'000;

/// The processor time of a delivered frame, in milliseconds.
double frameTime(const std::string& input, const std::shared_ptr<FlightRecorder>& recorder)
{
    host::Host host({.backCamera = host::HostInput{.input = input}, .recorder = recorder});
    std::atomic<int> frames = 0;
    std::atomic<double> begin = 0;
    const auto screen = makeDelegate({.didGetFrame = [&](OvriSourceManager&, const OvriCaptureFrameUpdate&) {
        const int frame = ++frames;
        if (frame == 10)
            begin = processMilliseconds(); // caches are warm
        if (frame == 10 + frameCount)
            host.stop();
    }});
    const auto manager = OvriSourceManager::create(
        {}, CameraConfiguration::SessionPreset::photo, host.makeQueue("screen"), host.platform());
    (void)manager->startSession(SourceType::cameraBack(false), screen, {}, nullptr);
    host.run();
    const double time = processMilliseconds() - begin;
    manager->stopCameraSession();
    return time / frameCount;
}

/// Microseconds of one event, on one thread.
double eventTime(FlightRecorder& recorder)
{
    const auto start = Clock::now();
    for (int number = 0; number < eventCount; ++number)
        recorder.add(formats::FlightKind::frame, {1, static_cast<double>(number), 3, 640, 480});
    return std::chrono::duration<double, std::micro>(Clock::now() - start).count() / eventCount;
}

/// The same of a lock, a clock and a copy.
double bareEventTime()
{
    struct Event {
        std::array<char, 192> bytes;
    };
    std::vector<Event> ring(1 << 16);
    std::mutex guard;
    Event event{};
    const auto start = Clock::now();
    for (std::size_t number = 0; number < eventCount; ++number) {
        const std::lock_guard lock(guard);
        const auto now = Clock::now();
        std::memcpy(event.bytes.data(), &now, sizeof now);
        ring[number % ring.size()] = event;
    }
    return std::chrono::duration<double, std::micro>(Clock::now() - start).count() / eventCount;
}

} // namespace

} // namespace tamsel::benchmarks

int main(int count, char** arguments)
{
    using namespace tamsel;
    using namespace tamsel::benchmarks;
    const std::string input = count > 1 ? arguments[1] : "test:480p";
    std::vector<double> off;
    std::vector<double> on;
    std::vector<double> events;
    std::vector<double> bareEvents;
    std::size_t recorded = 0;
    for (int round = 0; round < rounds; ++round) {
        const auto recorder = std::make_shared<FlightRecorder>();
        if (round % 2 == 0)
            off.push_back(frameTime(input, nullptr));
        on.push_back(frameTime(input, recorder));
        recorded = recorder->recording().events.size();
        if (round % 2 != 0)
            off.push_back(frameTime(input, nullptr));
        const auto measured = std::make_shared<FlightRecorder>();
        host::Host quiet({.recorder = measured});
        events.push_back(eventTime(*measured));
        bareEvents.push_back(bareEventTime());
    }
    const double perFrame = static_cast<double>(recorded) / (frameCount + 10);
    const double share = perFrame * median(events) / 1e3 / median(off);
    std::printf("%s: %.3f ms a frame without, %.3f with the recorder: %.3f times\n", input.c_str(),
        median(off), median(on), median(on) / median(off));
    std::printf("%.1f events a frame of %.3f us (bare: %.3f, %.2f times): %.2f %% of a frame\n", perFrame,
        median(events), median(bareEvents), median(events) / median(bareEvents), share * 100);
    return 0;
}
