#include <tamsel/camera/CameraError.h>
#include <tamsel/platform/core/Reports.h>

#include <simulated/Phone.h>

#include <gtest/gtest.h>

#include <algorithm>

namespace tamsel::tests {

using namespace platform;

TEST(CameraErrorReport, IsAPermissionOrAFlowErrorAndReturnsTheError)
{
    simulated::Phone phone;
    const Error cause{.localizedDescription = "busy"};
    for (const auto& [error, reason] : std::vector<std::pair<CameraError, std::optional<std::string>>>{
             {CameraError::noPermission(), std::nullopt}, {CameraError::cameraRestricted(), std::nullopt},
             {CameraError::cameraModeError(cause), "busy"}, {CameraError::recordVideoFailed(cause), "busy"},
             {CameraError::canNotAddInput(), "Couldn't add capture device input"},
             {CameraError::captureImageFailed(), "Capture image failed"}}) {
        EXPECT_EQ(error.reason(), reason);
        EXPECT_EQ(error.reported("element", phone.platform()), error);
        if (const auto* device = std::get_if<DeviceError>(&phone.reports().back())) {
            EXPECT_EQ(std::get<DeviceError::Permission>(device->factory().subject),
                DeviceError::Permission::camera);
            EXPECT_EQ(device->factory().severity, OvriErrorSeverity::error);
            continue;
        }
        const FlowError::Factory factory = std::get<FlowError>(phone.reports().back()).factory();
        EXPECT_EQ(factory.reason, reason);
        EXPECT_EQ(factory.element, "element");
        EXPECT_EQ(factory.event.has_value(), error == CameraError::captureImageFailed());
    }
    EXPECT_EQ(std::ranges::count_if(phone.reports(),
                  [](const TamselError& error) { return std::holds_alternative<DeviceError>(error); }),
        3);
    EXPECT_EQ(phone.reports().size(), 6U);
}

} // namespace tamsel::tests
