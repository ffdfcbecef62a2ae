#pragma once

#include <cstdint>
#include <string_view>

namespace tamsel::engine {

/// The calls of the capture roles, as a hook sees them.
enum class CaptureCall : std::uint8_t {
    beginConfiguration,
    commitConfiguration,
    setSessionPreset,
    makeDeviceInput,
    canAddInput,
    addInput,
    removeInput,
    canAddOutput,
    addOutput,
    removeOutput,
    startRunning,
    stopRunning,
    setSampleBufferDelegate,
    lockForConfiguration,
    unlockForConfiguration,
    setVideoZoomFactor,
    setEnabled,
    setAutomaticallyAdjustsVideoMirroring,
    setVideoOrientation,
    makePreviewLayer,
    setMetadataObjectTypes,
    setMetadataObjectsDelegate,
    capturePhoto,
    processPhoto,
    setTorchMode,
    startRecording,
    stopRecording,
    authorizationStatus,
    defaultDevice,
    defaultAudioDevice,
};

/// The call's name as it is written above.
[[nodiscard]] std::string_view name(CaptureCall call);

/// Sees every call of the capture roles before it is carried out: a back end may write it down, let it take time, or refuse
/// it. The default does nothing and permits everything. `detail` names the argument in one word where there is one
/// ("AVCaptureVideoDataOutput", "landscapeLeft").
class CaptureHook {
public:
    virtual ~CaptureHook() = default;

    /// A call that cannot be refused.
    virtual void called(CaptureCall /*call*/, std::string_view /*detail*/) { }
    /// A call that can be refused: makeDeviceInput, canAddInput, canAddOutput, lockForConfiguration, startRunning,
    /// capturePhoto, processPhoto, startRecording. False refuses it.
    [[nodiscard]] virtual bool permits(CaptureCall /*call*/, std::string_view /*detail*/) { return true; }

    /// A setting of an output: its name, and in words its value.
    virtual void setting(std::string_view /*name*/, std::string_view /*value*/) { }
};

} // namespace tamsel::engine
