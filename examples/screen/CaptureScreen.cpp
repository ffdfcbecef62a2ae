#include "CaptureScreen.h"

#include "Painter.h"

#include <engine/image/renderImage.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <utility>

namespace screen {

using namespace std::chrono_literals;
using namespace tamsel;
using namespace tamsel::platform;
using std::chrono::nanoseconds;

namespace {

constexpr auto eventInterval = 10ms;
constexpr auto retryInterval = 1s;
constexpr auto messageTime = 4s;
constexpr auto foundTime = 300ms; // longer than the detection in one picture takes
constexpr double zoomStep = 1.25;
constexpr const char* keys = "space still   r movie   t torch   + - zoom   c camera   f full screen   q quit";

std::string nameOf(const CaptureCondition& condition)
{
    static constexpr std::array names{"held still", "tilted", "code", "face"};
    return names.at(static_cast<std::size_t>(condition.kind()));
}

/// Everything happens on the main thread: the main queue is the response queue, and a timer of the main loop takes the
/// events of the window.
class Screen final : public CaptureScreen,
                     public OvriSourceToSession,
                     public OvriMotionSourceDelegate,
                     public OvriMetadataOutputDelegate,
                     public std::enable_shared_from_this<Screen> {
public:
    Screen(const Options& options, Platform& platform, std::function<void()> closed)
        : options_(options),
          platform_(platform),
          closed_(std::move(closed))
    {
    }

    ~Screen() override { timer_->invalidate(); }

    void begin()
    {
        const std::vector<SourceType> verdicts{SourceType::stability(), SourceType::facingAngle()};
        const std::shared_ptr<DispatchQueue> queue = platform_.dispatch.mainQueue();
        timer_ = platform_.runLoops.current().scheduleTimer(eventInterval, true,
            [take = calling([](Screen& self) { self.takeEvents(); })](Timer&) { take(); });
        manager_ = OvriSourceManager::create(verdicts, options_.preset, queue, platform_);
        if (!options_.conditions.empty()) {
            gate_ = CaptureGate::create(
                options_.conditions, queue, calling([](Screen& self) { self.takeStill(); }), platform_);
            delegates_->add(gate_);
            gate_->arm();
        }
        delegates_->add(shared_from_this());
        manager_->setMetadataDetection(options_.kinds, delegates_);
        manager_->startMotionDetection(verdicts, delegates_, options_.motion);
        preview_
            = Preview::create(view_, platform_, queue, calling([](Screen& self) { self.takePicture(); }));
        startCamera();
    }

    void close() override
    {
        if (!recordingSince_ || isClosing_)
            return end();
        isClosing_ = true;
        manager_->stopVideoRecording();
    }

    void sourceManagerDidGetSample(
        OvriSourceManager& /*manager*/, const std::shared_ptr<CaptureSampleUpdate>& sample) override
    {
        const std::filesystem::path path = freeFile("still", ".jpg");
        std::ofstream file(path, std::ios::binary);
        file.write(reinterpret_cast<const char*>(sample->sample().data()),
            static_cast<std::streamsize>(sample->sample().size()));
        file.close();
        say(file ? "Saved " + path.filename().string() : "Cannot write " + path.string(),
            file ? Tone::good : Tone::bad);
        const auto image = makeImage(*sample, platform_);
        if (const auto picture = image ? engine::renderImage(image->ciImage()).value_or(nullptr) : nullptr)
            painter_.setThumbnail(*picture);
    }

    void sourceManagerDidGetVideo(OvriSourceManager& /*manager*/, const std::filesystem::path& url) override
    {
        recordingSince_.reset();
        say("Saved " + url.filename().string(), Tone::good);
        if (isClosing_)
            end();
    }

    void sourceManagerDidGetSourceError(OvriSourceManager& manager, const SourceError& error) override
    {
        const auto* camera = std::get_if<CameraError>(&error);
        if (!camera)
            return; // of the sensors: there are no verdicts
        const auto& drops = manager.frameCounts().droppedBy;
        const bool isLost = drops[static_cast<std::size_t>(DropCause::deviceLost)] > 0;
        if (camera->kind() == CameraError::Case::captureImageFailed) {
            recordingSince_.reset();
            say("That did not work: the camera is not ready.", Tone::bad);
            if (gate_)
                gate_->retry();
        } else if (camera->kind() != CameraError::Case::videoFrameError || isLost) {
            retryTime_ = now() + retryInterval;
            isDirty_ = true;
        }
    }

    void sourceManagerCameraDidSuspend(OvriSourceManager& /*manager*/) override
    {
        isPaused_ = isDirty_ = true;
    }
    void sourceManagerCameraDidResume(OvriSourceManager& /*manager*/) override { isPaused_ = false; }

    void sourceManagerDidDetectStability(OvriSourceManager& /*manager*/, bool isStable) override
    {
        isStable_ = isStable;
        isDirty_ = true;
    }
    void sourceManagerDidDetectFacingAngle(OvriSourceManager& /*manager*/, bool isFacing) override
    {
        isFacing_ = isFacing;
        isDirty_ = true;
    }

    void sourceManagerDidDetect(OvriSourceManager& /*manager*/, const OvriMetadataFaceObject& face) override
    {
        const auto [origin, size] = face.face()->bounds();
        const CGPoint last{origin.x + size.width, origin.y + size.height};
        foundAt(face.face()->captureTime())
            .push_back({{origin, {last.x, origin.y}, last, {origin.x, last.y}}, "face"});
    }
    void sourceManagerDidDetect(OvriSourceManager& /*manager*/,
        const std::vector<OvriMetadataMachineReadableCodeObject>& codes) override
    {
        std::vector<Found>& found = foundAt(codes.front().captureTime());
        for (const OvriMetadataMachineReadableCodeObject& code : codes)
            found.push_back({code.corners(), code.value().value_or("")});
    }

private:
    struct Found {
        std::vector<CGPoint> corners; ///< places in the picture
        std::string text;
    };

    std::function<void()> calling(void (*action)(Screen&)) { return whileAlive(weak_from_this(), action); }
    [[nodiscard]] nanoseconds now() const { return platform_.clock.monotonic(); }

    void say(const std::string& text, Tone tone = Tone::plain)
    {
        message_ = text;
        messageTone_ = tone;
        messageEnd_ = now() + messageTime;
        isDirty_ = true;
    }

    // The camera.

    void startCamera()
    {
        const SourceType source = isFront_ ? SourceType::cameraFront(true) : SourceType::cameraBack(true);
        if (!manager_->startSession(source, delegates_, {}, view_))
            say("You may not use the camera.", Tone::bad);
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
            manager_->whenCameraStopped(calling([](Screen& self) { self.startCamera(); }));
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

    void toggleMovie()
    {
        if (recordingSince_)
            return manager_->stopVideoRecording();
        if (!manager_->canRecordVideo())
            return say("A movie is not possible now.", Tone::bad);
        manager_->startVideoRecording(freeFile("movie", ".mp4"));
        recordingSince_ = now();
    }

    void end()
    {
        manager_->stopAllSessions();
        if (const auto closed = std::exchange(closed_, nullptr))
            closed();
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
        isDirty_ = true;
    }

    /// What was found in the picture of that time; the earlier is forgotten.
    std::vector<Found>& foundAt(const std::optional<nanoseconds>& captureTime)
    {
        if (foundIn_ != captureTime)
            found_.clear();
        foundIn_ = captureTime;
        foundEnd_ = now() + foundTime;
        isDirty_ = true;
        return found_;
    }

    void takeEvents()
    {
        SDL_Event event;
        while (SDL_PollEvent(&event) != 0) {
            isDirty_ = true;
            if (event.type == SDL_QUIT)
                close();
            else if (event.type == SDL_KEYDOWN && event.key.repeat == 0)
                press(event.key.keysym.sym);
            else if (event.type == SDL_MULTIGESTURE)
                zoomBy(1 + 4 * static_cast<double>(event.mgesture.dDist)); // a part of the window's size
            else if (event.type == SDL_WINDOWEVENT && event.window.event == SDL_WINDOWEVENT_SIZE_CHANGED)
                preview_->resize(painter_.size());
        }
        if (retryTime_ && now() >= *retryTime_) {
            retryTime_ = now() + retryInterval;
            startCamera();
        }
        if (messageEnd_ && now() > *messageEnd_) {
            messageEnd_.reset();
            isDirty_ = true;
            if (gate_)
                gate_->arm(); // not at once: codes and faces come and go
        }
        if (std::exchange(isDirty_, false))
            draw();
    }

    void press(SDL_Keycode key)
    {
        switch (key) {
        case SDLK_SPACE:
            return takeStill();
        case SDLK_r:
            return toggleMovie();
        case SDLK_t:
            return toggleTorch();
        case SDLK_PLUS:
        case SDLK_EQUALS: // the same key without shift
        case SDLK_KP_PLUS:
            return zoomBy(zoomStep);
        case SDLK_MINUS:
        case SDLK_KP_MINUS:
            return zoomBy(1 / zoomStep);
        case SDLK_c:
            return switchCamera();
        case SDLK_f:
            return painter_.toggleFullScreen();
        case SDLK_q:
            return close();
        default:
            return;
        }
    }

    void draw()
    {
        // The picture in which something was found, so that the outline lies on it; the newest when nothing is found.
        const auto transform = painter_.drawPicture(now() < foundEnd_ ? foundIn_ : std::nullopt);
        for (const Found& found : transform ? found_ : std::vector<Found>{}) {
            std::vector<CGPoint> corners;
            for (const CGPoint& place : found.corners)
                corners.push_back(CGPointApplyAffineTransform(place, *transform));
            painter_.drawOutline(corners);
            const CGPoint& lowest = *std::ranges::max_element(corners, {}, &CGPoint::y);
            painter_.drawText(found.text, std::ranges::min(corners, {}, &CGPoint::x).x, lowest.y + 4);
        }
        double x = 8;
        if (isStable_)
            x += 8
                + painter_.drawText(
                    *isStable_ ? "held still" : "moving", x, 8, *isStable_ ? Tone::good : Tone::plain);
        if (isFacing_)
            x += 8
                + painter_.drawText(
                    *isFacing_ ? "tilted" : "flat", x, 8, *isFacing_ ? Tone::good : Tone::plain);
        if (isTorchOn_)
            painter_.drawText("torch", x, 8, Tone::good);
        if (recordingSince_) {
            const auto time
                = std::chrono::duration_cast<std::chrono::seconds>(now() - *recordingSince_).count();
            painter_.drawText("\u25cf " + std::to_string(time) + " s", -8, 8, Tone::bad);
        }
        const std::vector<CaptureCondition> missing
            = gate_ ? gate_->missing() : std::vector<CaptureCondition>{};
        for (double y = 8; const CaptureCondition& condition : options_.conditions) {
            const bool holds = std::ranges::find(missing, condition) == missing.end();
            painter_.drawText((holds ? "\u2713 " : "\u25cb ") + nameOf(condition), 8, y += 34,
                holds ? Tone::good : Tone::plain);
        }
        painter_.drawText(keys, 8, -8);
        if (isPaused_)
            painter_.drawText("Paused while the application is in the background", 8, -44);
        else if (isClosing_)
            painter_.drawText("Completing the movie. q again closes at once\u2026", 8, -44);
        else if (retryTime_)
            painter_.drawText("No camera. Waiting for it\u2026", 8, -44, Tone::bad);
        else if (messageEnd_)
            painter_.drawText(message_, 8, -44, messageTone_);
        painter_.present();
    }

    const Options options_;
    Platform& platform_;
    std::function<void()> closed_;
    Painter painter_;
    const std::shared_ptr<UIView> view_ = std::make_shared<UIView>(painter_.size());
    const std::shared_ptr<ForwardingDelegate> delegates_ = std::make_shared<ForwardingDelegate>();
    std::shared_ptr<OvriSourceManager> manager_;
    std::shared_ptr<Preview> preview_;
    std::shared_ptr<CaptureGate> gate_; ///< absent without conditions
    std::shared_ptr<Timer> timer_;

    bool isFront_ = options_.usesFrontCamera;
    bool isTorchOn_ = false;
    bool isPaused_ = false; ///< in the background
    bool isClosing_ = false; ///< when the movie is complete
    bool isDirty_ = true;
    std::optional<bool> isStable_;
    std::optional<bool> isFacing_;
    std::optional<nanoseconds> recordingSince_;
    std::optional<nanoseconds> retryTime_; ///< of a camera that is lost or missing
    std::vector<Found> found_;
    std::optional<nanoseconds> foundIn_; ///< the capture time of the picture
    nanoseconds foundEnd_{};
    std::string message_;
    Tone messageTone_ = Tone::plain;
    std::optional<nanoseconds> messageEnd_;
};

} // namespace

std::shared_ptr<CaptureScreen> openScreen(
    const Options& options, Platform& platform, std::function<void()> closed)
{
    auto screen = std::make_shared<Screen>(options, platform, std::move(closed));
    screen->begin();
    return screen;
}

} // namespace screen
