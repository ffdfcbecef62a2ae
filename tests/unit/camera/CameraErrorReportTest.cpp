#include <tamsel/camera/CameraError.h>
#include <tamsel/platform/core/Reports.h>

#include "support/ReplacedServices.h"

#include <simulated/Phone.h>

#include <gtest/gtest.h>

namespace tamsel::tests {

using namespace platform;

TEST(CameraErrorReport, IsAPermissionOrAFlowErrorAndReturnsTheError)
{
    simulated::Phone phone;
    KeptReports kept;
    Platform platform = with(phone.platform(), kept);
    const Error cause{.localizedDescription = "busy"};

    for (const CameraError& error :
        {CameraError::noPermission(), CameraError::cameraRestricted(), CameraError::cameraModeError(cause)}) {
        EXPECT_EQ(error.reported("element", platform), error);
        const auto& device = std::get<DeviceError>(kept.errors.back());
        EXPECT_EQ(
            std::get<DeviceError::Permission>(device.factory().subject), DeviceError::Permission::camera);
        EXPECT_EQ(device.factory().domain, OvriErrorDomain::sm);
        EXPECT_EQ(device.factory().severity, OvriErrorSeverity::error);
    }
    for (const CameraError& error : {CameraError::recordVideoFailed(cause), CameraError::canNotAddInput(),
             CameraError::canNotAddVideoOutput(), CameraError::canNotAddPhotoOutput(),
             CameraError::videoFrameError(), CameraError::captureImageFailed()}) {
        EXPECT_EQ(error.reported("element", platform), error);
        const FlowError::Factory factory = std::get<FlowError>(kept.errors.back()).factory();
        EXPECT_EQ(factory.reason, error.reason());
        EXPECT_EQ(factory.element, "element");
        EXPECT_EQ(factory.recovery, std::nullopt);
        EXPECT_EQ(factory.discussion, std::nullopt);
        EXPECT_EQ(factory.event.has_value(), error == CameraError::captureImageFailed());
    }
    EXPECT_EQ(kept.errors.size(), 9U);
}

} // namespace tamsel::tests
