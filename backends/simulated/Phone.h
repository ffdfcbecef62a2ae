#pragma once

#include <simulated/Chooser.h>
#include <simulated/Journal.h>
#include <simulated/SimulatedAssets.h>
#include <simulated/SimulatedCamera.h>
#include <simulated/SimulatedDetector.h>
#include <simulated/SimulatedImages.h>
#include <simulated/SimulatedLocation.h>
#include <simulated/SimulatedMicrophone.h>
#include <simulated/SimulatedMotion.h>
#include <simulated/SimulatedMovies.h>

#include <engine/capture/CaptureHook.h>

#include <tamsel/client/ForwardingDelegate.h>
#include <tamsel/client/SourceCallbacks.h>
#include <tamsel/platform/Platform.h>
#include <tamsel/platform/UIApplication.h>
#include <tamsel/platform/UIDevice.h>
#include <tamsel/platform/core/Reports.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tamsel::engine {
class Capture;
class FlightRecorder;
} // namespace tamsel::engine
namespace tamsel::formats {
struct FlightRecording;
}

/// A scripted phone on virtual time, for tests.
namespace tamsel::simulated {

/// The configuration of a simulated phone.
struct PhoneConfiguration {
    /// Another seed gives another order of simultaneous events.
    std::uint64_t seed = 1;
    /// Decides the order in place of the seed. Used by this phone only.
    std::shared_ptr<Chooser> chooser = nullptr;
    /// The text of a failure that `explore` has found: the same order again, in place of seed and chooser. A text that is
    /// none of `explore`'s is a `std::invalid_argument` of the phone's constructor. When the scenario has changed so that
    /// the order does not fit any more, `run`, `advance` and `runUntil` throw a `ScenarioError`.
    std::string replay = {};
    std::vector<CameraScript> cameras{
        {.position = platform::AVCaptureDevicePosition::back},
        {.position = platform::AVCaptureDevicePosition::front},
    };
    std::optional<MicrophoneScript> microphone = std::nullopt;
    MotionScript motion = {};
    /// Replaces the motion script: replayed from the start of the first stream.
    std::shared_ptr<const formats::MotionLog> motionLog = nullptr;
    DetectorScript detector = {};
    /// A session that was recorded: the devices do what they did then, with scripted pictures, and the oldest event goes
    /// first unless a chooser or a replay is given. The members for cameras, microphone, motion and detector are not
    /// used. A recording that cannot be replayed is a `std::invalid_argument` of the phone's constructor.
    std::shared_ptr<const formats::FlightRecording> recording = nullptr;
    /// Records what happens from the constructor until the destructor; off by default.
    std::shared_ptr<engine::FlightRecorder> recorder = nullptr;
    /// Replace the simulated assets, pictures, movies and detector, for real ones on virtual time.
    std::shared_ptr<platform::AssetServices> assets = nullptr;
    std::shared_ptr<platform::ImageServices> images = nullptr;
    std::shared_ptr<engine::PhotoEncoder> photoEncoder = nullptr;
    std::shared_ptr<engine::MovieWriters> movieWriters = nullptr;
    std::shared_ptr<engine::MetadataDetector> metadataDetector = nullptr;
    std::string systemVersion = "16.4";
    std::string model = "Simulated phone";
    /// Frame buffers of each session.
    std::size_t bufferCount = 10;
    /// Wall-clock time at the beginning, seconds since 1970-01-01 00:00 UTC. The wall clock gains a millionth, so that
    /// rounding of doubles never makes a duration look shorter: from 0.07 s on with this beginning, from 1 ms on in the
    /// first week of 1970.
    double timeIntervalSince1970 = 500'000'000;
};

/// A scripted phone on virtual time, for tests: no threads, no real clock, no hardware. Nothing happens unless the test
/// runs it, and the same seed gives the same events in the same order. Destroy it after every manager. Not thread-safe:
/// the phone and all its parts belong to one thread.
class Phone {
public:
    explicit Phone(PhoneConfiguration configuration = {});
    ~Phone();
    Phone(const Phone&) = delete;
    Phone& operator=(const Phone&) = delete;

    /// For `OvriSourceManager::create`; lives as long as the phone.
    [[nodiscard]] platform::Platform& platform();
    /// A serial queue for a client's callbacks. The label is for people.
    [[nodiscard]] std::shared_ptr<platform::DispatchQueue> makeQueue(std::string label);

    // Time. In a callback, which the phone itself runs, the first three throw a `std::logic_error`.

    /// Runs everything that is ready, without advancing the time.
    void run();
    /// Advances the time, and runs everything that is due until then.
    void advance(std::chrono::nanoseconds duration);
    /// Runs until the condition holds; false when the limit passes before.
    bool runUntil(
        const std::function<bool()>& condition, std::chrono::nanoseconds limit = std::chrono::minutes(1));
    /// In a callback: it takes this time, so its queue is busy, and others run meanwhile. Elsewhere as `advance`.
    void spend(std::chrono::nanoseconds duration);
    /// Plans an action of the person or the program, on the main thread, at a time of `now`. It is an event among the
    /// others, so it may run before or after simultaneous ones; actions keep their order. The name is for people.
    void at(std::chrono::nanoseconds time, std::string name, std::function<void()> action);
    [[nodiscard]] std::chrono::nanoseconds now() const;
    /// True when no item waits or is suspended.
    [[nodiscard]] bool isIdle() const;
    /// Calls `body` as a thread of that name would. Outside of this and of items the caller is the thread "main".
    void asThread(const std::string& name, const std::function<void()>& body);

    // The user's side of the phone.

    /// Absent for a position without a camera in the configuration. The first camera at a position has number 0.
    [[nodiscard]] SimulatedCamera& camera(platform::AVCaptureDevicePosition position, std::size_t number = 0);
    /// Only for a phone that has one.
    [[nodiscard]] SimulatedMicrophone& microphone();
    [[nodiscard]] SimulatedMovies& movies();
    /// The problem of the last recording, in one line; empty when there is none.
    [[nodiscard]] const std::string& recordingProblem() const;
    [[nodiscard]] SimulatedDetector& detector();
    [[nodiscard]] SimulatedMotion& motion();
    [[nodiscard]] SimulatedAssets& assets();
    [[nodiscard]] SimulatedImages& images();
    [[nodiscard]] SimulatedLocation& location();
    void setAuthorization(platform::AVMediaType mediaType, platform::AVAuthorizationStatus status);
    void setDeviceOrientation(platform::UIDeviceOrientation orientation);
    void setInterfaceOrientation(platform::UIInterfaceOrientation orientation);
    /// Running sessions stop when the phone runs next.
    void enterBackground();
    /// They start again when the phone runs next.
    void enterForeground();

    // The script.

    /// Refuses one call: the `number`th from now on of this kind (1 is the next), or of this kind with this detail.
    /// Calls that can be refused: makeDeviceInput, canAddInput, canAddOutput, lockForConfiguration, startRunning,
    /// capturePhoto, processPhoto, startRecording.
    void refuse(engine::CaptureCall call, int number = 1, std::string detail = {});
    /// Every call of this kind takes time from now on.
    void delay(engine::CaptureCall call, std::chrono::nanoseconds duration);

    [[nodiscard]] Journal& journal();
    /// A delegate for a manager that writes each call to the journal and passes it on to `delegate`. Keep both: a
    /// manager holds it weakly, and it holds `delegate` weakly.
    template <typename Delegate>
    [[nodiscard]] std::shared_ptr<ForwardingDelegate> journaled(const std::shared_ptr<Delegate>& delegate)
    {
        const auto both = std::make_shared<ForwardingDelegate>();
        both->add(journalOfClient());
        both->add(delegate);
        return both;
    }
    /// The settings of stills and outputs that have no effect on a simulated phone, in order.
    [[nodiscard]] const Journal& settings() const;
    /// The reports to the product, in order.
    [[nodiscard]] const std::vector<platform::TamselError>& reports() const;

private:
    struct Parts;

    [[nodiscard]] const std::shared_ptr<CallbackDelegate>& journalOfClient();

    std::unique_ptr<Parts> parts_;
};

} // namespace tamsel::simulated
