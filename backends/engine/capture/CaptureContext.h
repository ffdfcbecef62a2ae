#pragma once

#include <engine/capture/CameraDevice.h>
#include <engine/capture/Capture.h>
#include <engine/capture/MicrophoneDevice.h>

#include <memory>
#include <vector>

namespace tamsel::engine {

/// Shared by all objects that `Capture` makes. Does not change after its construction.
struct CaptureContext {
    CaptureConfiguration configuration;
    std::vector<std::shared_ptr<CameraDevice>> cameras;
    std::shared_ptr<MicrophoneDevice> microphone;

    [[nodiscard]] CaptureHook& hook() const { return *configuration.hook; }
};

} // namespace tamsel::engine
