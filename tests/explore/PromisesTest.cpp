#include "support/RecordingClient.h"

#include <simulated/explore.h>

#include <tamsel/facade/OvriSourceManager.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <iterator>
#include <limits>
#include <memory>
#include <optional>
#include <ratio>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace tamsel::tests {

using namespace platform;
using namespace std::chrono_literals;
using simulated::ExploreOptions;
using simulated::ExploreResult;
using simulated::Phone;
using Texts = std::vector<std::string>;
using std::chrono::nanoseconds;

namespace {

/// A manager whose operations race with the phone and with each other.
struct Stage {
    explicit Stage(Phone& given) : phone(given)
    {
        manager = OvriSourceManager::create({SourceType::stability()},
            CameraConfiguration::SessionPreset::photo, phone.makeQueue("screen"), phone.platform());
        client->onFrame = [this] {
            const nanoseconds time = client->frames.back().imageBuffer()->timing().value().captureTime;
            if (std::exchange(lastFrame, time) >= time && sessions == 1)
                broken += " frames out of order";
            client->frames.clear();
        };
    }

    /// One public operation, as long as there is a manager.
    void at(nanoseconds time, const char* name, std::function<void(OvriSourceManager&)> operation)
    {
        phone.at(time, name, [this, operation = std::move(operation)] {
            if (!manager)
                return;
            const nanoseconds before = phone.now();
            operation(*manager);
            if (phone.now() != before)
                broken += " an operation takes time";
        });
    }
    void start(nanoseconds time, const SourceType& type)
    {
        ++sessions;
        at(time, "start",
            [this, type](OvriSourceManager& own) { (void)own.startSession(type, client, {}, view); });
    }
    void still(nanoseconds time)
    {
        at(time, "still", [this](OvriSourceManager& own) {
            ++stills;
            own.captureStillImage(OvriImageSource::photo, std::nullopt);
        });
    }
    void pause(nanoseconds time)
    {
        isPausedInBetween = true;
        at(time, "pause", [](OvriSourceManager& own) { own.pauseCamera(); });
    }
    void resume(nanoseconds time)
    {
        at(time, "resume", [](OvriSourceManager& own) { own.resumeCamera(); });
    }
    void leave(nanoseconds time)
    {
        phone.at(time, "leave", [this] { phone.enterBackground(); });
    }
    void comeBack(nanoseconds time)
    {
        hasReturned = true;
        phone.at(time, "return", [this] { phone.enterForeground(); });
    }
    void release(nanoseconds time)
    {
        phone.at(time, "release", [this] { release(); });
    }
    void release()
    {
        released = manager;
        manager = nullptr;
        if (released.expired()) // an item may hold it a little longer
            callsAtRelease = client->calls.size();
    }

    /// The calls of the client that begin so.
    [[nodiscard]] Texts told(const std::string& beginning) const
    {
        Texts texts;
        std::ranges::copy_if(client->calls, std::back_inserter(texts),
            [&](const std::string& call) { return call.starts_with(beginning); });
        return texts;
    }

    void checkManager()
    {
        const FrameCounts counts = manager->frameCounts();
        if (counts.produced != counts.delivered + counts.dropped() + counts.gated + counts.inFlight)
            broken += " the ledger does not close";
        const auto answers = told("sample").size() + told("error captureImageFailed").size();
        if (answers != stills && stills > 0)
            broken += " " + std::to_string(answers) + " answers to " + std::to_string(stills) + " stills";
        if (!isPausedInBetween && told("suspend").size() != told("resume").size())
            broken += " not as many resumes as suspends";
        if (!isPausedInBetween && hasReturned && lastFrame < phone.now() - 100ms)
            broken += " no frames after the return";
        manager->pauseCamera();
        phone.advance(5s);
        const auto ignored = std::ranges::count_if(phone.journal().texts("recording"),
            [](const std::string& line) { return line.ends_with("another recording is in progress"); });
        Texts videos = told("video");
        if (std::ssize(videos) + ignored != std::ssize(phone.journal().texts("startRecording")))
            broken += " a movie without its URL";
        std::ranges::sort(videos);
        if (std::ranges::adjacent_find(videos) != videos.end())
            broken += " a movie twice";
        const Texts verdicts = told("stability");
        if (std::ranges::adjacent_find(verdicts) != verdicts.end())
            broken += " the same verdict twice";
    }

    /// All that must hold in the end, when nobody is late any more.
    std::optional<std::string> problem()
    {
        if (manager) {
            checkManager();
            release();
        }
        phone.advance(10s);
        if (!released.expired())
            broken += " the manager lives";
        for (const auto position : {AVCaptureDevicePosition::back, AVCaptureDevicePosition::front}) {
            if (phone.camera(position).isOpen() || phone.camera(position).isStarted())
                broken += " a camera runs";
        }
        if (!phone.isIdle())
            broken += " no rest";
        for (const char* url : {"a.mp4", "b.mp4", "c.mp4"}) {
            const auto movie = phone.movies().movie(url);
            if (movie && !movie->isComplete)
                broken += " a movie that is not complete";
        }
        if (client->calls.size() > callsAtRelease)
            broken += " a call after the release";
        return broken.empty() ? std::nullopt : std::optional(broken);
    }

    Phone& phone;
    std::shared_ptr<OvriSourceManager> manager;
    std::weak_ptr<OvriSourceManager> released;
    std::shared_ptr<RecordingClient> client = std::make_shared<RecordingClient>();
    std::shared_ptr<UIView> view = std::make_shared<UIView>();
    std::string broken;
    std::size_t callsAtRelease = std::numeric_limits<std::size_t>::max();
    std::optional<nanoseconds> lastFrame;
    int sessions = 0; ///< that are started; frames of several may overlap
    std::size_t stills = 0;
    bool hasReturned = false;
    bool isPausedInBetween = false; ///< then some suspends are not reported
};

/// Operations within half a second. The camera runs from 0 on unless the scenario starts it; frames come at 33 ms, 66 ms
/// and so on.
struct Case {
    std::string name;
    std::function<void(Stage&)> plan;
    nanoseconds choicesFrom = 90ms;
};

const std::vector<Case> cases{
    {"startsAndStops",
        [](Stage& stage) {
            stage.at(33ms, "stop", [](OvriSourceManager& own) { own.stopCameraSession(); });
            stage.start(33ms, SourceType::cameraFront(false));
            stage.at(70ms, "stop all", [](OvriSourceManager& own) { own.stopAllSessions(); });
            stage.start(80ms, SourceType::cameraBack(false));
        },
        0ms},
    {"pauses",
        [](Stage& stage) {
            for (const auto time : {99ms, 132ms, 140ms}) {
                stage.pause(time);
                stage.resume(time);
            }
            stage.leave(133ms);
            stage.comeBack(141ms);
        }},
    {"background",
        [](Stage& stage) {
            stage.leave(99ms);
            stage.comeBack(120ms);
            stage.leave(132ms);
            stage.comeBack(133ms);
        }},
    {"unplugged",
        [](Stage& stage) {
            stage.phone.at(99ms, "unplug",
                [&phone = stage.phone] { phone.camera(AVCaptureDevicePosition::back).unplug(); });
            stage.still(99ms);
            stage.phone.at(132ms, "plug in",
                [&phone = stage.phone] { phone.camera(AVCaptureDevicePosition::back).plugIn(); });
            stage.resume(132ms);
        }},
    {"stills",
        [](Stage& stage) {
            stage.phone.delay(engine::CaptureCall::processPhoto, 40ms);
            stage.phone.refuse(engine::CaptureCall::capturePhoto, 3);
            stage.still(99ms);
            stage.leave(132ms);
            stage.still(132ms);
            stage.comeBack(140ms);
            stage.still(165ms);
            stage.pause(166ms);
            stage.resume(198ms);
            stage.still(198ms);
        }},
    {"recordings",
        [](Stage& stage) {
            stage.phone.movies().script()
                = {.framesUntilFull = 3, .timeToEncode = 20ms, .timeToFinish = 60ms};
            stage.phone.at(120ms, "deaf", [&phone = stage.phone] { phone.microphone().unplug(); });
            stage.phone.at(125ms, "hears", [&phone = stage.phone] { phone.microphone().plugIn(); });
            stage.at(99ms, "record", [](OvriSourceManager& own) { own.startVideoRecording("a.mp4"); });
            stage.at(132ms, "end", [](OvriSourceManager& own) { own.stopVideoRecording(); });
            stage.at(133ms, "record", [](OvriSourceManager& own) { own.startVideoRecording("b.mp4"); });
            stage.pause(165ms);
            stage.resume(170ms);
            stage.at(231ms, "record", [](OvriSourceManager& own) { own.startVideoRecording("c.mp4"); });
            stage.leave(264ms);
            stage.comeBack(265ms);
        }},
    {"detection",
        [](Stage& stage) {
            stage.phone.detector().show({simulated::face()});
            stage.at(99ms, "detect",
                [&stage](OvriSourceManager& own) { own.setFaceMetadataDetection(stage.client); });
            stage.pause(110ms);
            stage.resume(120ms);
            stage.at(165ms, "no delegate", [](OvriSourceManager& own) { own.setMetadataDelegate(nullptr); });
        }},
    {"motion",
        [](Stage& stage) {
            stage.at(99ms, "measure", [&stage](OvriSourceManager& own) {
                own.startMotionDetection(
                    {SourceType::stability()}, stage.client, {{"stabilityDuration", 0.1}});
            });
            stage.at(320ms, "stop", [](OvriSourceManager& own) { own.stopMotionWorkers(); });
        }},
};

class Promises : public testing::TestWithParam<std::tuple<std::size_t, nanoseconds>> { };

/// Of the wall clock, for all cases of this program.
nanoseconds budget()
{
    const char* minutes = std::getenv("TAMSEL_EXPLORE_MINUTES");
    return minutes ? std::chrono::duration_cast<nanoseconds>(
                         std::chrono::duration<double, std::ratio<60>>(std::atof(minutes)))
                   : nanoseconds(60s);
}

} // namespace

TEST_P(Promises, HoldInEveryOrder)
{
    const auto& [number, lateBy] = GetParam();
    const Case& tested = cases[number];
    const std::vector<nanoseconds> releases{-1ns, 99ms, 132ms, 133ms, 165ms};
    for (const nanoseconds release : releases) {
        ExploreOptions options{.runs = 20'000,
            .maximumDelays = 2,
            .lateBy = lateBy,
            .choicesFrom = tested.choicesFrom,
            .choicesUntil = 500ms,
            .threads = 0,
            .timeLimit = budget() / (2 * std::ssize(cases) * std::ssize(releases))};
        options.phone.microphone = simulated::MicrophoneScript{};
        options.phone.bufferCount = 4;
        for (simulated::CameraScript& camera : options.phone.cameras) {
            camera.width = 8;
            camera.height = 6;
            camera.frameInterval = 33ms;
            camera.timeToStop = 5ms;
        }
        const ExploreResult result = simulated::explore(options, [&](Phone& phone) {
            Stage stage(phone);
            stage.start(0ms, SourceType::cameraBack(tested.name == "recordings"));
            tested.plan(stage);
            if (release >= 0ns)
                stage.release(release);
            phone.advance(options.choicesUntil + 5s); // so much time has a still
            return stage.problem();
        });
        EXPECT_FALSE(result.failure) << (release < 0ns ? "" : "with a release: ") << result;
        if (std::getenv("TAMSEL_EXPLORE_MINUTES"))
            std::cout << result;
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, Promises,
    testing::Combine(
        testing::Range<std::size_t>(0, cases.size()), testing::Values(nanoseconds(0), nanoseconds(100ms))),
    [](const testing::TestParamInfo<Promises::ParamType>& which) {
        return cases[std::get<0>(which.param)].name + (std::get<1>(which.param) > 0ns ? "Late" : "");
    });

} // namespace tamsel::tests
