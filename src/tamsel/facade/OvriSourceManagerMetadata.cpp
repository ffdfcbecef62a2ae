// The manager's codes and faces: the kinds for its next camera, and the delivery of detections.

#include <tamsel/facade/OvriSourceManager.h>

#include <tamsel/facade/tellDelegate.h>

#include <utility>

namespace tamsel {

using namespace platform;

void OvriSourceManager::setFaceMetadataDetection(std::weak_ptr<OvriMetadataOutputDelegate> delegate)
{
    setMetadataDetection({MetadataObjectType::face}, std::move(delegate));
}

void OvriSourceManager::setMetadataDetection(
    const std::vector<MetadataObjectType>& types, std::weak_ptr<OvriMetadataOutputDelegate> delegate)
{
    if (SessionObserver* observer = platform_.observer)
        observer->clientSetsMetadataDetection(*this, types, !delegate.expired());
    swapDelegate(&OvriSourceManager::metadataDelegate_, std::move(delegate));
    const MutexLock lock(guard_);
    for (const MetadataObjectType type : types)
        metadataDetectionTypes_.emplace_back(type.rawValue());
}

void OvriSourceManager::deliver(const AVMetadataObjects& objects)
{
    std::shared_ptr<const AVMetadataFaceObject> firstFace;
    std::vector<OvriMetadataMachineReadableCodeObject> codes;
    for (const std::shared_ptr<const AVMetadataObject>& object : objects) {
        if (auto face = std::dynamic_pointer_cast<const AVMetadataFaceObject>(object)) {
            if (!firstFace)
                firstFace = std::move(face);
        } else if (const auto code
            = std::dynamic_pointer_cast<const AVMetadataMachineReadableCodeObject>(object)) {
            codes.emplace_back(MetadataObjectType::fromRawValue(code->type()), code->corners(),
                code->stringValue(), code->captureTime());
        }
    }
    if (firstFace) {
        if (const std::shared_ptr<OvriMetadataOutputDelegate> delegate = metadataDelegate())
            tell(platform_, *delegate,
                [this, face = OvriMetadataFaceObject(std::move(firstFace))](
                    OvriMetadataOutputDelegate& receiver) { receiver.sourceManagerDidDetect(*this, face); });
    }
    if (!codes.empty()) {
        // Read again: a delegate that was cleared in the face call receives no codes.
        if (const std::shared_ptr<OvriMetadataOutputDelegate> delegate = metadataDelegate())
            tell(platform_, *delegate,
                [&](OvriMetadataOutputDelegate& receiver) { receiver.sourceManagerDidDetect(*this, codes); });
    }
}

} // namespace tamsel
