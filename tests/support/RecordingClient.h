#pragma once

#include <tamsel/facade/OvriSourceManager.h>

#include <filesystem>
#include <string>
#include <vector>

namespace tamsel::tests {

/// A client that writes down what it receives, in order.
class RecordingClient final : public OvriSourceToSession,
                              public OvriMotionSourceDelegate,
                              public OvriMetadataOutputDelegate {
public:
    void sourceManagerDidGetFrame(OvriSourceManager&, const OvriCaptureFrameUpdate& frame) override
    {
        calls.emplace_back("frame");
        frames.push_back(frame);
        if (onFrame)
            onFrame();
    }
    void sourceManagerDidGetSample(
        OvriSourceManager&, const std::shared_ptr<CaptureSampleUpdate>& sample) override
    {
        calls.emplace_back("sample");
        samples.push_back(sample);
    }
    void sourceManagerDidGetVideo(OvriSourceManager&, const std::filesystem::path& url) override
    {
        calls.push_back("video " + url.string());
    }
    void sourceManagerDidGetSourceError(OvriSourceManager&, const SourceError& error) override
    {
        const auto* camera = std::get_if<CameraError>(&error);
        calls.push_back(
            "error " + (camera ? std::string(camera->name()) : describe(std::get<MotionHelperError>(error))));
    }
    void sourceManagerCameraDidSuspend(OvriSourceManager&) override { calls.emplace_back("suspend"); }
    void sourceManagerCameraDidResume(OvriSourceManager&) override { calls.emplace_back("resume"); }
    void sourceManagerDidDetect(OvriSourceManager&, const OvriMetadataFaceObject& face) override
    {
        calls.emplace_back("face");
        faces.push_back(face);
        if (onDetection)
            onDetection();
    }
    void sourceManagerDidDetect(
        OvriSourceManager&, const std::vector<OvriMetadataMachineReadableCodeObject>& batch) override
    {
        calls.push_back("codes " + std::to_string(batch.size()));
        codes.insert(codes.end(), batch.begin(), batch.end());
        if (onDetection)
            onDetection();
    }

    void sourceManagerDidDetectStability(OvriSourceManager&, bool isStable) override
    {
        calls.emplace_back(isStable ? "stability +" : "stability -");
    }
    void sourceManagerDidDetectFacingAngle(OvriSourceManager&, bool isFacing) override
    {
        calls.emplace_back(isFacing ? "facing +" : "facing -");
    }

    std::vector<std::string> calls;
    /// Kept frames keep their buffers; clear this to give them back.
    std::vector<OvriCaptureFrameUpdate> frames;
    std::function<void()> onFrame;
    std::vector<std::shared_ptr<CaptureSampleUpdate>> samples;
    std::vector<OvriMetadataFaceObject> faces;
    std::vector<OvriMetadataMachineReadableCodeObject> codes;
    std::function<void()> onDetection;

private:
    static std::string describe(const MotionHelperError& error)
    {
        const auto underlying = error.underlyingError();
        if (!underlying)
            return "motion";
        const auto* cause = std::get_if<platform::Error>(&*underlying);
        return "motion " + (cause ? cause->localizedDescription : "no service");
    }
};

} // namespace tamsel::tests
