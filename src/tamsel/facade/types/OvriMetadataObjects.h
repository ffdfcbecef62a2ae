#pragma once

#include <tamsel/metadata/MetadataObjectType.h>
#include <tamsel/platform/AVMetadataObject.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tamsel {

/// One detected machine-readable code.
class OvriMetadataMachineReadableCodeObject {
public:
    /// Stores the values unchanged.
    OvriMetadataMachineReadableCodeObject(std::optional<MetadataObjectType> type,
        std::vector<platform::CGPoint> corners, std::optional<std::string> value,
        std::optional<std::chrono::nanoseconds> captureTime = std::nullopt)
        : type_(type),
          corners_(std::move(corners)),
          value_(std::move(value)),
          captureTime_(captureTime)
    {
    }

    /// Absent when the platform's identifier is unknown to the library.
    [[nodiscard]] std::optional<MetadataObjectType> type() const { return type_; }
    /// In the platform's order and coordinate space.
    [[nodiscard]] const std::vector<platform::CGPoint>& corners() const { return corners_; }
    /// The payload as text; absent when there is none.
    [[nodiscard]] const std::optional<std::string>& value() const { return value_; }
    /// `FrameTiming::captureTime` of the frame in which it was found, to draw its outline on that frame.
    [[nodiscard]] const std::optional<std::chrono::nanoseconds>& captureTime() const { return captureTime_; }

private:
    std::optional<MetadataObjectType> type_;
    std::vector<platform::CGPoint> corners_;
    std::optional<std::string> value_;
    std::optional<std::chrono::nanoseconds> captureTime_;
};

/// One detected face. Made by the library only.
class OvriMetadataFaceObject {
public:
    /// The face as the platform delivered it.
    [[nodiscard]] const std::shared_ptr<const platform::AVMetadataFaceObject>& face() const { return face_; }

private:
    friend class OvriSourceManager;

    explicit OvriMetadataFaceObject(std::shared_ptr<const platform::AVMetadataFaceObject> face)
        : face_(std::move(face))
    {
    }

    std::shared_ptr<const platform::AVMetadataFaceObject> face_;
};

} // namespace tamsel
