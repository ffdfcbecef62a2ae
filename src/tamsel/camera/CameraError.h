#pragma once

#include <tamsel/platform/Error.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace tamsel::platform {
struct Platform;
}

namespace tamsel {

/// What can go wrong with a camera.
class CameraError {
public:
    enum class Case : std::uint8_t {
        cameraModeError, ///< the torch cannot be switched; reported, but delivered to no client
        recordVideoFailed, ///< not used by this library
        noPermission, ///< raised by a start: the use of cameras is denied, or was never requested
        cameraRestricted, ///< raised by a start: this user cannot allow the use of cameras
        canNotAddInput, ///< the session does not start: there is no device, or it is not available
        canNotAddVideoOutput, ///< the session does not start
        canNotAddPhotoOutput, ///< the session does not start
        videoFrameError, ///< a frame was dropped; or the device is lost, and the session has stopped
        captureImageFailed, ///< no still; or a recording was requested while the session did not run
    };

    [[nodiscard]] static CameraError cameraModeError(platform::Error error)
    {
        return {Case::cameraModeError, std::move(error)};
    }
    [[nodiscard]] static CameraError recordVideoFailed(platform::Error error)
    {
        return {Case::recordVideoFailed, std::move(error)};
    }
    [[nodiscard]] static CameraError noPermission() { return {Case::noPermission, {}}; }
    [[nodiscard]] static CameraError cameraRestricted() { return {Case::cameraRestricted, {}}; }
    [[nodiscard]] static CameraError canNotAddInput() { return {Case::canNotAddInput, {}}; }
    [[nodiscard]] static CameraError canNotAddVideoOutput() { return {Case::canNotAddVideoOutput, {}}; }
    [[nodiscard]] static CameraError canNotAddPhotoOutput() { return {Case::canNotAddPhotoOutput, {}}; }
    [[nodiscard]] static CameraError videoFrameError() { return {Case::videoFrameError, {}}; }
    [[nodiscard]] static CameraError captureImageFailed() { return {Case::captureImageFailed, {}}; }

    [[nodiscard]] Case kind() const { return kind_; }
    /// The name of the kind, as written above.
    [[nodiscard]] std::string_view name() const;
    /// The platform's message; absent for kinds without one.
    [[nodiscard]] const std::optional<platform::Error>& error() const { return error_; }
    /// Absent for the two permission errors.
    [[nodiscard]] std::optional<std::string> reason() const;

    /// Reports to the product (`Reports`) and returns the same error, so that a caller can report and forward in one step.
    /// `element` names where it happened; permission errors do not use it.
    CameraError reported(std::optional<std::string> element, platform::Platform& platform) const;

    bool operator==(const CameraError&) const = default;

private:
    CameraError(Case kind, std::optional<platform::Error> error) : kind_(kind), error_(std::move(error)) { }

    Case kind_;
    std::optional<platform::Error> error_;
};

} // namespace tamsel
