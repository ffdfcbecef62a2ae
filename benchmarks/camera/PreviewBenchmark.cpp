// The CPU time that a preview costs beside its session, against uploading the same picture to a texture without a session.
// Rounds of all three alternate, and the medians are compared.

#include <camera/Movies.h>
#include <median.h>
#include <processMilliseconds.h>

#include <host/Host.h>
#include <tamsel/tamsel.h>

#include <SDL2/SDL.h>
#include <benchmark/benchmark.h>

#include <cstring>
#include <functional>
#include <memory>
#include <string_view>
#include <vector>

namespace tamsel::benchmarks {

namespace {

constexpr int frameCount = 60;
constexpr int rate = 30;
constexpr int width = 1920;
constexpr int height = 1080;

/// The texture of a window that nobody sees.
class Texture {
public:
    Texture()
        : renderer_(SDL_CreateRenderer(window_, -1, SDL_RENDERER_SOFTWARE)),
          texture_(SDL_CreateTexture(
              renderer_, SDL_PIXELFORMAT_BGRA32, SDL_TEXTUREACCESS_STREAMING, width, height))
    {
    }
    ~Texture()
    {
        SDL_DestroyTexture(texture_);
        SDL_DestroyRenderer(renderer_);
        SDL_DestroyWindow(window_);
    }
    Texture(const Texture&) = delete;
    Texture& operator=(const Texture&) = delete;

    void upload(const platform::CVPixelBuffer& pixels)
    {
        SDL_UpdateTexture(texture_, nullptr, pixels.baseAddress(), static_cast<int>(pixels.bytesPerRow()));
    }

private:
    SDL_Window* window_ = SDL_CreateWindow("preview", 0, 0, 640, 480, SDL_WINDOW_HIDDEN);
    SDL_Renderer* renderer_;
    SDL_Texture* texture_;
};

/// The CPU time of a frame of a session, with or without a preview that uploads each picture.
double session(const std::string& file, Texture* texture)
{
    host::Host host({.backCamera = host::HostInput{.input = file},
        .writeLine = [](std::string_view) { },
        .writeReport = [](std::string_view) { }});
    int seen = 0;
    const auto client = makeDelegate({.didGetFrame = [&](OvriSourceManager&, const OvriCaptureFrameUpdate&) {
        if (++seen == frameCount)
            host.stop();
    }});
    const auto queue = host.platform().dispatch.mainQueue();
    const auto manager
        = OvriSourceManager::create({}, CameraConfiguration::SessionPreset::photo, queue, host.platform());
    const auto view = std::make_shared<platform::UIView>(platform::CGSize{640, 480});
    std::shared_ptr<Preview> preview;
    if (texture) {
        preview = Preview::create(view, host.platform(), queue, [&] {
            if (const auto frame = preview->newestFrame())
                texture->upload(*frame->pixels);
        });
    }
    (void)manager->startSession(SourceType::cameraBack(false), client, {}, view);
    const double before = processMilliseconds();
    host.run();
    const double used = processMilliseconds() - before;
    manager->stopCameraSession();
    return used / frameCount;
}

void cpuOfAPreview(benchmark::State& state)
{
    const std::string file = movie(rate);
    // As many as a session has, for one alone would stay in the cache.
    std::vector<std::unique_ptr<platform::CVPixelBuffer>> pictures;
    for (int index = 0; index < 10; ++index) {
        pictures.push_back(std::make_unique<platform::CVPixelBuffer>(width, height));
        std::memset(pictures.back()->baseAddress(), index, pictures.back()->bytesPerRow() * height);
    }
    Texture texture;
    std::vector<double> ours;
    std::vector<double> bare;
    for (auto _ : state) {
        const double without = session(file, nullptr);
        ours.push_back(session(file, &texture) - without);
        const double before = processMilliseconds();
        for (int frame = 0; frame < frameCount; ++frame)
            texture.upload(*pictures.at(static_cast<std::size_t>(frame) % pictures.size()));
        bare.push_back((processMilliseconds() - before) / frameCount);
    }
    state.counters["ours_ms"] = median(ours);
    state.counters["bare_ms"] = median(bare);
    state.counters["ratio"] = median(ours) / median(bare);
    state.counters["target"] = 1.1;
}
BENCHMARK(cpuOfAPreview)->Iterations(9)->Unit(benchmark::kMillisecond);

} // namespace

} // namespace tamsel::benchmarks

/// `--short` is for the other benchmarks; all other options go to the benchmark library.
int main(int count, char** arguments)
{
    std::vector<char*> passed(arguments, arguments + count);
    std::erase_if(passed, [](const char* argument) { return std::string_view(argument) == "--short"; });
    int passedCount = static_cast<int>(passed.size());
    SDL_setenv("SDL_VIDEODRIVER", "dummy", 1);
    if (SDL_Init(SDL_INIT_VIDEO) != 0)
        return 1;
    benchmark::Initialize(&passedCount, passed.data());
    benchmark::RunSpecifiedBenchmarks();
    SDL_Quit();
    return 0;
}
