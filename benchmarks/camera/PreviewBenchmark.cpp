// The CPU time that a preview costs beside its session, against a client that uploads its live frames to a texture itself.
// Rounds of both and of a session that shows nothing alternate, and the medians are compared.

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

enum class Shown { nothing, preview, liveFrames };

/// The CPU time of a frame of a session.
double session(const std::string& file, Shown shown)
{
    Texture texture;
    host::Host host({.backCamera = host::HostInput{.input = file},
        .writeLine = [](std::string_view) { },
        .writeReport = [](std::string_view) { }});
    int seen = 0;
    const auto client
        = makeDelegate({.didGetFrame = [&](OvriSourceManager&, const OvriCaptureFrameUpdate& frame) {
              if (shown == Shown::liveFrames)
                  texture.upload(*frame.imageBuffer());
              if (++seen == frameCount)
                  host.stop();
          }});
    const auto queue = host.platform().dispatch.mainQueue();
    const auto manager
        = OvriSourceManager::create({}, CameraConfiguration::SessionPreset::photo, queue, host.platform());
    const auto view = std::make_shared<platform::UIView>(platform::CGSize{640, 480});
    std::shared_ptr<Preview> preview;
    if (shown == Shown::preview) {
        preview = Preview::create(view, host.platform(), queue, [&] {
            if (const auto frame = preview->newestFrame())
                texture.upload(*frame->pixels);
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
    SDL_setenv("SDL_VIDEODRIVER", "dummy", 1);
    if (SDL_Init(SDL_INIT_VIDEO) != 0)
        state.SkipWithError(SDL_GetError());
    const std::string file = movie(rate);
    std::vector<double> ours;
    std::vector<double> bare;
    for (auto _ : state) {
        const double without = session(file, Shown::nothing);
        ours.push_back(session(file, Shown::preview) - without);
        bare.push_back(session(file, Shown::liveFrames) - without);
    }
    state.counters["ours_ms"] = median(ours);
    state.counters["bare_ms"] = median(bare);
    state.counters["ratio"] = median(ours) / median(bare);
    state.counters["target"] = 1.1;
    SDL_Quit();
}
BENCHMARK(cpuOfAPreview)->Iterations(9)->Unit(benchmark::kMillisecond);

} // namespace

} // namespace tamsel::benchmarks
