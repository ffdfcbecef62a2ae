#include <simulated/journalOfClient.h>

#include <tamsel/platform/CVPixelBuffer.h>

#include <string>
#include <utility>

namespace tamsel::simulated {

namespace {

std::string numberOf(const OvriCaptureFrameUpdate& frame)
{
    const std::optional<platform::FrameTiming> timing = frame.imageBuffer()->timing();
    return timing ? " " + std::to_string(timing->sequence) : "";
}

std::string textOf(const SourceError& error)
{
    const auto* camera = std::get_if<CameraError>(&error);
    return camera ? " " + std::string(camera->name()) : " of motion";
}

std::string textOf(const std::vector<OvriMetadataMachineReadableCodeObject>& codes)
{
    std::string text;
    for (const OvriMetadataMachineReadableCodeObject& code : codes)
        text += " " + code.value().value_or("without text");
    return text;
}

} // namespace

std::shared_ptr<CallbackDelegate> journalOfClient(platform::Clock& clock, Journal& journal)
{
    const auto write = [&clock, &journal](const char* what, const std::string& detail = {}) {
        journal.write(clock.monotonic(), std::string("client ") + what + detail);
    };
    return makeDelegate({
        .didGetFrame = [write](OvriSourceManager&,
                           const OvriCaptureFrameUpdate& frame) { write("didGetFrame", numberOf(frame)); },
        .didGetSample =
            [write](OvriSourceManager&, const std::shared_ptr<CaptureSampleUpdate>& sample) {
                write("didGetSample", " of " + std::to_string(sample->sample().size()) + " bytes");
            },
        .didGetVideo = [write](OvriSourceManager&,
                           const std::filesystem::path& url) { write("didGetVideo", " " + url.string()); },
        .didGetSourceError = [write](OvriSourceManager&,
                                 const SourceError& error) { write("didGetSourceError", textOf(error)); },
        .cameraDidSuspend = [write](OvriSourceManager&) { write("cameraDidSuspend"); },
        .cameraDidResume = [write](OvriSourceManager&) { write("cameraDidResume"); },
        .didDetectStability = [write](OvriSourceManager&,
                                  bool isStable) { write("didDetectStability", isStable ? " yes" : " no"); },
        .didDetectFacingAngle
        = [write](OvriSourceManager&,
              bool isFacing) { write("didDetectFacingAngle", isFacing ? " yes" : " no"); },
        .didDetectFace =
            [write](OvriSourceManager&, const OvriMetadataFaceObject& face) {
                write("didDetectFace", " " + std::to_string(face.face()->faceID()));
            },
        .didDetectCodes =
            [write](OvriSourceManager&, const std::vector<OvriMetadataMachineReadableCodeObject>& codes) {
                write("didDetectCodes", textOf(codes));
            },
    });
}

} // namespace tamsel::simulated
