#include <tamsel/metadata/MetadataOutputHandler.h>

#include <tamsel/camera/Camera.h>
#include <tamsel/camera/CameraDelegate.h>

namespace tamsel {

void MetadataOutputHandler::captureOutputDidOutputMetadataObjects(const platform::AVMetadataObjects& objects)
{
    if (!captureSessionHost_.lock())
        return;
    if (const std::shared_ptr<CameraDelegate> delegate = delegate_.lock())
        delegate->didOutputMetadataObjects(objects);
}

} // namespace tamsel
