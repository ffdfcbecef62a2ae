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

/// Options of a session. A key counts only when its value is a `double`; unknown keys are ignored.
using Configurations = std::map<std::string, std::any>;

/// Posted on the main queue, with the camera as its object, each time a camera session has started.
inline constexpr std::string_view cameraDidBecomeVisibleNotification
    = "TamselCameraDidBecomeVisibleNotification";

/// What a client can ask of a source manager. Every operation may be called at any time, on any thread, and waits for no
/// device, queue or other thread.
class TamselSourceManagerProtocol {
public:
    virtual ~TamselSourceManagerProtocol() = default;

    /// Starts the source; results go to the delegate, which is held weakly (an empty one clears it). Fails only for a
    /// camera, with `noPermission` or `cameraRestricted`; every other failure comes to the delegate.
    /// A camera takes the place of the one before, which is not stopped but released: a still that it was asked for may end
    /// without a sample and without an error, and a movie that it records is finished, but its file does not come.
    /// The view, which is the caller's to keep, shows the preview of a camera in a sublayer that is called "CameraPreview";
    /// without one there is no preview, and no still. Once a camera runs, `cameraDidBecomeVisibleNotification` is posted.
    virtual std::expected<void, CameraError> startSession(const SourceType& type,
        std::weak_ptr<OvriSourceToSession> delegate, const Configurations& configurations,
        std::shared_ptr<platform::UIView> previewView)
        = 0;
    /// Stops the running camera for good. The stop ends a moment later and then releases whatever camera is held: one that
    /// is started before that is lost without an error. `OvriSourceManager::whenCameraStopped` reports when it has ended.
    /// A camera that does not run stays. While it is paused, lost or in the background it gets no frames before
    /// `resumeCamera`; while it is still being started it runs all the same, and its frames come, unless the start was almost
    /// done: then they come after `resumeCamera`, too.
    virtual void stopCameraSession() = 0;
    /// `stopCameraSession`, and the end of both motion verdicts.
    virtual void stopAllSessions() = 0;
    /// Whether a camera session was started, and the camera may be used. Nothing else counts, so a camera that is paused can,
    /// and a recording as a source cannot.
    [[nodiscard]] virtual bool canCaptureStillImage() const = 0;
    /// Asks for one still image, which comes to the delegate as a sample. While a recording is the latest source: its image at
    /// 1/60 s as a PNG file, as it is stored (not turned upright), made on the calling thread, empty when there is none; the
    /// arguments do not count. Otherwise the camera's, with its metadata, or a `captureImageFailed`; the sample carries
    /// `source`, and without settings the product's apply. Nothing without a camera, before `isCameraActive`, or when another
    /// camera is started before the still is finished.
    virtual void captureStillImage(
        platform::OvriImageSource source, const std::optional<platform::TamselCameraSettings>& settings)
        = 0;
    /// Stamps an image of the user's album with the library's metadata and hands it to the delegate as a sample of the album
    /// with this orientation. `image` is the file, `exif` its properties, which are set over the file's own; the work is done
    /// on the calling thread. The picture itself is not touched. What cannot be rewritten comes back as it is.
    virtual void provide(std::span<const std::byte> image, const platform::PropertyDictionary& exif,
        platform::CGImagePropertyOrientation orientation)
        = 0;
    /// Continues after `pauseCamera`.
    virtual void resumeCamera() = 0;
    /// Stops the camera so that `resumeCamera` can start it again.
    virtual void pauseCamera() = 0;
    /// Whether a camera can be found now, for the two camera types; for `stability` whether there is a gyroscope, and the
    /// manager was made with a motion source. False for everything else, `facingAngle` and recordings too, although they may
    /// well work.
    [[nodiscard]] virtual bool isSourceAvailable(const SourceType& sourceType) const = 0;
    /// From the moment when the main queue carries out the start of a camera until it is paused or stopped; in the background
    /// it stays so.
    [[nodiscard]] virtual bool isCameraActive() const = 0;
    /// Of the camera's format, in pixels, not turned with the device; 0 by 0 while it is not known.
    [[nodiscard]] virtual platform::CGSize imageResolution() const = 0;
    /// The cameras that are started from now on look for faces, too. Faces and codes come to this delegate, which is held
    /// weakly and replaces the one before, as they are found: again with every batch that holds them, of several faces the
    /// first. What was once asked for stays asked for.
    virtual void setFaceMetadataDetection(std::weak_ptr<OvriMetadataOutputDelegate> delegate) = 0;
    /// The same as `setFaceMetadataDetection` for codes of these kinds.
    virtual void setMetadataDetection(
        const std::vector<MetadataObjectType>& types, std::weak_ptr<OvriMetadataOutputDelegate> delegate)
        = 0;
    /// The previews of cameras that are started from now on fill their view; before, they fit into it.
    virtual void prefersAspectFillCameraPreview() = 0;
    /// The same answer as `canCaptureStillImage`: neither the microphone nor whether the source records is looked at.
    [[nodiscard]] virtual bool canRecordVideo() const = 0;
    /// Records the running camera into a file that is not there yet, when its source says so; sound with it when there is a
    /// microphone. One recording at a time: a further start changes nothing. The file comes to the delegate once, when the
    /// recording has ended, by `stopVideoRecording`, a pause, the background, a lost device, a full disk or whatever else;
    /// what could not be recorded is a file that is shorter, or not there. After `stopCameraSession` it is finished and comes
    /// no more, nor after the start of another camera. A camera that does not run answers with a `captureImageFailed`. Nothing
    /// without a camera, and perhaps before `isCameraActive`.
    virtual void startVideoRecording(const std::filesystem::path& videoUrl) = 0;
    /// The file comes to the delegate a moment later.
    virtual void stopVideoRecording() = 0;

    /// Permission, as it is now; nobody is asked for it. What has never been asked for is missing, what is restricted is
    /// neither missing nor given.
    /// @{
    [[nodiscard]] static bool isMissingCameraPermission(platform::Platform& platform);
    [[nodiscard]] static bool isMissingMicPermission(platform::Platform& platform);
    [[nodiscard]] static bool isCameraRestricted(platform::Platform& platform);
    [[nodiscard]] static bool isCameraAuthorized(platform::Platform& platform);
    [[nodiscard]] static bool isMicAuthorized(platform::Platform& platform);
    /// @}
};

} // namespace tamsel
