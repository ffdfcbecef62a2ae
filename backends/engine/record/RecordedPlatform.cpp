#include <engine/record/RecordedPlatform.h>

#include <engine/capture/ApplicationState.h>
#include <engine/record/RecordedCamera.h>
#include <engine/record/RecordedClient.h>
#include <engine/record/RecordedServices.h>

#include <optional>
#include <utility>

namespace tamsel::engine {

using namespace platform;
using formats::FlightKind;

/// Each optional is made by the function of its name.
struct RecordedPlatform::Parts {
    explicit Parts(std::shared_ptr<FlightRecorder> given)
        : recorder(std::move(given)),
          frames(std::make_shared<RecordedFrames>(recorder)),
          client(recorder)
    {
    }

    const std::shared_ptr<FlightRecorder> recorder;
    const std::shared_ptr<RecordedFrames> frames;
    RecordedClient client;
    std::optional<RecordedEncoder> encoder;
    std::optional<RecordedMovieWriters> writers;
    std::optional<RecordedDevice> device;
    std::optional<RecordedReports> reports;
    std::optional<RecordedLines> lines;
    std::shared_ptr<void> notifications; ///< observes until the end
};

RecordedPlatform::RecordedPlatform(std::shared_ptr<FlightRecorder> recorder)
    : parts_(recorder ? std::make_unique<Parts>(std::move(recorder)) : nullptr)
{
}

RecordedPlatform::~RecordedPlatform() = default;

CaptureConfiguration RecordedPlatform::capture(CaptureConfiguration configuration)
{
    if (!parts_)
        return configuration;
    const std::shared_ptr<FlightRecorder>& recorder = parts_->recorder;
    int number = 0;
    for (std::shared_ptr<CameraDriver>& camera : configuration.cameras)
        camera = std::make_shared<RecordedCamera>(recorder, std::move(camera), number++);
    if (configuration.microphone)
        configuration.microphone
            = std::make_shared<RecordedMicrophone>(recorder, std::move(configuration.microphone));
    if (configuration.metadata.detector)
        configuration.metadata.detector
            = std::make_shared<RecordedDetector>(recorder, std::move(configuration.metadata.detector));
    configuration.authorization = [recorder, ask = std::move(configuration.authorization)](AVMediaType type) {
        const AVAuthorizationStatus status = ask(type);
        recorder->add(FlightKind::authorization, {static_cast<double>(type), static_cast<double>(status)});
        return status;
    };
    configuration.hook = std::make_shared<RecordedHook>(recorder, std::move(configuration.hook));
    configuration.frameObserver = parts_->frames;
    return configuration;
}

std::shared_ptr<MotionDriver> RecordedPlatform::motion(std::shared_ptr<MotionDriver> driver)
{
    return parts_ && driver ? std::make_shared<RecordedMotion>(parts_->recorder, std::move(driver)) : driver;
}

PhotoEncoder& RecordedPlatform::encoder(PhotoEncoder& encoder)
{
    return parts_ ? parts_->encoder.emplace(parts_->recorder, encoder) : encoder;
}

MovieWriters& RecordedPlatform::writers(MovieWriters& writers)
{
    return parts_ ? parts_->writers.emplace(parts_->recorder, writers) : writers;
}

UIDevice& RecordedPlatform::device(UIDevice& device)
{
    return parts_ ? parts_->device.emplace(parts_->recorder, device) : device;
}

ReportSink& RecordedPlatform::reports(ReportSink& reports)
{
    return parts_ ? parts_->reports.emplace(parts_->recorder, reports) : reports;
}

DiagnosticLines& RecordedPlatform::lines(DiagnosticLines& lines)
{
    return parts_ ? parts_->lines.emplace(parts_->recorder, lines) : lines;
}

void RecordedPlatform::notifications(NotificationCenter& center, const ApplicationState& application)
{
    if (!parts_)
        return;
    const auto record = [recorder = parts_->recorder, &application](const Notification& notification) {
        recorder->add(FlightKind::notification,
            {static_cast<double>(application.statusBarOrientation()),
                notification.name == UIApplicationDidEnterBackgroundNotification ? 1.0 : 0.0},
            notification.name);
    };
    parts_->notifications = std::make_shared<int>();
    for (const std::string_view name :
        {UIApplicationDidEnterBackgroundNotification, UIApplicationWillEnterForegroundNotification,
            UIApplicationDidChangeStatusBarOrientationNotification})
        center.addObserver(parts_->notifications, name, record);
    record({.name = "begin", .object = nullptr});
}

SessionObserver* RecordedPlatform::client()
{
    return parts_ ? &parts_->client : nullptr;
}

} // namespace tamsel::engine
