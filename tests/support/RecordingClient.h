#pragma once

#include <tamsel/facade/OvriSourceManager.h>

#include <string>
#include <vector>

namespace tamsel::tests {

/// A client that writes down what it receives, in order.
class RecordingClient final : public OvriSourceToSession, public OvriMetadataOutputDelegate {
public:
    void sourceManagerDidGetFrame(OvriSourceManager&, const OvriCaptureFrameUpdate& frame) override
    {
        calls.emplace_back("frame");
        frames.push_back(frame);
        if (onFrame)
            onFrame();
    }
    void sourceManagerDidGetSourceError(OvriSourceManager&, const SourceError& error) override
    {
        const auto* camera = std::get_if<CameraError>(&error);
        calls.push_back("error " + std::string(camera ? camera->name() : "motion"));
    }
    void sourceManagerCameraDidSuspend(OvriSourceManager&) override { calls.emplace_back("suspend"); }
    void sourceManagerCameraDidResume(OvriSourceManager&) override { calls.emplace_back("resume"); }
    void sourceManagerDidDetect(OvriSourceManager&, const OvriMetadataFaceObject&) override
    {
        calls.emplace_back("face");
    }
    void sourceManagerDidDetect(
        OvriSourceManager&, const std::vector<OvriMetadataMachineReadableCodeObject>& codes) override
    {
        calls.push_back("codes " + std::to_string(codes.size()));
    }

    std::vector<std::string> calls;
    /// Kept frames keep their buffers; clear this to give them back.
    std::vector<OvriCaptureFrameUpdate> frames;
    std::function<void()> onFrame;
};

} // namespace tamsel::tests
