#pragma once

#include <engine/capture/MetadataServices.h>
#include <engine/capture/Output.h>

#include <tamsel/Mutex.h>

#include <memory>
#include <vector>

namespace tamsel::engine {

class DetectionStream;

/// Detects codes and faces in the session's frames, while it is in the session and its delegate exists. The types are fixed
/// when the session starts. Thread-safe.
class MetadataOutput final : public Output<platform::AVCaptureMetadataOutput>,
                             public std::enable_shared_from_this<MetadataOutput> {
public:
    /// The delegate and its queue.
    struct Receiver {
        std::weak_ptr<platform::AVCaptureMetadataOutputObjectsDelegate> delegate;
        std::shared_ptr<platform::DispatchQueue> queue;
    };

    MetadataOutput(MetadataServices services, std::shared_ptr<CaptureHook> hook);

    [[nodiscard]] const char* kind() const override { return "AVCaptureMetadataOutput"; }
    void addTo(SessionOutputs& outputs) override { outputs.metadata = shared_from_this(); }
    [[nodiscard]] bool takesVideo() const override { return false; }
    [[nodiscard]] std::vector<platform::AVMetadataObjectType> availableMetadataObjectTypes() const override;
    void setMetadataObjectTypes(std::vector<platform::AVMetadataObjectType> types) override;
    void setMetadataObjectsDelegate(std::weak_ptr<platform::AVCaptureMetadataOutputObjectsDelegate> delegate,
        std::shared_ptr<platform::DispatchQueue> queue) override;

    /// For the session that starts. Absent when none of the requested types can be detected.
    [[nodiscard]] std::shared_ptr<DetectionStream> beginStream();

    /// Absent while the output is not in a session.
    [[nodiscard]] Receiver receiver() const;

private:
    [[nodiscard]] std::vector<platform::AVMetadataObjectType> detectableTypes() const;

    const MetadataServices services_;
    const std::shared_ptr<CaptureHook> hook_;
    /// Of the output, not of a start, so that a detection of an earlier start ends before those of the next begin.
    const std::shared_ptr<platform::DispatchQueue> queue_;

    mutable Mutex guard_;
    std::vector<platform::AVMetadataObjectType> types_ TAMSEL_GUARDED_BY(guard_);
    Receiver receiver_ TAMSEL_GUARDED_BY(guard_);
};

} // namespace tamsel::engine
