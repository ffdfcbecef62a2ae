#include <tamsel/camera/CameraConfiguration.h>

#include <tamsel/platform/UIDevice.h>

namespace tamsel {

using platform::AVCaptureDevicePosition;
using platform::AVCaptureDeviceType;
using platform::AVCaptureSessionPreset;
using Position = CameraConfiguration::Position;

std::optional<Position> Position::fromRawValue(std::string_view rawValue)
{
    for (const Position position : {front, back, unspecified}) {
        if (position.rawValue() == rawValue)
            return position;
    }
    return std::nullopt;
}

std::string_view Position::rawValue() const
{
    switch (value_) {
    case front:
        return "front";
    case back:
        return "back";
    case unspecified:
        return "unspecified";
    }
    return {};
}

std::expected<Position, platform::Error> Position::decode(std::string_view text)
{
    if (const auto position = fromRawValue(text))
        return *position;
    return std::unexpected(platform::Error{
        "'" + std::string(text) + "' is not a camera position: expected front, back or unspecified"});
}

AVCaptureDevicePosition Position::capturePosition() const
{
    return static_cast<AVCaptureDevicePosition>(2 - value_);
}

AVCaptureSessionPreset capturePreset(CameraConfiguration::SessionPreset preset)
{
    return preset == CameraConfiguration::SessionPreset::photo ? AVCaptureSessionPreset::photo
                                                               : AVCaptureSessionPreset::high;
}

std::vector<AVCaptureDeviceType> deviceTypes(Position position, const platform::UIDevice& device)
{
    switch (static_cast<Position::Case>(position)) {
    case Position::front:
        return {AVCaptureDeviceType::builtInWideAngleCamera};
    case Position::back:
        if (!platform::isSystemVersionAtLeast(device, 13, 0))
            return {AVCaptureDeviceType::builtInWideAngleCamera};
        return {AVCaptureDeviceType::builtInTripleCamera, AVCaptureDeviceType::builtInDualWideCamera,
            AVCaptureDeviceType::builtInWideAngleCamera};
    case Position::unspecified:
        return {};
    }
    return {};
}

} // namespace tamsel
