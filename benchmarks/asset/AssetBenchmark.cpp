// The cost of reading a video at full speed, against the bare libraries that decode it: processor time and peak memory,
// each measured in a process of its own. Rounds of both alternate, and the medians are compared.

#include <camera/Movies.h>
#include <median.h>

#include <host/asset/HostAssets.h>
#include <host/image/HostImages.h>
#include <simulated/Phone.h>

#include <tamsel/asset/AssetProcessor.h>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace tamsel::benchmarks {

namespace {

constexpr int framesPerSecond = 30;
constexpr int frames = 150;

struct Cost {
    double milliseconds; ///< of the processor, all threads
    double megabytes; ///< peak
};

Cost costOf(const std::function<bool()>& work)
{
    const pid_t child = fork();
    if (child == 0)
        _exit(work() ? EXIT_SUCCESS : EXIT_FAILURE);
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != EXIT_SUCCESS) {
        std::fprintf(stderr, "reading failed\n");
        std::exit(EXIT_FAILURE);
    }
    const auto of = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
    };
    return {of(usage.ru_utime) + of(usage.ru_stime), static_cast<double>(usage.ru_maxrss) / 1024};
}

/// As `tamsel-capture asset --fast` reads it: on virtual time, without waiting.
bool readAsset(const std::string& file)
{
    const auto assets = std::make_shared<host::HostAssets>();
    simulated::Phone phone({.assets = assets});
    int seen = 0;
    bool hasEnded = false;
    const auto processor = AssetProcessor::create(phone.platform());
    processor->process(
        assets->assetWithURL(file), [&](const auto& /*sample*/) { ++seen; }, [&] { hasEnded = true; });
    while (!hasEnded)
        phone.advance(std::chrono::seconds(1));
    return seen == frames;
}

} // namespace

} // namespace tamsel::benchmarks

int main(int count, char** arguments)
{
    using namespace tamsel::benchmarks;
    using tamsel::median;
    const int rounds = count > 1 && std::strcmp(arguments[1], "--short") == 0 ? 3 : 11;
    const std::string file = movie(framesPerSecond);
    std::vector<double> processor;
    std::vector<double> memory;
    Cost ours{};
    Cost bare{};
    for (int round = 0; round < rounds; ++round) {
        const auto measureOurs = [&] { ours = costOf([&] { return readAsset(file); }); };
        const auto measureBare = [&] {
            bare = costOf([&] {
                decodeAndConvert(file, frames, 0);
                return true;
            });
        };
        if (round % 2 == 0) {
            measureOurs();
            measureBare();
        } else {
            measureBare();
            measureOurs();
        }
        processor.push_back(ours.milliseconds / bare.milliseconds);
        memory.push_back(ours.megabytes / bare.megabytes);
    }
    std::printf(
        "A video of %d frames, 1080p H.264, read at full speed; medians of %d rounds\n", frames, rounds);
    std::printf("processor time  %8.0f ms  bare libraries %8.0f ms  ratio %.2f\n", ours.milliseconds,
        bare.milliseconds, median(processor));
    std::printf("peak memory     %8.1f MB  bare libraries %8.1f MB  ratio %.2f\n", ours.megabytes,
        bare.megabytes, median(memory));
}
