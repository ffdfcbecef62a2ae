#include <tamsel/camera/CameraError.h>

#include <tamsel/platform/Platform.h>
#include <tamsel/platform/core/Reports.h>

namespace tamsel {

using platform::DeviceError;
using platform::FlowError;

std::string_view CameraError::name() const
{
    switch (kind_) {
    case Case::cameraModeError:
        return "cameraModeError";
    case Case::recordVideoFailed:
        return "recordVideoFailed";
    case Case::noPermission:
        return "noPermission";
    case Case::cameraRestricted:
        return "cameraRestricted";
    case Case::canNotAddInput:
        return "canNotAddInput";
    case Case::canNotAddVideoOutput:
        return "canNotAddVideoOutput";
    case Case::canNotAddPhotoOutput:
        return "canNotAddPhotoOutput";
    case Case::videoFrameError:
        return "videoFrameError";
    case Case::captureImageFailed:
        return "captureImageFailed";
    }
    return {};
}

std::optional<std::string> CameraError::reason() const
{
    switch (kind_) {
    case Case::cameraModeError:
    case Case::recordVideoFailed:
        return error_->localizedDescription;
    case Case::noPermission:
    case Case::cameraRestricted:
        return std::nullopt;
    case Case::canNotAddInput:
        return "Couldn't add capture device input";
    case Case::canNotAddVideoOutput:
        return "Couldn't add video output";
    case Case::canNotAddPhotoOutput:
        return "Couldn't add photo output";
    case Case::videoFrameError:
        return "Video frame error";
    case Case::captureImageFailed:
        return "Capture image failed";
    }
    return std::nullopt;
}

CameraError CameraError::reported(std::optional<std::string> element, platform::Platform& platform) const
{
    switch (kind_) {
    case Case::cameraModeError:
    case Case::noPermission:
    case Case::cameraRestricted:
        DeviceError::permission({.subject = DeviceError::Permission::camera}).report(platform.reports);
        break;
    default: {
        FlowError::Factory factory;
        factory.element = std::move(element);
        factory.reason = reason();
        if (kind_ == Case::captureImageFailed)
            factory.event = platform::OvriErrorEvent::captureImageFailed;
        FlowError::general(std::move(factory)).report(platform.reports);
    }
    }
    return *this;
}

} // namespace tamsel
