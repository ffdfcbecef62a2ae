#pragma once

#include <tamsel/facade/types/OvriMetadataOutputDelegate.h>
#include <tamsel/facade/types/OvriMotionSourceDelegate.h>
#include <tamsel/facade/types/OvriSourceToSession.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace tamsel {

/// The callbacks of a capture screen as functions. Empty ones are skipped. Each is called like the delegate's function
/// of that name: on the response queue, and never inside a public operation.
struct SourceCallbacks {
    std::function<void(OvriSourceManager&, const OvriCaptureFrameUpdate&)> didGetFrame = nullptr;
    std::function<void(OvriSourceManager&, const std::shared_ptr<CaptureSampleUpdate>&)> didGetSample
        = nullptr;
    std::function<void(OvriSourceManager&, const std::filesystem::path&)> didGetVideo = nullptr;
    std::function<void(OvriSourceManager&, const SourceError&)> didGetSourceError = nullptr;
    std::function<void(OvriSourceManager&)> cameraDidSuspend = nullptr;
    std::function<void(OvriSourceManager&)> cameraDidResume = nullptr;
    std::function<void(OvriSourceManager&, bool isStable)> didDetectStability = nullptr;
    std::function<void(OvriSourceManager&, bool isFacing)> didDetectFacingAngle = nullptr;
    std::function<void(OvriSourceManager&, const OvriMetadataFaceObject&)> didDetectFace = nullptr;
    std::function<void(OvriSourceManager&, const std::vector<OvriMetadataMachineReadableCodeObject>&)>
        didDetectCodes = nullptr;
};

/// A delegate of all three protocols that calls these functions. Managers hold their delegates weakly: keep it.
class CallbackDelegate final : public OvriSourceToSession,
                               public OvriMotionSourceDelegate,
                               public OvriMetadataOutputDelegate {
public:
    explicit CallbackDelegate(SourceCallbacks callbacks) : callbacks_(std::move(callbacks)) { }

    void sourceManagerDidGetFrame(OvriSourceManager& manager, const OvriCaptureFrameUpdate& frame) override
    {
        call(callbacks_.didGetFrame, manager, frame);
    }
    void sourceManagerDidGetSample(
        OvriSourceManager& manager, const std::shared_ptr<CaptureSampleUpdate>& sample) override
    {
        call(callbacks_.didGetSample, manager, sample);
    }
    void sourceManagerDidGetVideo(OvriSourceManager& manager, const std::filesystem::path& url) override
    {
        call(callbacks_.didGetVideo, manager, url);
    }
    void sourceManagerDidGetSourceError(OvriSourceManager& manager, const SourceError& error) override
    {
        call(callbacks_.didGetSourceError, manager, error);
    }
    void sourceManagerCameraDidSuspend(OvriSourceManager& manager) override
    {
        call(callbacks_.cameraDidSuspend, manager);
    }
    void sourceManagerCameraDidResume(OvriSourceManager& manager) override
    {
        call(callbacks_.cameraDidResume, manager);
    }
    void sourceManagerDidDetectStability(OvriSourceManager& manager, bool isStable) override
    {
        call(callbacks_.didDetectStability, manager, isStable);
    }
    void sourceManagerDidDetectFacingAngle(OvriSourceManager& manager, bool isFacing) override
    {
        call(callbacks_.didDetectFacingAngle, manager, isFacing);
    }
    void sourceManagerDidDetect(OvriSourceManager& manager, const OvriMetadataFaceObject& face) override
    {
        call(callbacks_.didDetectFace, manager, face);
    }
    void sourceManagerDidDetect(
        OvriSourceManager& manager, const std::vector<OvriMetadataMachineReadableCodeObject>& codes) override
    {
        call(callbacks_.didDetectCodes, manager, codes);
    }

private:
    template <typename Callback, typename... Arguments>
    static void call(const Callback& callback, OvriSourceManager& manager, const Arguments&... arguments)
    {
        if (callback)
            callback(manager, arguments...);
    }

    const SourceCallbacks callbacks_;
};

/// `const auto delegate = makeDelegate({.didGetFrame = [](OvriSourceManager&, const OvriCaptureFrameUpdate& frame) { … }});`
[[nodiscard]] inline std::shared_ptr<CallbackDelegate> makeDelegate(SourceCallbacks callbacks)
{
    return std::make_shared<CallbackDelegate>(std::move(callbacks));
}

} // namespace tamsel
