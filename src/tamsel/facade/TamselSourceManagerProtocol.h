#pragma once

#include <tamsel/camera/CameraError.h>
#include <tamsel/facade/types/OvriMetadataOutputDelegate.h>
#include <tamsel/facade/types/OvriSourceToSession.h>
#include <tamsel/facade/types/SourceType.h>
#include <tamsel/metadata/MetadataObjectType.h>
#include <tamsel/platform/CALayer.h>
#include <tamsel/platform/CGImageProperties.h>
#include <tamsel/platform/Geometry.h>
#include <tamsel/platform/core/OvriImage.h>
#include <tamsel/platform/core/TamselCameraSettings.h>

#include <any>
#include <cstddef>
#include <expected>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tamsel::platform {
struct Platform;
}

namespace tamsel {

/// Options of a session. Only values of type `double` count; unknown keys are ignored.
using Configurations = std::map<std::string, std::any>;

/// Posted on the main queue, with the camera as its object, each time a camera session has started.
inline constexpr std::string_view cameraDidBecomeVisibleNotification
    = "TamselCameraDidBecomeVisibleNotification";

/// The operations of a source manager. Every operation may be called at any time, on any thread, and does not wait for
/// a device, queue or other thread.
class TamselSourceManagerProtocol {
public:
    virtual ~TamselSourceManagerProtocol() = default;

    /// Starts the source; results go to the delegate, which is held weakly (an empty one clears it). Fails only for a
    /// camera, with `noPermission` or `cameraRestricted`; every other failure is reported to the delegate. A camera
    /// replaces the one before, which is not stopped but released: a pending still of it may end without a sample and
    /// without an error, and a movie that it records is finished, but its file is not delivered. The view belongs to
    /// the caller. It shows the preview of a camera in a sublayer named "CameraPreview"; without a view there is no
    /// preview, and no still. Once a camera runs, `cameraDidBecomeVisibleNotification` is posted.
    virtual std::expected<void, CameraError> startSession(const SourceType& type,
        std::weak_ptr<OvriSourceToSession> delegate, const Configurations& configurations,
        std::shared_ptr<platform::UIView> previewView)
        = 0;
    /// Stops the running camera for good. The stop ends a moment later and then releases the camera that the manager
    /// holds: one that is started before that is lost without an error. `OvriSourceManager::whenCameraStopped` reports
    /// the end. A camera that does not run is not stopped. While it is paused, lost or in the background it gets no
    /// frames before `resumeCamera`. While it is starting it runs anyway, and its frames come, unless the start was
    /// almost done: then they come after `resumeCamera`, too.
    virtual void stopCameraSession() = 0;
    /// `stopCameraSession`, and stops both motion verdicts.
    virtual void stopAllSessions() = 0;
    /// Whether a camera session was started and the use of cameras is permitted. Nothing else counts: true for a paused
    /// camera, false for an asset session.
    [[nodiscard]] virtual bool canCaptureStillImage() const = 0;
    /// Requests one still image, which the delegate receives as a sample. If an asset is the latest source: its image
    /// at 1/60 s as a PNG file, as it is stored (not rotated upright), made on the calling thread, empty when there is
    /// none; the arguments are ignored. Otherwise the camera's, with its metadata, or a `captureImageFailed`. The
    /// sample has `source`; without settings the product's settings apply. Nothing happens without a camera, before
    /// `isCameraActive`, or when another camera is started before the still is finished.
    virtual void captureStillImage(
        platform::OvriImageSource source, const std::optional<platform::TamselCameraSettings>& settings)
        = 0;
    /// Adds the library's metadata to an image of the user's album and delivers it as a sample of the album with this
    /// orientation. `image` is the file, `exif` its properties, which override the file's own. Works on the calling
    /// thread. The picture itself is not changed. An image that cannot be rewritten is delivered unchanged.
    virtual void provide(std::span<const std::byte> image, const platform::PropertyDictionary& exif,
        platform::CGImagePropertyOrientation orientation)
        = 0;
    /// Continues after `pauseCamera`.
    virtual void resumeCamera() = 0;
    /// Stops the camera until `resumeCamera` starts it again.
    virtual void pauseCamera() = 0;
    /// Whether a camera can be found now, for the two camera types; for `stability` whether there is a gyroscope, and
    /// the manager was made with a motion source. False for everything else, also for `facingAngle` and assets,
    /// although they may work.
    [[nodiscard]] virtual bool isSourceAvailable(const SourceType& sourceType) const = 0;
    /// True from the moment when the main queue carries out the start of a camera until it is paused or stopped, also
    /// in the background.
    [[nodiscard]] virtual bool isCameraActive() const = 0;
    /// Of the camera's format, in pixels, not rotated with the device; 0 by 0 if unknown.
    [[nodiscard]] virtual platform::CGSize imageResolution() const = 0;
    /// Cameras that are started from now on detect faces, too. This delegate, which is held weakly and replaces the one
    /// before, receives faces and codes with every batch that contains them; of several faces the first. A request
    /// stays in effect for all later cameras.
    virtual void setFaceMetadataDetection(std::weak_ptr<OvriMetadataOutputDelegate> delegate) = 0;
    /// The same as `setFaceMetadataDetection` for codes of these kinds.
    virtual void setMetadataDetection(
        const std::vector<MetadataObjectType>& types, std::weak_ptr<OvriMetadataOutputDelegate> delegate)
        = 0;
    /// The previews of cameras that are started from now on fill their view; the default is to fit into it.
    virtual void prefersAspectFillCameraPreview() = 0;
    /// Always equal to `canCaptureStillImage`: the microphone and the source's recording option do not count.
    [[nodiscard]] virtual bool canRecordVideo() const = 0;
    /// Records the running camera, if its source enables it, into a file that does not exist yet; with sound if there
    /// is a microphone. One recording at a time: a further start changes nothing. The delegate receives the file once,
    /// when the recording has ended by `stopVideoRecording`, a pause, the background, a lost device, a full disk or
    /// another error; the file is shorter, or missing, if not everything could be recorded. After `stopCameraSession`,
    /// and after the start of another camera, the file is finished but not delivered. A camera that does not run
    /// reports a `captureImageFailed`. Nothing happens without a camera, and perhaps before `isCameraActive`.
    virtual void startVideoRecording(const std::filesystem::path& videoUrl) = 0;
    /// The delegate receives the file a moment later.
    virtual void stopVideoRecording() = 0;

    /// The current permission; the user is not asked for it. "Missing" is what was never requested; a restricted
    /// permission is neither missing nor given.
    /// @{
    [[nodiscard]] static bool isMissingCameraPermission(platform::Platform& platform);
    [[nodiscard]] static bool isMissingMicPermission(platform::Platform& platform);
    [[nodiscard]] static bool isCameraRestricted(platform::Platform& platform);
    [[nodiscard]] static bool isCameraAuthorized(platform::Platform& platform);
    [[nodiscard]] static bool isMicAuthorized(platform::Platform& platform);
    /// @}
};

} // namespace tamsel
