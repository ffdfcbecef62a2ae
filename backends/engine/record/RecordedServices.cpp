#include <engine/record/RecordedServices.h>

#include <tamsel/metadata/MetadataObjectType.h>

#include <algorithm>
#include <array>
#include <string>

namespace tamsel::engine {

using namespace platform;
using formats::FlightEvent;
using formats::FlightKind;
using std::chrono::nanoseconds;

namespace {

constexpr double absent = FlightEvent::absent;

double codeOf(const std::optional<Error>& error)
{
    return error ? static_cast<double>(error->code) : absent;
}

std::string_view textOf(const std::optional<Error>& error)
{
    return error ? std::string_view(error->localizedDescription) : std::string_view();
}

std::optional<Error> errorOf(const std::expected<void, Error>& answer)
{
    return answer ? std::nullopt : std::optional(answer.error());
}

double took(const FlightRecorder& recorder, nanoseconds begin)
{
    return static_cast<double>((recorder.now() - begin).count());
}

void recordObject(FlightRecorder& recorder, const AVMetadataObject& object)
{
    if (const auto* face = dynamic_cast<const AVMetadataFaceObject*>(&object)) {
        const CGRect bounds = face->bounds();
        recorder.add(FlightKind::face,
            {static_cast<double>(face->faceID()), bounds.origin.x, bounds.origin.y, bounds.size.width,
                bounds.size.height});
        return;
    }
    const auto* code = dynamic_cast<const AVMetadataMachineReadableCodeObject*>(&object);
    if (code == nullptr)
        return;
    const std::optional<MetadataObjectType> type = MetadataObjectType::fromRawValue(code->type());
    std::array<CGPoint, 4> corners;
    corners.fill({absent, absent});
    std::copy_n(code->corners().begin(), std::min(corners.size(), code->corners().size()), corners.begin());
    const auto& [a, b, c, d] = corners;
    recorder.add(FlightKind::code,
        {type ? static_cast<double>(MetadataObjectType::Case(*type)) : absent, a.x, a.y, b.x, b.y, c.x, c.y,
            d.x, d.y},
        code->stringValue().value_or(""));
}

} // namespace

bool RecordedMotion::hasGyro() const
{
    const bool has = inner_->hasGyro();
    gyro_.record(*recorder_, FlightKind::gyroPresent, 0, has ? 1 : 0);
    return has;
}

bool RecordedMotion::hasDeviceMotion() const
{
    const bool has = inner_->hasDeviceMotion();
    deviceMotion_.record(*recorder_, FlightKind::deviceMotionPresent, 0, has ? 1 : 0);
    return has;
}

std::optional<GyroReading> RecordedMotion::readGyro(nanoseconds time)
{
    const std::optional<GyroReading> reading = inner_->readGyro(time);
    if (!reading)
        return reading;
    if (const auto& sample = reading->sample) {
        const CMRotationRate& rate = sample->rotationRate;
        recorder_->add(FlightKind::gyro, {rate.x, rate.y, rate.z, sample->timestamp, codeOf(reading->error)},
            textOf(reading->error));
    } else {
        recorder_->add(FlightKind::gyro, {absent, absent, absent, absent, codeOf(reading->error)},
            textOf(reading->error));
    }
    return reading;
}

std::optional<DeviceMotionReading> RecordedMotion::readDeviceMotion(nanoseconds time)
{
    const std::optional<DeviceMotionReading> reading = inner_->readDeviceMotion(time);
    if (!reading)
        return reading;
    if (const auto& sample = reading->sample) {
        const auto& [pitch, roll, yaw] = sample->attitude;
        const auto& [x, y, z] = sample->rotationRate;
        recorder_->add(FlightKind::deviceMotion,
            {pitch, roll, yaw, x, y, z, sample->timestamp, codeOf(reading->error)}, textOf(reading->error));
    } else {
        recorder_->add(FlightKind::deviceMotion,
            {absent, absent, absent, absent, absent, absent, absent, codeOf(reading->error)},
            textOf(reading->error));
    }
    return reading;
}

class RecordedDetector::Detection final : public MetadataDetection,
                                          private Recorded<std::unique_ptr<MetadataDetection>> {
public:
    using Recorded::Recorded;

    void take(const Frame& frame) override
    {
        captureTime_ = frame.captureTime;
        inner_->take(frame);
    }

    AVMetadataObjects detect() override
    {
        const nanoseconds begin = recorder_->now();
        AVMetadataObjects objects = inner_->detect();
        recorder_->add(FlightKind::detection,
            {static_cast<double>(objects.size()), recorder_->sinceBegin(captureTime_),
                took(*recorder_, begin)});
        for (const std::shared_ptr<const AVMetadataObject>& object : objects) {
            if (object)
                recordObject(*recorder_, *object);
        }
        return objects;
    }

private:
    nanoseconds captureTime_{};
};

std::unique_ptr<MetadataDetection> RecordedDetector::begin(std::vector<AVMetadataObjectType> types)
{
    std::unique_ptr<MetadataDetection> detection = inner_->begin(std::move(types));
    return detection ? std::make_unique<Detection>(recorder_, std::move(detection)) : nullptr;
}

class RecordedMovieWriters::Writer final : public MovieWriter,
                                           private Recorded<std::unique_ptr<MovieWriter>> {
public:
    Writer(std::shared_ptr<FlightRecorder> recorder, std::unique_ptr<MovieWriter> writer, int number)
        : Recorded(std::move(recorder), std::move(writer)),
          number_(number)
    {
    }

    std::unique_ptr<MovieFrame> keep(const CVPixelBuffer& pixels, const NativePicture* nativePicture) override
    {
        return inner_->keep(pixels, nativePicture);
    }

    std::expected<void, Error> open() override
    {
        const nanoseconds begin = recorder_->now();
        auto answer = inner_->open();
        const std::optional<Error> error = errorOf(answer);
        recorder_->add(
            FlightKind::movieOpened, {number_, took(*recorder_, begin), codeOf(error)}, textOf(error));
        return answer;
    }

    std::expected<void, Error> writeFrame(const MovieFrame& frame, nanoseconds captureTime) override
    {
        auto answer = inner_->writeFrame(frame, captureTime);
        if (answer)
            ++frames_;
        else
            recordFailure(answer.error());
        return answer;
    }

    std::expected<void, Error> writeSound(const SoundChunk& chunk) override
    {
        auto answer = inner_->writeSound(chunk);
        if (!answer)
            recordFailure(answer.error());
        return answer;
    }

    std::expected<void, Error> finish() override
    {
        const nanoseconds begin = recorder_->now();
        auto answer = inner_->finish();
        const std::optional<Error> error = errorOf(answer);
        recorder_->add(FlightKind::movieFinished, {number_, frames_, took(*recorder_, begin), codeOf(error)},
            textOf(error));
        return answer;
    }

private:
    void recordFailure(const Error& error)
    {
        recorder_->add(FlightKind::movieFailed, {number_, frames_, static_cast<double>(error.code)},
            error.localizedDescription);
        recorder_->noteFailure();
    }

    const double number_;
    double frames_ = 0; ///< that were written
};

std::unique_ptr<MovieWriter> RecordedMovieWriters::makeWriter(MovieSettings settings)
{
    return std::make_unique<Writer>(recorder_, inner_.makeWriter(std::move(settings)), ++movies_);
}

std::optional<std::vector<std::byte>> RecordedEncoder::encodePhoto(
    const CVPixelBuffer& pixels, const PropertyDictionary& properties)
{
    const nanoseconds begin = recorder_->now();
    auto file = inner_.encodePhoto(pixels, properties);
    recorder_->add(
        FlightKind::still, {file ? static_cast<double>(file->size()) : absent, took(*recorder_, begin)});
    return file;
}

/// Passes the sound on, and records the loss.
class RecordedMicrophone::Sink final : public SoundSink, private Recorded<std::shared_ptr<SoundSink>> {
public:
    using Recorded::Recorded;

    void deliver(SoundChunk chunk) override { inner_->deliver(std::move(chunk)); }
    void lose(const Error& reason) override
    {
        recorder_->add(
            FlightKind::microphoneLost, {static_cast<double>(reason.code)}, reason.localizedDescription);
        inner_->lose(reason);
    }
};

RecordedMicrophone::RecordedMicrophone(
    std::shared_ptr<FlightRecorder> recorder, std::shared_ptr<MicrophoneDriver> driver)
    : Recorded(std::move(recorder), std::move(driver))
{
    recorder_->addInput(FlightKind::microphone, {}, inner_->name());
}

std::expected<std::unique_ptr<SoundStream>, Error> RecordedMicrophone::start(std::shared_ptr<SoundSink> sink)
{
    const nanoseconds begin = recorder_->now();
    auto answer = inner_->start(std::make_shared<Sink>(recorder_, std::move(sink)));
    const std::optional<Error> error = answer ? std::nullopt : std::optional(answer.error());
    recorder_->add(FlightKind::microphoneStarted, {took(*recorder_, begin), codeOf(error)}, textOf(error));
    return answer;
}

UIDeviceOrientation RecordedDevice::orientation() const
{
    const UIDeviceOrientation orientation = inner_.orientation();
    orientation_.record(*recorder_, FlightKind::orientation, 0, static_cast<double>(orientation));
    return orientation;
}

void RecordedReports::report(const TamselError& error)
{
    recorder_->add(FlightKind::report, {}, describe(error));
    inner_.report(error);
}

void RecordedLines::writeLine(std::string_view line)
{
    recorder_->add(FlightKind::line, {}, line);
    inner_.writeLine(line);
}

} // namespace tamsel::engine
