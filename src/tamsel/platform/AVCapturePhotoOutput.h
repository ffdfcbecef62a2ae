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
/// What matters most about a still.
enum class AVCapturePhotoQualityPrioritization : std::uint8_t { speed = 1, balanced = 2, quality = 3 };

/// What one still is to be like. A value: changing a copy does not reach a capture that has been started.
class AVCapturePhotoSettings {
public:
    /// With a number that no other settings of this process have.
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

/// Which capture a call belongs to.
struct AVCaptureResolvedPhotoSettings {
    std::int64_t uniqueID = 0;
};

class AVCapturePhoto;

/// Changes what is written into a photo's file beside the picture.
class AVCapturePhotoFileDataRepresentationCustomizer {
public:
    virtual ~AVCapturePhotoFileDataRepresentationCustomizer() = default;

    /// The properties that the file is to state, in place of those of the photo. On the thread that makes the file.
    [[nodiscard]] virtual PropertyDictionary replacementMetadataForPhoto(const AVCapturePhoto& photo) = 0;
};

/// A still that has been taken.
class AVCapturePhoto {
public:
    virtual ~AVCapturePhoto() = default;

    /// What is known about it, in the layout of image properties.
    [[nodiscard]] virtual const PropertyDictionary& metadata() const = 0;
    /// The bytes of its file, made on the calling thread; absent when it cannot be encoded.
    [[nodiscard]] virtual std::optional<std::vector<std::byte>> fileDataRepresentation() const = 0;
    /// The same with the customizer's metadata.
    [[nodiscard]] virtual std::optional<std::vector<std::byte>> fileDataRepresentation(
        AVCapturePhotoFileDataRepresentationCustomizer& customizer) const
        = 0;
};

/// Follows one capture. Calls come one at a time, on a queue of the platform's choice, in this order; the last one
/// comes in any case.
class AVCapturePhotoCaptureDelegate {
public:
    virtual ~AVCapturePhotoCaptureDelegate() = default;

    /// The capture is about to begin.
    virtual void captureOutputWillBeginCapture(const AVCaptureResolvedPhotoSettings& settings) = 0;
    /// The shutter is about to open: the moment to silence its sound.
    virtual void captureOutputWillCapturePhoto(const AVCaptureResolvedPhotoSettings& settings) = 0;
    /// The shutter has closed.
    virtual void captureOutputDidCapturePhoto(const AVCaptureResolvedPhotoSettings& settings) = 0;
    /// Left out when no picture was taken.
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
    /// Takes one still. The delegate is held weakly; once it is gone nothing comes.
    virtual void capturePhoto(
        const AVCapturePhotoSettings& settings, std::weak_ptr<AVCapturePhotoCaptureDelegate> delegate)
        = 0;
};

} // namespace tamsel::platform
