#include <tamsel/client/DetectionOutlines.h>

#include <tamsel/platform/Clock.h>
#include <tamsel/platform/Platform.h>

#include <utility>

namespace tamsel {

using namespace platform;

DetectionOutline transformed(DetectionOutline outline, const CGAffineTransform& transform)
{
    for (CGPoint& corner : outline.corners)
        corner = CGPointApplyAffineTransform(corner, transform);
    return outline;
}

DetectionOutlines::DetectionOutlines(const Platform& platform, std::chrono::nanoseconds viewTime)
    : clock_(platform.clock),
      viewTime_(viewTime)
{
}

DetectionOutlineUpdate DetectionOutlines::latest() const
{
    const MutexLock lock(guard_);
    return clock_.monotonic() < end_ ? latest_ : DetectionOutlineUpdate();
}

void DetectionOutlines::sourceManagerDidDetect(
    OvriSourceManager& /*manager*/, const OvriMetadataFaceObject& face)
{
    const auto [origin, size] = face.face()->bounds();
    const CGPoint last{origin.x + size.width, origin.y + size.height};
    const MutexLock lock(guard_);
    add(face.face()->captureTime(), {{origin, {last.x, origin.y}, last, {origin.x, last.y}}, {}});
}

void DetectionOutlines::sourceManagerDidDetect(
    OvriSourceManager& /*manager*/, const std::vector<OvriMetadataMachineReadableCodeObject>& codes)
{
    const MutexLock lock(guard_);
    for (const OvriMetadataMachineReadableCodeObject& code : codes)
        add(code.captureTime(), {code.corners(), code.value().value_or("")});
}

void DetectionOutlines::add(std::optional<std::chrono::nanoseconds> captureTime, DetectionOutline outline)
{
    if (latest_.captureTime != captureTime)
        latest_.outlines.clear();
    latest_.captureTime = captureTime;
    latest_.outlines.push_back(std::move(outline));
    end_ = clock_.monotonic() + viewTime_;
}

} // namespace tamsel
