#include <tamsel/facade/types/SourceType.h>

namespace tamsel {

// All of this is out of line: if g++ 12 inlines it, it warns of uninitialised values.

SourceType::SourceType(Value value) : value_(std::move(value)) { }
SourceType::SourceType(const SourceType&) = default;
SourceType::SourceType(SourceType&&) noexcept = default;
SourceType& SourceType::operator=(const SourceType&) = default;
SourceType& SourceType::operator=(SourceType&&) noexcept = default;
SourceType::~SourceType() = default;

SourceType SourceType::cameraFront(bool videoRecordingEnabled)
{
    return SourceType(CameraFront{videoRecordingEnabled});
}

SourceType SourceType::cameraBack(bool videoRecordingEnabled)
{
    return SourceType(CameraBack{videoRecordingEnabled});
}

SourceType SourceType::asset(std::shared_ptr<platform::AVAsset> asset)
{
    return SourceType(Asset{std::move(asset)});
}

SourceType SourceType::undefined()
{
    return SourceType(Undefined{});
}

SourceType SourceType::mic()
{
    return SourceType(Mic{});
}

SourceType SourceType::nfc()
{
    return SourceType(Nfc{});
}

SourceType SourceType::stability()
{
    return SourceType(Stability{});
}

SourceType SourceType::facingAngle()
{
    return SourceType(FacingAngle{});
}

} // namespace tamsel
