// The CPU time of a frame that a camera of PipeWire delivers, against GStreamer's pipewiresrc ! videoconvert ! appsink on
// the same camera. Both convert to BGRA. Start and end do not count.

#include <median.h>
#include <processMilliseconds.h>
#include <support/PipeWireDaemons.h>

#include <host/Host.h>
#include <tamsel/facade/OvriSourceManager.h>

#include <benchmark/benchmark.h>

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace tamsel::benchmarks {

namespace {

constexpr int firstFrame = 30;
constexpr int frames = 150; ///< after it

/// Of one frame in a session of the host.
double ourMilliseconds(host::Host& host)
{
    struct Screen final : OvriSourceToSession {
        explicit Screen(host::Host& machine) : owner(machine) { }
        void sourceManagerDidGetFrame(OvriSourceManager&, const OvriCaptureFrameUpdate&) override
        {
            if (++seen == firstFrame)
                begin = processMilliseconds();
            if (seen != firstFrame + frames)
                return;
            end = processMilliseconds();
            owner.stop();
        }
        host::Host& owner;
        int seen = 0;
        double begin = 0;
        double end = 0;
    };
    const auto screen = std::make_shared<Screen>(host);
    const auto manager = OvriSourceManager::create(
        {}, CameraConfiguration::SessionPreset::photo, host.makeQueue("screen"), host.platform());
    (void)manager->startSession(SourceType::cameraBack(false), screen, {}, nullptr);
    host.run();
    manager->stopCameraSession();
    return (screen->end - screen->begin) / frames;
}

/// Of a process that takes so many frames.
double gstreamerMilliseconds(int count)
{
    std::vector<std::string> arguments{"gst-launch-1.0", "-q", "pipewiresrc", "target-object=cam",
        "num-buffers=" + std::to_string(count), "!", "videoconvert", "!", "video/x-raw,format=BGRA", "!",
        "appsink", "sync=false", "wait-on-eos=false", "drop=true", "max-buffers=1"};
    std::vector<char*> pointers;
    for (std::string& argument : arguments)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    const pid_t process = ::fork();
    if (process == 0) {
        ::execvp(pointers.front(), pointers.data());
        ::_exit(127);
    }
    rusage usage{};
    int status = 0;
    ::wait4(process, &status, 0, &usage);
    return status == 0 ? milliseconds(usage) : 0;
}

void cpuOfAFrame(benchmark::State& state, const std::string& format)
{
    if (!tests::PipeWireDaemons::arePossible())
        return state.SkipWithError("pipewire, wireplumber or dbus-daemon is not installed");
    tests::PipeWireDaemons daemons;
    const auto source = daemons.source("cam", {"modes=" + format + ":1280x720", "rate=60"});
    host::Host host({.backCamera = host::HostInput{.input = "pipewire:cam"},
        .permission = host::PermissionSource::inputs,
        .writeLine = [](std::string_view) { },
        .writeReport = [](std::string_view) { }});
    std::vector<double> ours;
    std::vector<double> theirs;
    for (auto _ : state) {
        ours.push_back(ourMilliseconds(host));
        theirs.push_back(
            (gstreamerMilliseconds(firstFrame + frames) - gstreamerMilliseconds(firstFrame)) / frames);
        for (int settle = 0; settle < 20; ++settle)
            host.runOnce(std::chrono::milliseconds(1));
    }
    state.counters["ours_ms"] = median(ours);
    state.counters["gstreamer_ms"] = median(theirs);
    state.counters["ratio"] = median(ours) / median(theirs);
    state.counters["target"] = 1;
}
BENCHMARK_CAPTURE(cpuOfAFrame, BGRx, std::string("BGRx"))->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(cpuOfAFrame, NV12, std::string("NV12"))->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(cpuOfAFrame, YUY2, std::string("YUY2"))->Iterations(5)->Unit(benchmark::kMillisecond);

} // namespace

} // namespace tamsel::benchmarks

BENCHMARK_MAIN();
