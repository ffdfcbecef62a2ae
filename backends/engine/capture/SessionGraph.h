#pragma once

#include <engine/capture/Connection.h>
#include <engine/capture/Output.h>

#include <tamsel/Mutex.h>
#include <tamsel/platform/AVCaptureSession.h>

#include <memory>
#include <string_view>
#include <vector>

namespace tamsel::engine {

struct CaptureContext;
class MicrophoneDriver;

/// The parts of a session: inputs, outputs, and the connections between them. Thread-safe; no call waits for a device.
class SessionGraph {
public:
    explicit SessionGraph(std::shared_ptr<CaptureContext> context) : context_(std::move(context)) { }
    /// Its outputs can join another session.
    ~SessionGraph();
    SessionGraph(const SessionGraph&) = delete;
    SessionGraph& operator=(const SessionGraph&) = delete;

    /// "video", "audio" or, for an input without a device, "none".
    [[nodiscard]] static std::string_view describe(const std::shared_ptr<platform::AVCaptureInput>& input);
    /// The kind of the output; "none" for an output of another back end.
    [[nodiscard]] static std::string_view describe(const std::shared_ptr<platform::AVCaptureOutput>& output);

    /// True for an input of a device, if the session has no input of its media type.
    [[nodiscard]] bool accepts(const std::shared_ptr<platform::AVCaptureInput>& input) const;
    void add(std::shared_ptr<platform::AVCaptureInput> input);
    /// False when the session does not have it.
    bool remove(const std::shared_ptr<platform::AVCaptureInput>& input);
    [[nodiscard]] std::vector<std::shared_ptr<platform::AVCaptureInput>> inputs() const
    {
        const MutexLock lock(guard_);
        return inputs_;
    }

    /// True for an output without a session, if this session has no output of its kind.
    [[nodiscard]] bool accepts(const std::shared_ptr<platform::AVCaptureOutput>& output) const;
    /// Does nothing when it is in a session.
    void add(std::shared_ptr<platform::AVCaptureOutput> output);
    /// Does nothing when the session does not have it.
    void remove(const std::shared_ptr<platform::AVCaptureOutput>& output);
    [[nodiscard]] std::vector<std::shared_ptr<platform::AVCaptureOutput>> outputs() const
    {
        const MutexLock lock(guard_);
        return outputs_;
    }
    [[nodiscard]] SessionOutputs outputsByKind() const;

    void setPreset(platform::AVCaptureSessionPreset preset)
    {
        const MutexLock lock(guard_);
        preset_ = preset;
    }
    [[nodiscard]] platform::AVCaptureSessionPreset preset() const
    {
        const MutexLock lock(guard_);
        return preset_;
    }

    /// The camera of an input; absent for other inputs.
    [[nodiscard]] std::shared_ptr<CameraDevice> camera(
        const std::shared_ptr<platform::AVCaptureInput>& input) const;
    /// The session's camera; absent when it has none.
    [[nodiscard]] std::shared_ptr<CameraDevice> camera() const
    {
        const MutexLock lock(guard_);
        return firstCamera();
    }
    /// The driver of the session's microphone; absent when it has none.
    [[nodiscard]] std::shared_ptr<MicrophoneDriver> microphone() const;
    /// Absent while the session has no camera.
    [[nodiscard]] std::shared_ptr<Connection> previewConnection() const
    {
        const MutexLock lock(guard_);
        return previewConnection_;
    }

private:
    [[nodiscard]] std::shared_ptr<CameraDevice> firstCamera() const TAMSEL_REQUIRES(guard_);
    void connect() TAMSEL_REQUIRES(guard_);

    const std::shared_ptr<CaptureContext> context_;

    mutable Mutex guard_;
    std::vector<std::shared_ptr<platform::AVCaptureInput>> inputs_ TAMSEL_GUARDED_BY(guard_);
    std::vector<std::shared_ptr<platform::AVCaptureOutput>> outputs_ TAMSEL_GUARDED_BY(guard_);
    platform::AVCaptureSessionPreset preset_ TAMSEL_GUARDED_BY(guard_)
        = platform::AVCaptureSessionPreset::high;
    std::shared_ptr<Connection> previewConnection_ TAMSEL_GUARDED_BY(guard_);
};

} // namespace tamsel::engine
