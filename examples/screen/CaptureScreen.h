#pragma once

#include "Painter.h"

#include <engine/image/renderImage.h>
#include <tamsel/tamsel.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace screen {

using namespace std::chrono_literals;
using namespace tamsel;
using std::chrono::nanoseconds;

struct Options {
    std::filesystem::path folder = "."; ///< of the stills and movies
    bool usesFrontCamera = false; ///< at first
    /// The still is taken by itself when they hold at the same time, and again after one of them has changed.
    std::vector<CaptureCondition> conditions = {};
    std::vector<MetadataObjectType> kinds = allBarcodes(); ///< what is looked for
    CameraConfiguration::SessionPreset preset = CameraConfiguration::SessionPreset::photo;
    MotionOptions motion = {};
};

/// A capture screen in a window, until it is destroyed. Everything happens on the main thread: the main queue is the response
/// queue, and a timer of the main loop takes the events of the window.
class CaptureScreen {
public:
    /// `closed` is called once. Throws `std::runtime_error` when there is no display. The platform must outlive the screen.
    CaptureScreen(const Options& options, Platform& platform, std::function<void()> closed)
        : options_(options),
          platform_(platform),
          closed_(std::move(closed))
    {
        if (!options_.conditions.empty())
            gate_->arm();
        manager_->setMetadataDetection(options_.kinds, delegates_);
        manager_->startMotionDetection(
            {SourceType::stability(), SourceType::facingAngle()}, delegates_, options_.motion);
        camera_.preview().resize(painter_.size());
        camera_.start(
            options_.usesFrontCamera ? SourceType::cameraFront(true) : SourceType::cameraBack(true));
    }

    ~CaptureScreen() { timer_->invalidate(); }
    CaptureScreen(const CaptureScreen&) = delete;
    CaptureScreen& operator=(const CaptureScreen&) = delete;

    /// As the key q does: an unfinished movie is completed first, unless it is called again.
    void close()
    {
        if (!recordingSince_ || isClosing_)
            return end();
        isClosing_ = true;
        manager_->stopVideoRecording();
    }

private:
    static constexpr auto eventInterval = 10ms;
    static constexpr auto drawInterval = 100ms; // without new pictures
    static constexpr auto messageTime = 4s;
    static constexpr double zoomStep = 1.25;
    static constexpr const char* help
        = "space still   r movie   t torch   + - zoom   c camera   f full screen   q quit";

    [[nodiscard]] nanoseconds now() const { return platform_.clock.monotonic(); }

    void say(const std::string& text, const SDL_Color& colour = plain)
    {
        message_ = text;
        messageColour_ = colour;
        messageEnd_ = now() + messageTime;
    }

    void end()
    {
        manager_->stopAllSessions();
        if (const auto closed = std::exchange(closed_, nullptr))
            closed();
    }

    void switchCamera()
    {
        if (recordingSince_)
            say("End the movie first (r).");
        else if (!camera_.switchSide())
            say("There is no other camera.");
    }

    void toggleTorch()
    {
        if (!camera_.toggleTorch())
            say("This camera has no torch.");
    }

    void zoomBy(double factor)
    {
        if (const auto zoom = camera_.zoomBy(factor))
            say("zoom " + std::to_string(*zoom).substr(0, 3));
    }

    // Stills and movies.

    void saveStill(const CaptureSampleUpdate& sample)
    {
        const std::filesystem::path file = freeFile(options_.folder, "still", ".jpg");
        const auto saved = saveFile(sample.sample(), file);
        say(saved ? "Saved " + file.filename().string() : saved.error(), saved ? good : bad);
        const auto image = makeImage(sample, platform_);
        if (const auto picture = image ? engine::renderImage(image->ciImage()).value_or(nullptr) : nullptr)
            painter_.setThumbnail(*picture);
    }

    void takeError(const SourceError& error)
    {
        if (error != SourceError(CameraError::captureImageFailed()))
            return; // there are no verdicts, or the state of the camera says it
        say("That did not work: the camera is not ready.", bad);
        if (!options_.conditions.empty())
            gate_->retry();
    }

    void toggleMovie()
    {
        if (recordingSince_)
            return manager_->stopVideoRecording();
        if (camera_.state() != LiveCamera::State::running)
            return say("A movie is not possible now.", bad);
        manager_->startVideoRecording(freeFile(options_.folder, "movie", ".mp4"));
        recordingSince_ = now();
    }

    void endMovie(const std::filesystem::path& file)
    {
        recordingSince_.reset();
        if (std::error_code error; std::filesystem::exists(file, error))
            say("Saved " + file.filename().string(), good);
        else
            say("No movie: it has no picture, or cannot be written.", bad);
    }

    // The window.

    void takePicture()
    {
        if (const auto frame = camera_.preview().newestFrame())
            painter_.add(*frame);
        else
            painter_.forgetPictures();
        draw();
    }

    void takeEvents()
    {
        for (SDL_Event event; SDL_PollEvent(&event) != 0;) {
            if (event.type == SDL_QUIT)
                close();
            else if (event.type == SDL_MULTIGESTURE)
                zoomBy(1 + 4 * static_cast<double>(event.mgesture.dDist)); // a part of the window's size
            else if (event.type == SDL_WINDOWEVENT && event.window.event == SDL_WINDOWEVENT_SIZE_CHANGED)
                camera_.preview().resize(painter_.size());
            else if (event.type == SDL_KEYDOWN && event.key.repeat == 0
                && keys_.contains(event.key.keysym.sym))
                keys_.at(event.key.keysym.sym)();
        }
        if (camera_.state() != LiveCamera::State::running)
            recordingSince_.reset(); // that ends a movie, too
        if (isClosing_ && !recordingSince_)
            end();
        if (messageEnd_ && now() > *messageEnd_) {
            messageEnd_.reset();
            if (!options_.conditions.empty())
                gate_->arm(); // not at once: codes and faces come and go
        }
        if (now() >= drawn_ + drawInterval)
            draw();
    }

    void draw()
    {
        drawn_ = now();
        painter_.drawPicture(outlines_->latest());
        double top = -26;
        const auto badge = [&](bool isGood, const std::string& text) {
            painter_.drawText(text, 8, top += 34, isGood ? good : plain);
        };
        if (isStable_)
            badge(*isStable_, *isStable_ ? "held still" : "moving");
        if (isFacing_)
            badge(*isFacing_, *isFacing_ ? "tilted" : "flat");
        if (camera_.isTorchOn())
            badge(true, "torch");
        for (const CaptureCondition& condition : options_.conditions) {
            static constexpr std::array names{"held still", "tilted", "code", "face"};
            const bool holds = std::ranges::count(gate_->missing(), condition) == 0;
            badge(holds,
                std::string(holds ? "\u2713 " : "\u25cb ") + names.at(std::to_underlying(condition.kind())));
        }
        if (recordingSince_) {
            const auto time = std::chrono::floor<std::chrono::seconds>(drawn_ - *recordingSince_).count();
            painter_.drawText("\u25cf " + std::to_string(time) + " s", -8, 8, bad);
        }
        painter_.drawText(help, 8, -8);
        drawState();
        painter_.present();
    }

    void drawState()
    {
        using enum LiveCamera::State;
        const LiveCamera::State state = camera_.state();
        if (state == suspended)
            painter_.drawText("Paused while the application is in the background", 8, -44);
        else if (isClosing_)
            painter_.drawText("Completing the movie. q again closes at once\u2026", 8, -44);
        else if (state == missing)
            painter_.drawText("No camera. Waiting for it\u2026", 8, -44, bad);
        else if (state == refused)
            painter_.drawText("No permission for the camera.", 8, -44, bad);
        else if (messageEnd_)
            painter_.drawText(message_, 8, -44, messageColour_);
    }

    const Options options_;
    Platform& platform_;
    std::function<void()> closed_;
    Painter painter_;

    bool isClosing_ = false; ///< when the movie is complete
    std::optional<bool> isStable_;
    std::optional<bool> isFacing_;
    std::optional<nanoseconds> recordingSince_;
    nanoseconds drawn_{};
    std::string message_;
    SDL_Color messageColour_ = plain;
    std::optional<nanoseconds> messageEnd_;

    const std::map<SDL_Keycode, std::function<void()>> keys_{
        {SDLK_SPACE, [this] { camera_.captureStill(); }},
        {SDLK_r, [this] { toggleMovie(); }},
        {SDLK_t, [this] { toggleTorch(); }},
        {SDLK_PLUS, [this] { zoomBy(zoomStep); }},
        {SDLK_EQUALS, [this] { zoomBy(zoomStep); }}, // the same key without shift
        {SDLK_KP_PLUS, [this] { zoomBy(zoomStep); }},
        {SDLK_MINUS, [this] { zoomBy(1 / zoomStep); }},
        {SDLK_KP_MINUS, [this] { zoomBy(1 / zoomStep); }},
        {SDLK_c, [this] { switchCamera(); }},
        {SDLK_f, [this] { painter_.toggleFullScreen(); }},
        {SDLK_q, [this] { close(); }},
    };
    const std::shared_ptr<CallbackDelegate> client_ = makeDelegate({
        .didGetSample = [this](auto&, const auto& sample) { saveStill(*sample); },
        .didGetVideo = [this](auto&, const auto& file) { endMovie(file); },
        .didGetSourceError = [this](auto&, const auto& error) { takeError(error); },
        .didDetectStability = [this](auto&, bool isStable) { isStable_ = isStable; },
        .didDetectFacingAngle = [this](auto&, bool isFacing) { isFacing_ = isFacing; },
    });
    const std::shared_ptr<DetectionOutlines> outlines_ = std::make_shared<DetectionOutlines>(platform_);
    const std::shared_ptr<DispatchQueue> queue_ = platform_.dispatch.mainQueue();
    const std::shared_ptr<CaptureGate> gate_
        = CaptureGate::create(options_.conditions, queue_, [this] { camera_.captureStill(); }, platform_);
    const std::shared_ptr<ForwardingDelegate> delegates_
        = std::make_shared<ForwardingDelegate>(gate_, outlines_, client_);
    const std::shared_ptr<OvriSourceManager> manager_ = OvriSourceManager::create(
        {SourceType::stability(), SourceType::facingAngle()}, options_.preset, queue_, platform_);
    LiveCamera camera_{manager_, client_, queue_, platform_, [this] { takePicture(); }};
    const std::shared_ptr<Timer> timer_
        = platform_.runLoops.current().scheduleTimer(eventInterval, true, [this](Timer&) { takeEvents(); });
};

} // namespace screen
