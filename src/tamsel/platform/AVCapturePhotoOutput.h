#pragma once

#include <tamsel/platform/AVCaptureOutput.h>
#include <tamsel/platform/CGImageProperties.h>
#include <tamsel/platform/Error.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace tamsel::platform {

/// The format of a still.
enum class AVVideoCodecType : std::uint8_t { jpeg };
/// The priority between the speed and the quality of a still.
enum class AVCapturePhotoQualityPrioritization : std::uint8_t { speed = 1, balanced = 2, quality = 3 };

/// The settings of one still. A value: changes of a copy do not affect a capture that has been started.
class AVCapturePhotoSettings {
public:
    /// With a number that is unique in this process.
    [[nodiscard]] static AVCapturePhotoSettings photoSettingsWithFormat(AVVideoCodecType codec);

    [[nodiscard]] std::int64_t uniqueID() const { return uniqueID_; }
    [[nodiscard]] AVVideoCodecType codec() const { return codec_; }

    AVCaptureFlashMode flashMode = AVCaptureFlashMode::off;
    bool isHighResolutionPhotoEnabled = false;
    bool isAutoStillImageStabilizationEnabled = false;
    AVCapturePhotoQualityPrioritization photoQualityPrioritization
        = AVCapturePhotoQualityPrioritization::balanced;

private:
    AVCapturePhotoSettings(std::int64_t uniqueID, AVVideoCodecType codec) : uniqueID_(uniqueID), codec_(codec)
    {
    }

    std::int64_t uniqueID_;
    AVVideoCodecType codec_;
};

/// The settings of the capture that a call belongs to.
struct AVCaptureResolvedPhotoSettings {
    std::int64_t uniqueID = 0;
};

class AVCapturePhoto;

/// Replaces metadata in a photo's file.
class AVCapturePhotoFileDataRepresentationCustomizer {
public:
    virtual ~AVCapturePhotoFileDataRepresentationCustomizer() = default;

    /// The properties of the file, in place of the photo's. Called on the thread that makes the file.
    [[nodiscard]] virtual PropertyDictionary replacementMetadataForPhoto(const AVCapturePhoto& photo) = 0;
};

/// A still that has been taken.
class AVCapturePhoto {
public:
    virtual ~AVCapturePhoto() = default;

    /// Its metadata, in the layout of image properties.
    [[nodiscard]] virtual const PropertyDictionary& metadata() const = 0;
    /// The bytes of its file, made on the calling thread; absent when encoding fails.
    [[nodiscard]] virtual std::optional<std::vector<std::byte>> fileDataRepresentation() const = 0;
    /// The same with the customizer's metadata.
    [[nodiscard]] virtual std::optional<std::vector<std::byte>> fileDataRepresentation(
        AVCapturePhotoFileDataRepresentationCustomizer& customizer) const
        = 0;
};

/// Follows one capture. Calls come one at a time, on a queue of the platform's choice, in this order; the last one
/// always comes.
class AVCapturePhotoCaptureDelegate {
public:
    virtual ~AVCapturePhotoCaptureDelegate() = default;

    /// The capture is about to begin.
    virtual void captureOutputWillBeginCapture(const AVCaptureResolvedPhotoSettings& settings) = 0;
    /// The shutter is about to open: the last moment to silence its sound.
    virtual void captureOutputWillCapturePhoto(const AVCaptureResolvedPhotoSettings& settings) = 0;
    /// The shutter has closed.
    virtual void captureOutputDidCapturePhoto(const AVCaptureResolvedPhotoSettings& settings) = 0;
    /// Omitted when no picture was taken.
    virtual void captureOutputDidFinishProcessingPhoto(
        const AVCapturePhoto& photo, const std::optional<Error>& error)
        = 0;
    /// The capture has ended; with an error there may be no picture.
    virtual void captureOutputDidFinishCapture(
        const AVCaptureResolvedPhotoSettings& settings, const std::optional<Error>& error)
        = 0;
};

/// Takes stills.
class AVCapturePhotoOutput : public AVCaptureOutput {
public:
    virtual void setHighResolutionCaptureEnabled(bool enabled) = 0;
    /// Of the session's camera.
    [[nodiscard]] virtual std::vector<AVCaptureFlashMode> supportedFlashModes() const = 0;
    /// Takes one still. The delegate is held weakly; there are no calls after it is destroyed.
    virtual void capturePhoto(
        const AVCapturePhotoSettings& settings, std::weak_ptr<AVCapturePhotoCaptureDelegate> delegate)
        = 0;
};

} // namespace tamsel::platform
