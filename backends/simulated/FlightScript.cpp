#include <simulated/FlightScript.h>

#include <simulated/Scheduler.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <stdexcept>

namespace tamsel::simulated {

using namespace platform;
using namespace std::chrono_literals;

namespace {

/// How much earlier or later than the recorded one a step of a device may begin on the phone.
constexpr auto tolerance = 1s;

bool hasError(const formats::FlightEvent& event, std::size_t code)
{
    return !std::isnan(event.number(code)) || !event.text.empty();
}

std::optional<Error> errorOf(const formats::FlightEvent& event, std::size_t code)
{
    if (!hasError(event, code))
        return std::nullopt;
    const double number = event.number(code);
    return Error{
        .localizedDescription = event.text, .code = std::isnan(number) ? 0 : static_cast<int>(number)};
}

std::size_t index(double number)
{
    return number > 0 ? static_cast<std::size_t>(number) : 0;
}

} // namespace

/// Finds what was found in the same frames, and takes as long.
class FlightScript::Detector final : public engine::MetadataDetector {
public:
    explicit Detector(FlightScript& script) : script_(script) { }

    [[nodiscard]] std::vector<AVMetadataObjectType> detectableTypes() const override
    {
        return allMetadataObjectTypes();
    }
    [[nodiscard]] std::unique_ptr<engine::MetadataDetection> begin(
        std::vector<AVMetadataObjectType> /*types*/) override
    {
        return std::make_unique<Detection>(script_);
    }

private:
    struct Detection final : engine::MetadataDetection {
        explicit Detection(FlightScript& of) : script(of) { }
        void take(const Frame& frame) override { captured = frame.captureTime; }
        AVMetadataObjects detect() override { return script.detect(captured); }

        FlightScript& script;
        nanoseconds captured{};
    };

    FlightScript& script_;
};

/// Fails when the recorded encoder did, and takes as long.
class FlightScript::Encoder final : public engine::PhotoEncoder {
public:
    Encoder(FlightScript& script, engine::PhotoEncoder& inner) : script_(script), inner_(inner) { }

    std::optional<std::vector<std::byte>> encodePhoto(
        const CVPixelBuffer& pixels, const PropertyDictionary& properties) override
    {
        if (script_.give(script_.stills_))
            return std::nullopt;
        return inner_.encodePhoto(pixels, properties);
    }

private:
    FlightScript& script_;
    engine::PhotoEncoder& inner_;
};

FlightScript::FlightScript(std::shared_ptr<const formats::FlightRecording> recording)
    : recording_(std::move(recording)),
      events_(recording_->events),
      origin_(originOf(*recording_))
{
    for (const Event& event : events_) {
        switch (event.kind) {
        case Kind::pause:
        case Kind::resume:
        case Kind::stopCamera:
        case Kind::startSession:
        case Kind::stopMotion:
        case Kind::release:
        case Kind::notification:
        case Kind::cameraLost:
            barriers_.push_back(event.time);
            break;
        case Kind::cameraOpened:
        case Kind::cameraStarted:
        case Kind::cameraStopped:
            barriers_.push_back(event.time - event.nanoseconds(1));
            break;
        default:
            break;
        }
    }
    std::ranges::sort(barriers_);
    readAnswers();
}

FlightScript::~FlightScript() = default;

std::chrono::nanoseconds FlightScript::originOf(const formats::FlightRecording& recording)
{
    constexpr double backCamera = 1; // after the front camera
    constexpr double asset = 2;
    const auto isStart = [](const Event& event) { return event.kind == Kind::startSession; };
    const std::vector<Event>& events = recording.events;
    auto first = events.begin();
    if (recording.overwritten > 0) {
        const auto last = std::find_if(events.rbegin(), events.rend(),
            [&](const Event& event) { return isStart(event) && event.number(1) <= backCamera; });
        if (last == events.rend())
            throw std::invalid_argument("the recorder's ring of " + std::to_string(recording.ringSize)
                + " events was too small: no start of a camera is left to begin with");
        first = std::prev(last.base());
    }
    if (std::any_of(first, events.end(),
            [&](const Event& event) { return isStart(event) && event.number(1) == asset; }))
        throw std::invalid_argument("a session of a recorded video cannot be replayed");
    return recording.overwritten > 0 ? first->time : nanoseconds{};
}

std::chrono::nanoseconds FlightScript::beforeBarrier(nanoseconds cause, nanoseconds effect) const
{
    const auto next = std::ranges::upper_bound(barriers_, cause);
    return next == barriers_.end() ? effect : std::min(effect, std::max(cause, *next - 1ns));
}

std::chrono::nanoseconds FlightScript::effectOf(std::size_t index, std::initializer_list<Kind> calls) const
{
    const Event& cause = events_[index];
    for (std::size_t next = index + 1; next < events_.size() && events_[next].kind != cause.kind; ++next) {
        if (std::ranges::find(calls, events_[next].kind) != calls.end())
            return beforeBarrier(cause.time, events_[next].time);
    }
    return cause.time;
}

void FlightScript::readAnswers()
{
    std::size_t movie = 0; ///< the number of the first one
    for (std::size_t number = 0; number < events_.size(); ++number) {
        const Event& event = events_[number];
        if (event.time < origin_)
            continue;
        const nanoseconds end = phoneTime(event.time);
        switch (event.kind) {
        case Kind::cameraOpened:
        case Kind::cameraStarted:
        case Kind::cameraStopped:
            cameras_[{event.kind, index(event.number(0))}].push_back(
                {end - event.nanoseconds(1), end, errorOf(event, 2)});
            break;
        case Kind::movieOpened:
        case Kind::movieFailed:
        case Kind::movieFinished: {
            movie = movie == 0 ? index(event.number(0)) : movie;
            Answer answer{end, end, errorOf(event, event.kind == Kind::movieFinished ? 3 : 2)};
            if (event.kind == Kind::movieFinished)
                answer.end = phoneTime(effectOf(number, {Kind::didGetVideo}));
            movies_.try_emplace({event.kind, index(event.number(0)) - movie}, std::move(answer));
            break;
        }
        case Kind::still:
            stills_.push_back({end - event.nanoseconds(1), phoneTime(effectOf(number, {Kind::didGetSample})),
                std::isnan(event.number(0)) ? std::optional(Error{}) : std::nullopt});
            break;
        case Kind::detection:
            readDetection(number);
            break;
        case Kind::frame:
            captureTimes_.push_back(event.nanoseconds(2) - origin_);
            break;
        default:
            break;
        }
    }
}

void FlightScript::readDetection(std::size_t number)
{
    Batch batch{events_[number].nanoseconds(1) - origin_,
        phoneTime(effectOf(number, {Kind::didDetectFace, Kind::didDetectCodes}))};
    for (std::size_t next = number + 1; next < events_.size() && events_[next].kind != Kind::detection;
        ++next) {
        const Event& event = events_[next];
        if (event.kind == Kind::face) {
            batch.objects.push_back(
                face({{event.number(1), event.number(2)}, {event.number(3), event.number(4)}},
                    static_cast<std::int64_t>(event.number(0))));
        } else if (event.kind == Kind::code) {
            std::vector<CGPoint> corners;
            for (std::size_t corner = 1; corner < 9 && !std::isnan(event.number(corner)); corner += 2)
                corners.push_back({event.number(corner), event.number(corner + 1)});
            const std::vector<AVMetadataObjectType> types = allMetadataObjectTypes();
            const std::size_t type = index(event.number(0));
            batch.objects.push_back(
                std::make_shared<AVMetadataMachineReadableCodeObject>(type < types.size() ? types[type] : "",
                    std::move(corners), event.text.empty() ? std::nullopt : std::optional(event.text)));
        }
    }
    if (!batch.objects.empty())
        batches_.push_back(std::move(batch));
}

void FlightScript::configure(PhoneConfiguration& configuration)
{
    configuration.cameras.clear();
    configuration.microphone = std::nullopt;
    for (const Event& input : recording_->inputs) {
        if (input.kind == Kind::microphone) {
            configuration.microphone = MicrophoneScript{.name = input.text};
            continue;
        }
        CameraScript script;
        script.position = static_cast<AVCaptureDevicePosition>(index(input.number(1)));
        script.type = static_cast<AVCaptureDeviceType>(index(input.number(2)));
        script.tellsDimensions = !std::isnan(input.number(3));
        if (script.tellsDimensions) {
            script.width = index(input.number(3));
            script.height = index(input.number(4));
        }
        script.sensorOrientation = static_cast<AVCaptureVideoOrientation>(index(input.number(5)));
        script.hasTorch = input.is(6);
        script.answer = [this, number = index(input.number(0))](CameraStep step) {
            constexpr std::array kinds{Kind::cameraOpened, Kind::cameraStarted, Kind::cameraStopped};
            return give(cameras_[{kinds.at(static_cast<std::size_t>(step)), number}]);
        };
        configuration.cameras.push_back(std::move(script));
    }
    configuration.motionLog = nullptr;
    configuration.motion.gyro = [](nanoseconds) { return std::nullopt; }; // samples come by themselves
    configuration.motion.deviceMotion = [](nanoseconds) { return std::nullopt; };
    configuration.metadataDetector = std::make_shared<Detector>(*this);
}

engine::PhotoEncoder& FlightScript::encoder(engine::PhotoEncoder& inner)
{
    encoder_ = std::make_unique<Encoder>(*this, inner);
    return *encoder_;
}

std::function<std::optional<Error>(MovieStep, std::size_t, std::size_t)> FlightScript::movieAnswers()
{
    return [this](MovieStep step, std::size_t movie, std::size_t /*frames*/) {
        return answerMovie(step, movie);
    };
}

void FlightScript::spendUntil(nanoseconds time)
{
    if (scheduler_ != nullptr)
        scheduler_->spend(time - scheduler_->monotonic());
}

std::optional<Error> FlightScript::give(Answers& answers)
{
    const nanoseconds now = scheduler_->monotonic();
    while (!answers.empty() && answers.front().end < now - tolerance)
        answers.pop_front();
    if (answers.empty() || answers.front().begin > now + tolerance)
        return std::nullopt;
    Answer answer = std::move(answers.front());
    answers.pop_front();
    spendUntil(answer.end);
    return std::move(answer.error);
}

std::optional<Error> FlightScript::answerMovie(MovieStep step, std::size_t movie)
{
    constexpr std::array kinds{Kind::movieOpened, Kind::movieFailed, Kind::movieFinished};
    const auto found = movies_.find({kinds.at(static_cast<std::size_t>(step)), movie});
    if (found == movies_.end())
        return std::nullopt;
    const Answer& answer = found->second;
    // The frame that could not be written is the last one before that time.
    if (step == MovieStep::frame) {
        const auto next = std::ranges::upper_bound(captureTimes_, scheduler_->monotonic());
        if (next != captureTimes_.end() && *next <= answer.end)
            return std::nullopt;
    }
    spendUntil(answer.end);
    return answer.error;
}

AVMetadataObjects FlightScript::detect(nanoseconds captured)
{
    while (!batches_.empty() && batches_.front().end < captured)
        batches_.pop_front();
    if (batches_.empty())
        return {};
    const auto next = std::ranges::upper_bound(captureTimes_, captured);
    if (next != captureTimes_.end() && *next <= batches_.front().captured)
        return {}; // it was found in a later frame
    const Batch batch = std::move(batches_.front());
    batches_.pop_front();
    spendUntil(batch.end);
    return batch.objects;
}

} // namespace tamsel::simulated
