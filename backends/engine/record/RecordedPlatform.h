#pragma once

#include <engine/capture/Capture.h>
#include <engine/motion/MotionDriver.h>
#include <engine/record/FlightRecorder.h>

#include <tamsel/platform/DiagnosticLines.h>
#include <tamsel/platform/NotificationCenter.h>
#include <tamsel/platform/UIDevice.h>
#include <tamsel/platform/core/ReportSink.h>

#include <memory>

namespace tamsel {
class SessionObserver;
}

namespace tamsel::engine {

/// The parts of a back end with a recorder between them and the library. Without a recorder every function returns what it
/// was given. The results refer to this object and to what was given.
class RecordedPlatform {
public:
    /// The recorder may be absent.
    explicit RecordedPlatform(std::shared_ptr<FlightRecorder> recorder);
    ~RecordedPlatform();
    RecordedPlatform(const RecordedPlatform&) = delete;
    RecordedPlatform& operator=(const RecordedPlatform&) = delete;

    /// The following may be called once each.
    /// @{
    [[nodiscard]] CaptureConfiguration capture(CaptureConfiguration configuration);
    [[nodiscard]] std::shared_ptr<MotionDriver> motion(std::shared_ptr<MotionDriver> driver);
    [[nodiscard]] PhotoEncoder& encoder(PhotoEncoder& encoder);
    [[nodiscard]] MovieWriters& writers(MovieWriters& writers);
    [[nodiscard]] platform::UIDevice& device(platform::UIDevice& device);
    [[nodiscard]] platform::ReportSink& reports(platform::ReportSink& reports);
    [[nodiscard]] platform::DiagnosticLines& lines(platform::DiagnosticLines& lines);
    /// Records its notifications, each with the state of the application.
    void notifications(platform::NotificationCenter& center, const ApplicationState& application);
    /// @}
    /// For `Platform::observer`.
    [[nodiscard]] SessionObserver* client();

private:
    struct Parts;
    const std::unique_ptr<Parts> parts_; ///< absent without a recorder
};

} // namespace tamsel::engine
