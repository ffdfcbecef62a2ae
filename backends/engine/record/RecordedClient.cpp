#include <engine/record/RecordedClient.h>

#include <tamsel/facade/OvriSourceManager.h>
#include <tamsel/facade/doubleFor.h>

#include <algorithm>

namespace tamsel::engine {

using namespace platform;

namespace {

constexpr double absent = formats::FlightEvent::absent;

double option(const char* name, const Configurations& configurations)
{
    return doubleFor(name, configurations).value_or(absent);
}

} // namespace

std::string_view nameOf(const SourceError& error)
{
    if (const auto* camera = std::get_if<CameraError>(&error))
        return camera->name();
    return std::get<MotionHelperError>(error).isServiceNotAvailable() ? "motion serviceNotAvailable"
                                                                      : "motion frameworkError";
}

double bitsOf(const std::vector<SourceType>& types)
{
    std::uint64_t bits = 0;
    for (const SourceType& type : types)
        bits |= std::uint64_t{1} << type.value().index();
    return static_cast<double>(bits);
}

double RecordedClient::numberOf(const OvriSourceManager& manager)
{
    const MutexLock lock(guard_);
    const auto found
        = std::ranges::find(managers_, &manager, &std::pair<const OvriSourceManager*, int>::first);
    if (found != managers_.end())
        return found->second;
    managers_.emplace_back(&manager, ++managerCount_);
    return managerCount_;
}

void RecordedClient::add(Kind kind, const OvriSourceManager& manager)
{
    recorder_->add(kind, {numberOf(manager)});
}

void RecordedClient::clientCreates(const OvriSourceManager& manager, const std::vector<SourceType>& types,
    CameraConfiguration::SessionPreset preset, const std::string& responseQueue)
{
    recorder_->add(
        Kind::create, {numberOf(manager), bitsOf(types), static_cast<double>(preset)}, responseQueue);
}

void RecordedClient::clientReleases(const OvriSourceManager& manager)
{
    add(Kind::release, manager);
    const MutexLock lock(guard_);
    std::erase_if(managers_, [&](const auto& known) { return known.first == &manager; });
}

void RecordedClient::clientStarts(const OvriSourceManager& manager, const SourceType& type,
    const Configurations& configurations, bool hasDelegate, bool hasView)
{
    const auto* front = std::get_if<SourceType::CameraFront>(&type.value());
    const auto* back = std::get_if<SourceType::CameraBack>(&type.value());
    const bool records = (front && front->videoRecordingEnabled) || (back && back->videoRecordingEnabled);
    recorder_->add(Kind::startSession,
        {numberOf(manager), static_cast<double>(type.value().index()), records ? 1.0 : 0.0,
            option("minimumFocusObjectSize", configurations), option("stabilityThreshold", configurations),
            option("stabilityDuration", configurations), option("angle", configurations),
            hasDelegate ? 1.0 : 0.0, hasView ? 1.0 : 0.0});
}

void RecordedClient::startAnswered(
    const OvriSourceManager& manager, const std::expected<void, CameraError>& answer)
{
    recorder_->add(Kind::startAnswered, {numberOf(manager)}, answer ? "" : answer.error().name());
}

void RecordedClient::clientSetsMetadataDetection(
    const OvriSourceManager& manager, const std::vector<MetadataObjectType>& types, bool hasDelegate)
{
    std::uint64_t bits = 0;
    for (const MetadataObjectType type : types)
        bits |= std::uint64_t{1} << static_cast<unsigned>(MetadataObjectType::Case(type));
    recorder_->add(
        Kind::metadataDetection, {numberOf(manager), static_cast<double>(bits), hasDelegate ? 1.0 : 0.0});
}

void RecordedClient::clientStartsRecording(const OvriSourceManager& manager, const std::filesystem::path& url)
{
    recorder_->add(Kind::startRecording, {numberOf(manager)}, url.native());
}

void RecordedClient::clientCapturesStill(const OvriSourceManager& manager, OvriImageSource source,
    const std::optional<TamselCameraSettings>& settings)
{
    using Settings = TamselCameraSettings;
    std::string_view sound;
    if (settings && std::holds_alternative<Settings::Silent>(settings->cameraCaptureSound))
        sound = "silent";
    else if (const auto* custom
        = settings ? std::get_if<Settings::CustomSound>(&settings->cameraCaptureSound) : nullptr)
        sound = custom->name;
    recorder_->add(Kind::captureStill,
        {numberOf(manager), static_cast<double>(source),
            settings ? static_cast<double>(settings->cameraFlashMode) : absent,
            settings ? static_cast<double>(settings->cameraTorchMode) : absent},
        sound);
}

void RecordedClient::clientProvides(
    const OvriSourceManager& manager, std::size_t bytes, CGImagePropertyOrientation orientation)
{
    recorder_->add(
        Kind::provide, {numberOf(manager), static_cast<double>(bytes), static_cast<double>(orientation)});
}

void RecordedClient::clientStartsMotionDetection(const OvriSourceManager& manager,
    const std::vector<SourceType>& sources, const Configurations& configurations, bool hasDelegate)
{
    recorder_->add(Kind::startMotion,
        {numberOf(manager), bitsOf(sources), option("stabilityThreshold", configurations),
            option("stabilityDuration", configurations), option("angle", configurations),
            hasDelegate ? 1.0 : 0.0});
}

void RecordedClient::clientSetsDelegate(const OvriSourceManager& manager, bool isPresent)
{
    recorder_->add(Kind::setsDelegate, {numberOf(manager), isPresent ? 1.0 : 0.0});
}

void RecordedClient::clientSetsMotionDelegate(const OvriSourceManager& manager, bool isPresent)
{
    recorder_->add(Kind::setsMotionDelegate, {numberOf(manager), isPresent ? 1.0 : 0.0});
}

void RecordedClient::clientSetsMetadataDelegate(const OvriSourceManager& manager, bool isPresent)
{
    recorder_->add(Kind::setsMetadataDelegate, {numberOf(manager), isPresent ? 1.0 : 0.0});
}

void RecordedClient::sourceManagerDidGetFrame(OvriSourceManager& manager, const OvriCaptureFrameUpdate& frame)
{
    const std::optional<FrameTiming> timing = frame.imageBuffer()->timing();
    recorder_->add(
        Kind::didGetFrame, {numberOf(manager), timing ? static_cast<double>(timing->sequence) : absent});
}

void RecordedClient::sourceManagerDidGetSample(
    OvriSourceManager& manager, const std::shared_ptr<CaptureSampleUpdate>& sample)
{
    recorder_->add(Kind::didGetSample,
        {numberOf(manager), static_cast<double>(sample->source()),
            static_cast<double>(sample->sample().size())});
}

void RecordedClient::sourceManagerDidGetVideo(OvriSourceManager& manager, const std::filesystem::path& url)
{
    recorder_->add(Kind::didGetVideo, {numberOf(manager)}, url.native());
}

void RecordedClient::sourceManagerDidGetSourceError(OvriSourceManager& manager, const SourceError& error)
{
    recorder_->add(Kind::didGetError, {numberOf(manager)}, nameOf(error));
    const auto* camera = std::get_if<CameraError>(&error);
    if (!camera || camera->kind() != CameraError::Case::videoFrameError)
        recorder_->noteFailure();
}

void RecordedClient::sourceManagerDidDetectStability(OvriSourceManager& manager, bool isStable)
{
    recorder_->add(Kind::didDetectStability, {numberOf(manager), isStable ? 1.0 : 0.0});
}

void RecordedClient::sourceManagerDidDetectFacingAngle(OvriSourceManager& manager, bool isFacing)
{
    recorder_->add(Kind::didDetectFacingAngle, {numberOf(manager), isFacing ? 1.0 : 0.0});
}

void RecordedClient::sourceManagerDidDetect(OvriSourceManager& manager, const OvriMetadataFaceObject& face)
{
    recorder_->add(Kind::didDetectFace, {numberOf(manager), static_cast<double>(face.face()->faceID())});
}

void RecordedClient::sourceManagerDidDetect(
    OvriSourceManager& manager, const std::vector<OvriMetadataMachineReadableCodeObject>& codes)
{
    std::string texts;
    for (const OvriMetadataMachineReadableCodeObject& code : codes)
        texts += (texts.empty() ? "" : " ") + code.value().value_or("without text");
    recorder_->add(Kind::didDetectCodes, {numberOf(manager), static_cast<double>(codes.size())}, texts);
}

} // namespace tamsel::engine
