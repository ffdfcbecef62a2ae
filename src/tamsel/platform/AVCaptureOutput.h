#pragma once

#include <tamsel/platform/AVCaptureConnection.h>
#include <tamsel/platform/AVCaptureDevice.h>
#include <tamsel/platform/AVMetadataObject.h>
#include <tamsel/platform/CMSampleBuffer.h>
#include <tamsel/platform/Dispatch.h>
#include <tamsel/platform/Error.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

namespace tamsel::platform {

/// A sink of a session. Thread-safe.
class AVCaptureOutput {
public:
    virtual ~AVCaptureOutput() = default;

    /// Absent while the output is not in a session that has an input of this media type.
    [[nodiscard]] virtual std::shared_ptr<AVCaptureConnection> connection(AVMediaType mediaType) const = 0;
};

/// Receives live frames on the queue given with it.
class AVCaptureVideoDataOutputSampleBufferDelegate {
public:
    virtual ~AVCaptureVideoDataOutputSampleBufferDelegate() = default;

    /// One live frame.
    virtual void captureOutputDidOutputSampleBuffer(std::shared_ptr<CMSampleBuffer> sampleBuffer) = 0;
    /// One frame was dropped before it reached the delegate; the sample has no image.
    virtual void captureOutputDidDropSampleBuffer(CMSampleBuffer& sampleBuffer) = 0;
};

/// Delivers live frames; at most one of them waits for the delegate.
class AVCaptureVideoDataOutput : public AVCaptureOutput {
public:
    /// Whether a frame is dropped that arrives while another waits.
    virtual void setAlwaysDiscardsLateVideoFrames(bool discards) = 0;
    /// The setting kCVPixelBufferPixelFormatTypeKey, a four-character code.
    virtual void setVideoSettings(std::uint32_t pixelFormat) = 0;
    /// Held weakly. Without a delegate frames are produced and gated.
    virtual void setSampleBufferDelegate(std::weak_ptr<AVCaptureVideoDataOutputSampleBufferDelegate> delegate,
        std::shared_ptr<DispatchQueue> queue)
        = 0;
};

/// Receives the ends of recordings.
class AVCaptureFileOutputRecordingDelegate {
public:
    virtual ~AVCaptureFileOutputRecordingDelegate() = default;

    /// Once for each recording, on a queue of the platform's choice. With an error the file contains what was recorded
    /// until then, or does not exist.
    virtual void captureOutputDidFinishRecording(
        const std::filesystem::path& url, const std::optional<Error>& error)
        = 0;
};

/// Writes movie files, one recording at a time. However a recording ends, its file plays, if it had a frame.
class AVCaptureMovieFileOutput : public AVCaptureOutput {
public:
    /// An invalid time disables movie fragments.
    virtual void setMovieFragmentInterval(CMTime interval) = 0;
    /// Begins with the next frame. An existing file is not touched, and the recording ends at once with an error.
    /// During a recording the call does nothing. The delegate is held weakly. Returns at once.
    virtual void startRecording(
        std::filesystem::path url, std::weak_ptr<AVCaptureFileOutputRecordingDelegate> delegate)
        = 0;
    /// Does nothing when there is no recording. Another may be started at once.
    virtual void stopRecording() = 0;
};

/// Receives batches of detected objects on the queue given with it.
class AVCaptureMetadataOutputObjectsDelegate {
public:
    virtual ~AVCaptureMetadataOutputObjectsDelegate() = default;

    /// The objects that were detected in one frame; empty once after the last detection.
    virtual void captureOutputDidOutputMetadataObjects(const AVMetadataObjects& objects) = 0;
};

/// Detects codes and faces.
class AVCaptureMetadataOutput : public AVCaptureOutput {
public:
    /// Known only after the output has been added to a session with a camera.
    [[nodiscard]] virtual std::vector<AVMetadataObjectType> availableMetadataObjectTypes() const = 0;
    /// The types to detect, from the next start of the session on.
    virtual void setMetadataObjectTypes(std::vector<AVMetadataObjectType> types) = 0;
    /// The delegate, held weakly, and its queue.
    virtual void setMetadataObjectsDelegate(
        std::weak_ptr<AVCaptureMetadataOutputObjectsDelegate> delegate, std::shared_ptr<DispatchQueue> queue)
        = 0;
};

} // namespace tamsel::platform
