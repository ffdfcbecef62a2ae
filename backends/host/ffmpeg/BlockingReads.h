#pragma once

#include <host/ffmpeg/owners.h>

#include <memory>

namespace tamsel::host {

/// Reads a device that blocks and cannot be interrupted, on a thread of its own. Nothing waits for that thread, which
/// shares the input and nothing else: when it is blocked it ends, and closes the input, once the device delivers again.
class BlockingReads {
public:
    /// Whether the input is such a device.
    [[nodiscard]] static bool areNeededFor(const AVFormatContext& input);

    explicit BlockingReads(std::shared_ptr<AVFormatContext> input);
    ~BlockingReads();
    BlockingReads(const BlockingReads&) = delete;
    BlockingReads& operator=(const BlockingReads&) = delete;

    /// Returns what av_read_frame returns, AVERROR(EAGAIN) when no packet has come, and AVERROR(ENOMEM) when the system has
    /// no thread left.
    [[nodiscard]] int read(AVPacket& packet);

private:
    struct State;

    const std::shared_ptr<State> state_;
};

} // namespace tamsel::host
