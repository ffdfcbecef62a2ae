#pragma once

#include <cstdint>
#include <string_view>

namespace tamsel::engine {

/// The calls of the capture roles, for a hook.
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

/// The name of the call, as written above.
[[nodiscard]] std::string_view name(CaptureCall call);

/// Receives every call of the capture roles before it is carried out: a back end may log it, delay it, or refuse it.
/// The default does nothing and permits everything. `detail` names the argument in one word, if there is one
/// ("AVCaptureVideoDataOutput", "landscapeLeft").
class CaptureHook {
public:
    virtual ~CaptureHook() = default;

    /// A call that cannot be refused.
    virtual void called(CaptureCall /*call*/, std::string_view /*detail*/) { }
    /// A call that can be refused: makeDeviceInput, canAddInput, canAddOutput, lockForConfiguration, startRunning,
    /// capturePhoto, processPhoto, startRecording. False refuses it.
    [[nodiscard]] virtual bool permits(CaptureCall /*call*/, std::string_view /*detail*/) { return true; }

    /// A setting of an output: its name and its value in words.
    virtual void setting(std::string_view /*name*/, std::string_view /*value*/) { }
};

} // namespace tamsel::engine
