#pragma once

#include <tamsel/platform/AVCaptureDevice.h>

#include <string>
#include <utility>
#include <variant>

namespace tamsel::platform {

/// The user's settings for stills.
struct TamselCameraSettings {
    /// A sound of the program.
    struct CustomSound {
        std::string name;
        bool operator==(const CustomSound&) const = default;
    };
    /// The system's sound.
    struct DefaultSound {
        bool operator==(const DefaultSound&) const = default;
    };
    /// No sound.
    struct Silent {
        bool operator==(const Silent&) const = default;
    };
    /// The shutter sound.
    struct CameraCaptureSound : std::variant<DefaultSound, Silent, CustomSound> {
        using variant::variant;

        [[nodiscard]] static CameraCaptureSound defaultSound() { return DefaultSound{}; }
        [[nodiscard]] static CameraCaptureSound silent() { return Silent{}; }
        [[nodiscard]] static CameraCaptureSound custom(std::string name)
        {
            return CustomSound{std::move(name)};
        }
    };

    AVCaptureFlashMode cameraFlashMode = AVCaptureFlashMode::automatic;
    AVCaptureTorchMode cameraTorchMode = AVCaptureTorchMode::off;
    CameraCaptureSound cameraCaptureSound = {};

    bool operator==(const TamselCameraSettings&) const = default;
};

} // namespace tamsel::platform
