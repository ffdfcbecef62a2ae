#pragma once

#include <tamsel/platform/AVCapturePhotoOutput.h>
#include <tamsel/platform/CGImageProperties.h>

#include <cstdint>
#include <optional>
#include <string_view>

namespace tamsel::platform {
struct Platform;
}

namespace tamsel {

/// Says what a photo's file states about where, with what and by which camera it was taken. Callable on any thread.
class OvriLocationMetadataDelegate final : public platform::AVCapturePhotoFileDataRepresentationCustomizer {
public:
    /// Where a picture came from, as it is written behind the device's model.
    class CameraModel {
    public:
        enum Case : std::uint8_t { facingFront, facingBack, album };

        constexpr CameraModel(Case value) : value_(value) { } // NOLINT: a case is a value of this type

        /// Absent unless the text is exactly "facing front", "facing back" or "photo album".
        [[nodiscard]] static std::optional<CameraModel> fromRawValue(std::string_view rawValue);
        [[nodiscard]] std::string_view rawValue() const;

        constexpr operator Case() const { return value_; } // NOLINT: usable in a switch

    private:
        Case value_;
    };

    OvriLocationMetadataDelegate(CameraModel cameraModel, platform::Platform& platform)
        : cameraModel_(cameraModel),
          platform_(platform)
    {
    }

    /// The photo's own metadata with the GPS dictionary of the last known location, if there is one, in place of its own,
    /// and with the TIFF entries of `addingTIFFMetadata`.
    [[nodiscard]] platform::PropertyDictionary replacementMetadataForPhoto(
        const platform::AVCapturePhoto& photo) override;

    /// The last known location: nine entries, with a heading eleven. Degrees and metres are absolute values, their
    /// signs are in the references; the stamps are the fix's own time, UTC. Absent without a location.
    [[nodiscard]] std::optional<platform::PropertyDictionary> gpsMetadata() const;

    /// The dictionary with its TIFF Software and Model rewritten: Software is prefixed, Model is followed by the camera
    /// model; the device replaces a value that is missing or no text. A second call adds everything again.
    [[nodiscard]] static platform::PropertyDictionary addingTIFFMetadata(
        platform::PropertyDictionary dictionary, CameraModel cameraModel, platform::Platform& platform);

private:
    const CameraModel cameraModel_;
    platform::Platform& platform_;
};

} // namespace tamsel
