#include <tamsel/platform/AVCapturePhotoOutput.h>

#include <atomic>

namespace tamsel::platform {

AVCapturePhotoSettings AVCapturePhotoSettings::photoSettingsWithFormat(AVVideoCodecType codec)
{
    static std::atomic<std::int64_t> lastID = 0;
    return {++lastID, codec};
}

} // namespace tamsel::platform
