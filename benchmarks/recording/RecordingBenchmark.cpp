// The cost of recording a camera at 1080p30 with sound, while a client receives the live frames, against the ffmpeg
// command with the same encoders and settings on the same file at the same pace, in the same run. The two alternate,
// and the medians of the CPU time of whole programs, for each recorded frame, are compared.

#include <median.h>

#include <host/Host.h>
#include <host/recording/MovieFacts.h>
#include <tamsel/facade/OvriSourceManager.h>
#include <tamsel/platform/RunLoop.h>
#include <tamsel/platform/RunLoops.h>

#include <benchmark/benchmark.h>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tamsel::benchmarks {

namespace {

/// CPU time of a command and its child processes, milliseconds.
double cpuMilliseconds(const std::string& command)
{
    const pid_t child = ::fork();
    if (child == 0) {
        ::execl("/bin/sh", "sh", "-c", ("exec " + command).c_str(), nullptr);
        ::_exit(127);
    }
    int status = 0;
    rusage usage{};
    if (::wait4(child, &status, 0, &usage) != child || status != 0)
        throw std::runtime_error("failed: " + command);
    const auto of = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
    };
    return of(usage.ru_utime) + of(usage.ru_stime);
}

double framesOf(const std::string& file)
{
    const auto facts = host::readMovieFacts(file);
    if (!facts)
        throw std::runtime_error(facts.error().localizedDescription);
    return static_cast<double>(facts->frames);
}

/// Ten seconds of the shipped clip, in 1080p30, with its sound.
std::string clip(const std::string& folder)
{
    const std::string file = folder + "/clip.mp4";
    if (!std::filesystem::exists(file))
        cpuMilliseconds(
            "ffmpeg -v error -y -stream_loop -1 -i " TAMSEL_SAMPLE_CLIP
            " -t 10 -vf scale=1920:1080:flags=bicubic,fps=30,format=yuv420p -c:v libx264 -preset veryfast "
            "-crf 18 -c:a aac -ar 48000 "
            + file);
    return file;
}

void recording1080p30(benchmark::State& state)
{
    const std::string folder = std::filesystem::temp_directory_path() / "tamsel-bench-recording";
    std::filesystem::create_directories(folder);
    const std::string file = clip(folder);
    const std::string seconds = "8";
    std::vector<double> ours;
    std::vector<double> bare;
    for (auto _ : state) {
        const std::string theirs = folder + "/theirs.mp4";
        double cpu = cpuMilliseconds("ffmpeg -v error -y -re -i " + file + " -t " + seconds
            + " -c:v libx264 -preset superfast -crf 23 -bf 0 -g 60 -c:a aac -b:a 128k -ac 2 -ar 48000 "
            + theirs);
        bare.push_back(cpu / framesOf(theirs));
        const std::string recorded = folder + "/ours.mp4";
        cpu = cpuMilliseconds(TAMSEL_CAPTURE_PROGRAM " --json --back " + file + " record " + recorded
            + " --overwrite --seconds " + seconds + " > " + folder + "/events");
        ours.push_back(cpu / framesOf(recorded));
    }
    state.counters["ours_ms"] = median(ours);
    state.counters["ffmpeg_ms"] = median(bare);
    state.counters["ratio"] = median(ours) / median(bare);
    state.counters["target"] = 1.1;
}
BENCHMARK(recording1080p30)->Iterations(5)->Unit(benchmark::kMillisecond);

/// Ends the main loop when the movie is complete.
class Screen final : public OvriSourceToSession {
public:
    explicit Screen(host::Host& host) : host_(host) { }

    void sourceManagerDidGetVideo(OvriSourceManager&, const std::filesystem::path&) override { host_.stop(); }

private:
    host::Host& host_;
};

/// The counts of live frames and of the movie's frames.
void liveFramesWhileRecording(benchmark::State& state)
{
    const std::string folder = std::filesystem::temp_directory_path() / "tamsel-bench-recording";
    std::filesystem::create_directories(folder);
    const std::string file = clip(folder);
    platform::FrameCounts counts;
    for (auto _ : state) {
        const std::string film = folder + "/film.mp4";
        std::filesystem::remove(film);
        host::Host host({.backCamera = host::HostInput{.input = file},
            .microphone = file,
            .writeLine = [](std::string_view) { },
            .writeReport = [](std::string_view) { }});
        const auto screen = std::make_shared<Screen>(host);
        const auto manager = OvriSourceManager::create(
            {}, CameraConfiguration::SessionPreset::photo, host.makeQueue("screen"), host.platform());
        (void)manager->startSession(SourceType::cameraBack(true), screen, {}, nullptr);
        platform::RunLoop& loop = host.platform().runLoops.current();
        loop.scheduleTimer(
            std::chrono::seconds(2), false, [&](platform::Timer&) { manager->startVideoRecording(film); });
        loop.scheduleTimer(
            std::chrono::seconds(32), false, [&](platform::Timer&) { manager->stopVideoRecording(); });
        host.run();
        counts = manager->frameCounts();
    }
    state.counters["delivered"] = static_cast<double>(counts.delivered);
    state.counters["dropped"] = static_cast<double>(counts.dropped());
    state.counters["recorded"] = static_cast<double>(counts.recorded);
    state.counters["notRecorded"] = static_cast<double>(counts.notRecorded);
}
BENCHMARK(liveFramesWhileRecording)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace

} // namespace tamsel::benchmarks
