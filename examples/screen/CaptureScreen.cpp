#include "CaptureScreen.h"

#include "Painter.h"

#include <engine/image/renderImage.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <utility>

namespace screen {

using namespace std::chrono_literals;
using namespace tamsel;
using namespace tamsel::platform;
using std::chrono::nanoseconds;

namespace {

constexpr auto eventInterval = 10ms;
constexpr auto drawInterval = 100ms; // without new pictures
constexpr auto retryInterval = 1s;
constexpr auto messageTime = 4s;
constexpr double zoomStep = 1.25;
constexpr const char* help = "space still   r movie   t torch   + - zoom   c camera   f full screen   q quit";

/// Everything happens on the main thread: the main queue is the response queue, and a timer of the main loop takes the
/// events of the window.
class Screen final : public CaptureScreen {
public:
    Screen(const Options& options, Platform& platform, std::function<void()> closed)
        : options_(options),
          platform_(platform),
          closed_(std::move(closed))
    {
        const std::vector<SourceType> verdicts{SourceType::stability(), SourceType::facingAngle()};
        delegates_->add(gate_);
        delegates_->add(outlines_);
        delegates_->add(client_);
        if (!options_.conditions.empty())
            gate_->arm();
        manager_->setMetadataDetection(options_.kinds, delegates_);
        manager_->startMotionDetection(verdicts, delegates_, options_.motion);
        startCamera();
    }

    ~Screen() override { timer_->invalidate(); }

    void close() override
    {
        if (!recordingSince_ || isClosing_)
            return end();
        isClosing_ = true;
        manager_->stopVideoRecording();
    }

private:
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

    // The camera.

    void startCamera()
    {
        const SourceType source = isFront_ ? SourceType::cameraFront(true) : SourceType::cameraBack(true);
        if (!manager_->startSession(source, delegates_, {}, view_))
            say("You may not use the camera.", bad);
    }

    void switchCamera()
    {
        if (recordingSince_)
            return say("End the movie first (r).");
        isFront_ = !isFront_;
        if (!device()) {
            isFront_ = !isFront_;
            return say("There is no other camera.");
        }
        isTorchOn_ = false;
        manager_->stopCameraSession();
        if (manager_->isCameraActive())
            startCamera(); // the old one does not run: it is starting, lost or in the background
        else
            manager_->whenCameraStopped([this] { startCamera(); });
    }

    [[nodiscard]] std::shared_ptr<AVCaptureDevice> device() const
    {
        return platform_.capture.defaultDevice(AVCaptureDeviceType::builtInWideAngleCamera,
            AVMediaType::video, isFront_ ? AVCaptureDevicePosition::front : AVCaptureDevicePosition::back);
    }

    void toggleTorch()
    {
        const std::shared_ptr<AVCaptureDevice> camera = device();
        if (!camera || !camera->hasTorch() || !camera->lockForConfiguration())
            return say("This camera has no torch.");
        isTorchOn_ = !isTorchOn_;
        camera->setTorchMode(isTorchOn_ ? AVCaptureTorchMode::on : AVCaptureTorchMode::off);
        camera->unlockForConfiguration();
    }

    void zoomBy(double factor)
    {
        const std::shared_ptr<AVCaptureDevice> camera = device();
        if (!camera || !camera->lockForConfiguration())
            return;
        const double zoom = std::clamp(camera->videoZoomFactor() * factor,
            camera->minAvailableVideoZoomFactor(), camera->maxAvailableVideoZoomFactor());
        camera->setVideoZoomFactor(zoom);
        camera->unlockForConfiguration();
        say("zoom " + std::to_string(zoom).substr(0, 3));
    }

    void fail(const SourceError& error)
    {
        const auto* camera = std::get_if<CameraError>(&error);
        const auto& drops = manager_->frameCounts().droppedBy;
        if (!camera)
            return; // of the sensors: there are no verdicts
        if (camera->kind() == CameraError::Case::captureImageFailed) {
            recordingSince_.reset();
            say("That did not work: the camera is not ready.", bad);
            if (!options_.conditions.empty())
                gate_->retry();
        } else if (camera->kind() != CameraError::Case::videoFrameError
            || drops[static_cast<std::size_t>(DropCause::deviceLost)] > 0) {
            retryTime_ = now() + retryInterval;
        }
    }

    // Stills and movies.

    [[nodiscard]] std::filesystem::path freeFile(const std::string& stem, const std::string& ending) const
    {
        for (int number = 1;; ++number) {
            const auto file = options_.folder / (stem + "-" + std::to_string(number) + ending);
            if (std::error_code error; !std::filesystem::exists(file, error))
                return file;
        }
    }

    void takeStill() { manager_->captureStillImage(OvriImageSource::photo, std::nullopt); }

    void saveStill(const CaptureSampleUpdate& sample)
    {
        const std::filesystem::path path = freeFile("still", ".jpg");
        std::ofstream file(path, std::ios::binary);
        file.write(reinterpret_cast<const char*>(sample.sample().data()),
            static_cast<std::streamsize>(sample.sample().size()));
        file.close();
        say(file ? "Saved " + path.filename().string() : "Cannot write " + path.string(), file ? good : bad);
        const auto image = makeImage(sample, platform_);
        if (const auto picture = image ? engine::renderImage(image->ciImage()).value_or(nullptr) : nullptr)
            painter_.setThumbnail(*picture);
    }

    void toggleMovie()
    {
        if (recordingSince_)
            return manager_->stopVideoRecording();
        if (!manager_->canRecordVideo())
            return say("A movie is not possible now.", bad);
        manager_->startVideoRecording(freeFile("movie", ".mp4"));
        recordingSince_ = now();
    }

    void endMovie(const std::filesystem::path& file)
    {
        recordingSince_.reset();
        say("Saved " + file.filename().string(), good);
        if (isClosing_)
            end();
    }

    // The window.

    void takePicture()
    {
        if (const auto frame = preview_->newestFrame()) {
            painter_.add(*frame);
            retryTime_.reset();
        } else {
            painter_.forgetPictures();
        }
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
                preview_->resize(painter_.size());
            else if (event.type == SDL_KEYDOWN && event.key.repeat == 0
                && keys_.contains(event.key.keysym.sym))
                keys_.at(event.key.keysym.sym)();
        }
        if (retryTime_ && now() >= *retryTime_) {
            retryTime_ = now() + retryInterval;
            startCamera();
        }
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
        // The outlines lie on the picture in which they were found; the newest is drawn when nothing is found.
        const DetectionOutlineUpdate found = outlines_->latest();
        if (const auto transform = painter_.drawPicture(found.captureTime)) {
            for (auto [corners, text] : found.outlines) {
                for (CGPoint& corner : corners)
                    corner = CGPointApplyAffineTransform(corner, *transform);
                painter_.drawOutline(corners);
                painter_.drawText(text, std::ranges::min(corners, {}, &CGPoint::x).x,
                    std::ranges::max(corners, {}, &CGPoint::y).y + 4);
            }
        }
        double top = -26;
        const auto badge = [&](bool isGood, const std::string& text) {
            painter_.drawText(text, 8, top += 34, isGood ? good : plain);
        };
        if (isStable_)
            badge(*isStable_, *isStable_ ? "held still" : "moving");
        if (isFacing_)
            badge(*isFacing_, *isFacing_ ? "tilted" : "flat");
        if (isTorchOn_)
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
        if (isPaused_)
            painter_.drawText("Paused while the application is in the background", 8, -44);
        else if (isClosing_)
            painter_.drawText("Completing the movie. q again closes at once\u2026", 8, -44);
        else if (retryTime_)
            painter_.drawText("No camera. Waiting for it\u2026", 8, -44, bad);
        else if (messageEnd_)
            painter_.drawText(message_, 8, -44, messageColour_);
        painter_.present();
    }

    const Options options_;
    Platform& platform_;
    std::function<void()> closed_;
    Painter painter_;

    bool isFront_ = options_.usesFrontCamera;
    bool isTorchOn_ = false;
    bool isPaused_ = false; ///< in the background
    bool isClosing_ = false; ///< when the movie is complete
    std::optional<bool> isStable_;
    std::optional<bool> isFacing_;
    std::optional<nanoseconds> recordingSince_;
    std::optional<nanoseconds> retryTime_; ///< of a camera that is lost or missing
    nanoseconds drawn_{};
    std::string message_;
    SDL_Color messageColour_ = plain;
    std::optional<nanoseconds> messageEnd_;

    const std::map<SDL_Keycode, std::function<void()>> keys_{
        {SDLK_SPACE, [this] { takeStill(); }},
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
        .didGetSourceError = [this](auto&, const auto& error) { fail(error); },
        .cameraDidSuspend = [this](auto&) { isPaused_ = true; },
        .cameraDidResume = [this](auto&) { isPaused_ = false; },
        .didDetectStability = [this](auto&, bool isStable) { isStable_ = isStable; },
        .didDetectFacingAngle = [this](auto&, bool isFacing) { isFacing_ = isFacing; },
    });
    const std::shared_ptr<DetectionOutlines> outlines_ = std::make_shared<DetectionOutlines>(platform_);
    const std::shared_ptr<ForwardingDelegate> delegates_ = std::make_shared<ForwardingDelegate>();
    const std::shared_ptr<DispatchQueue> queue_ = platform_.dispatch.mainQueue();
    const std::shared_ptr<CaptureGate> gate_
        = CaptureGate::create(options_.conditions, queue_, [this] { takeStill(); }, platform_);
    const std::shared_ptr<OvriSourceManager> manager_ = OvriSourceManager::create(
        {SourceType::stability(), SourceType::facingAngle()}, options_.preset, queue_, platform_);
    const std::shared_ptr<UIView> view_ = std::make_shared<UIView>(painter_.size());
    const std::shared_ptr<Preview> preview_
        = Preview::create(view_, platform_, queue_, [this] { takePicture(); });
    const std::shared_ptr<Timer> timer_
        = platform_.runLoops.current().scheduleTimer(eventInterval, true, [this](Timer&) { takeEvents(); });
};

} // namespace

std::unique_ptr<CaptureScreen> openScreen(
    const Options& options, Platform& platform, std::function<void()> closed)
{
    return std::make_unique<Screen>(options, platform, std::move(closed));
}

} // namespace screen
