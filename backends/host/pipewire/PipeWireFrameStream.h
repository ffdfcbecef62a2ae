#pragma once

#include <host/DigitalZoom.h>
#include <host/DriverServices.h>
#include <host/camera/FrameFormat.h>
#include <host/camera/MotionJpegDecoder.h>
#include <host/ffmpeg/FrameConverter.h>
#include <host/pipewire/PipeWireFormats.h>
#include <host/pipewire/PipeWireStream.h>
#include <host/pipewire/pipeWireInputs.h>

#include <engine/capture/CameraDriver.h>

#include <tamsel/Mutex.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <expected>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>

namespace tamsel::host {

/// One start of a camera. The library's thread takes each buffer from the camera as it comes
/// and posts its conversion to a queue. It gives the oldest one back unread rather than leave the camera without any,
/// because some cameras then stop for good.
class PipeWireFrameStream final : public PipeWireStream,
                                  public std::enable_shared_from_this<PipeWireFrameStream> {
public:
    /// Returns once frames can come. The name is for errors.
    [[nodiscard]] static std::expected<std::shared_ptr<PipeWireFrameStream>, platform::Error> start(
        std::string name, FoundNode found, platform::AVCaptureSessionPreset preset,
        std::shared_ptr<engine::FrameSink> sink, std::shared_ptr<const DigitalZoom> zoom,
        const DriverServices& services, const PipeWireWait& wait);

    PipeWireFrameStream(std::string name, FoundNode found, std::shared_ptr<engine::FrameSink> sink,
        std::shared_ptr<const DigitalZoom> zoom, const DriverServices& services);
    ~PipeWireFrameStream() override;
    PipeWireFrameStream(const PipeWireFrameStream&) = delete;
    PipeWireFrameStream& operator=(const PipeWireFrameStream&) = delete;

    /// No conversion begins after this. Waits for nothing. Thread-safe.
    void stop();
    /// Gives the camera back; waits for a conversion that is running. Thread-safe.
    void close();

    /// In pixels. Thread-safe.
    [[nodiscard]] platform::CGSize size() const;

private:
    /// A frame that has come and is not yet converted.
    struct Frame {
        pw_buffer* buffer;
        std::span<std::byte> bytes;
        FrameFormat format;
        std::uint64_t number; ///< of the camera, or else of the arrivals
        std::chrono::nanoseconds mediaTime; ///< on the camera's clock
        std::chrono::nanoseconds captureTime;
        bool isWhole;
    };

    /// False when this format is refused, or the wait has ended.
    [[nodiscard]] bool connectAndFollow(std::span<const PipeWirePod> formats, const PipeWireWait& wait);
    void handleLoss();

    void setFormat(const spa_pod& format) override;
    void addBuffer(pw_buffer& buffer) override;
    void removeBuffer(pw_buffer& buffer) override;

    // On the library's thread.
    void takeBuffer() override;
    [[nodiscard]] Frame describe(pw_buffer& buffer) TAMSEL_REQUIRES(guard_);

    // On the queue.
    void convertFrame();
    [[nodiscard]] bool convert(
        const Frame& frame, platform::CVPixelBuffer& target, const std::optional<platform::CGRect>& part);

    const std::shared_ptr<engine::FrameSink> sink_;
    const std::shared_ptr<const DigitalZoom> zoom_;
    engine::EventSources& sources_;
    const std::shared_ptr<platform::DispatchQueue> queue_;

    // Used on the queue only.
    const OwnedFrame frame_{av_frame_alloc()};
    FrameConverter converter_;
    MotionJpegDecoder jpeg_;
    std::optional<std::uint64_t> lastNumber_;
    std::optional<std::chrono::nanoseconds> firstTime_;

    /// Locked for short calls only, never during a conversion or a call of the sink.
    mutable Mutex guard_;
    Condition converted_;
    std::optional<FrameFormat> format_ TAMSEL_GUARDED_BY(guard_);
    std::map<pw_buffer*, std::span<std::byte>> memory_ TAMSEL_GUARDED_BY(guard_);
    std::deque<Frame> waiting_ TAMSEL_GUARDED_BY(guard_);
    pw_buffer* converting_ TAMSEL_GUARDED_BY(guard_) = nullptr;
    std::uint64_t arrivals_ TAMSEL_GUARDED_BY(guard_) = 0;
    bool isEnded_ TAMSEL_GUARDED_BY(guard_) = false;
};

} // namespace tamsel::host
