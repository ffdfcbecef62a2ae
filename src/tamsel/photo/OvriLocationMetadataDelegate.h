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

/// Adds the location, the software and the camera to the metadata of a photo. Callable on any thread.
class OvriLocationMetadataDelegate final : public platform::AVCapturePhotoFileDataRepresentationCustomizer {
public:
    /// The origin of a picture, as it is appended to the device's model.
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

    /// The photo's own metadata, with the TIFF entries of `addingTIFFMetadata`; if there is a last known location, its
    /// GPS dictionary replaces the photo's.
    [[nodiscard]] platform::PropertyDictionary replacementMetadataForPhoto(
        const platform::AVCapturePhoto& photo) override;

    /// The last known location: nine entries, with a heading eleven. Degrees and metres are absolute values, their
    /// signs are in the references; the stamps are the fix's own time, UTC. Absent without a location.
    [[nodiscard]] std::optional<platform::PropertyDictionary> gpsMetadata() const;

    /// The dictionary with its TIFF Software and Model rewritten: Software gets a prefix, Model gets the camera model
    /// as a suffix; the device's values replace a value that is missing or not a text. A second call adds everything
    /// again.
    [[nodiscard]] static platform::PropertyDictionary addingTIFFMetadata(
        platform::PropertyDictionary dictionary, CameraModel cameraModel, platform::Platform& platform);

private:
    const CameraModel cameraModel_;
    platform::Platform& platform_;
};

} // namespace tamsel
