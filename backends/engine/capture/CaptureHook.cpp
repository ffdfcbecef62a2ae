#include <engine/capture/CaptureHook.h>

#include <array>

namespace tamsel::engine {

std::string_view name(CaptureCall call)
{
    static constexpr std::array<std::string_view, 30> names{"beginConfiguration", "commitConfiguration",
        "setSessionPreset", "makeDeviceInput", "canAddInput", "addInput", "removeInput", "canAddOutput",
        "addOutput", "removeOutput", "startRunning", "stopRunning", "setSampleBufferDelegate",
        "lockForConfiguration", "unlockForConfiguration", "setVideoZoomFactor", "setEnabled",
        "setAutomaticallyAdjustsVideoMirroring", "setVideoOrientation", "makePreviewLayer",
        "setMetadataObjectTypes", "setMetadataObjectsDelegate", "capturePhoto", "processPhoto",
        "setTorchMode", "startRecording", "stopRecording", "authorizationStatus", "defaultDevice",
        "defaultAudioDevice"};
    return names.at(static_cast<std::size_t>(call));
}

} // namespace tamsel::engine
