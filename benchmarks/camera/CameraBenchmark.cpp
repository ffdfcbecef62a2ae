// The cost of a camera session, against the bare decoding libraries, on the same file and in the same run. Rounds of
// both alternate, and the medians are compared.

#include <camera/Movies.h>
#include <median.h>
#include <processMilliseconds.h>

#include <host/Host.h>
#include <tamsel/facade/OvriSourceManager.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <string_view>
#include <vector>

namespace tamsel::benchmarks {

namespace {

using Clock = std::chrono::steady_clock;

double milliseconds(Clock::duration duration)
{
    return std::chrono::duration<double, std::milli>(duration).count();
}

/// Runs the main loop until this number of frames has arrived.
class Screen final : public OvriSourceToSession {
public:
    Screen(host::Host& host, int frames) : host_(host), frames_(frames) { }

    void sourceManagerDidGetFrame(OvriSourceManager&, const OvriCaptureFrameUpdate&) override
    {
        if (seen_++ == 0)
            first = Clock::now();
        if (seen_ == frames_)
            host_.stop();
    }

    Clock::time_point first;

private:
    host::Host& host_;
    const int frames_;
    int seen_ = 0;
};

/// One session on the file, until this number of frames has arrived.
class Session {
public:
    Session(host::Host& host, int frames)
    {
        const auto screen = std::make_shared<Screen>(host, frames);
        const auto manager = OvriSourceManager::create(
            {}, CameraConfiguration::SessionPreset::photo, host.makeQueue("screen"), host.platform());
        const auto begin = Clock::now();
        (void)manager->startSession(SourceType::cameraBack(false), screen, {}, nullptr);
        host.run();
        timeToFirst = milliseconds(screen->first - begin);
        counts = manager->frameCounts();
        manager->stopCameraSession();
    }

    double timeToFirst = 0;
    platform::FrameCounts counts;
};

host::HostConfiguration playing(const std::string& file)
{
    return {.backCamera = host::HostInput{.input = file},
        .writeLine = [](std::string_view) { },
        .writeReport = [](std::string_view) { }};
}

void report(
    benchmark::State& state, const std::vector<double>& ours, const std::vector<double>& bare, double target)
{
    state.counters["ours_ms"] = median(ours);
    state.counters["bare_ms"] = median(bare);
    state.counters["ratio"] = median(ours) / median(bare);
    state.counters["target"] = target;
}

/// From `startSession` to the first frame, against opening the file and decoding one frame.
void firstFrame(benchmark::State& state)
{
    const std::string file = movie(30);
    host::Host host(playing(file));
    std::vector<double> ours;
    std::vector<double> bare;
    for (auto _ : state) {
        const auto begin = Clock::now();
        decodeOne(file);
        bare.push_back(milliseconds(Clock::now() - begin));
        ours.push_back(Session(host, 1).timeToFirst);
        for (int settle = 0; settle < 20; ++settle)
            host.runOnce(std::chrono::milliseconds(1));
    }
    report(state, ours, bare, 1.1);
}
BENCHMARK(firstFrame)->Iterations(60)->Unit(benchmark::kMillisecond);

/// CPU time of a delivered 1080p frame against decoding and converting it, both at the pace of the file: as fast as
/// possible (a rate that no machine decodes) or 30 frames a second.
void cpuOfAFrame(benchmark::State& state)
{
    const int rate = static_cast<int>(state.range(0));
    const int frames = rate > 100 ? 120 : 45;
    const std::string file = movie(rate);
    host::Host host(playing(file));
    std::vector<double> ours;
    std::vector<double> bare;
    double dropped = 0;
    for (auto _ : state) {
        double before = processMilliseconds();
        decodeAndConvert(file, frames, rate > 100 ? 0 : rate);
        bare.push_back((processMilliseconds() - before) / frames);
        before = processMilliseconds();
        const Session session(host, frames);
        ours.push_back((processMilliseconds() - before) / static_cast<double>(session.counts.produced));
        dropped += static_cast<double>(session.counts.dropped());
    }
    report(state, ours, bare, 1.05);
    state.counters["dropped"] = dropped;
}
BENCHMARK(cpuOfAFrame)->Arg(30)->Arg(1000)->Iterations(9)->Unit(benchmark::kMillisecond);

} // namespace

} // namespace tamsel::benchmarks
