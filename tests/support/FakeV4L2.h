#pragma once

#include <host/v4l2/V4L2Calls.h>

#include <linux/videodev2.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tamsel::tests {

/// A scripted capture device behind the system calls. It answers as the kernel does: who has buffers holds it, a format
/// does not change while there are any, and memory lives until it is unmapped. Thread-safe; the script is set first.
class FakeV4L2 {
public:
    struct Size {
        std::uint32_t width;
        std::uint32_t height;
        std::vector<v4l2_fract> intervals;
    };
    struct Format {
        std::uint32_t code;
        std::vector<Size> sizes;
        /// Any size in it; `sizes` then tell, up to a width, the shortest and the longest interval.
        std::optional<v4l2_frmsize_stepwise> range = {};
    };
    struct Frame {
        std::vector<std::uint8_t> bytes;
        std::chrono::microseconds time{1};
        std::uint32_t flags = V4L2_BUF_FLAG_TIMESTAMP_MONOTONIC;
        std::optional<std::uint32_t> sequence = {};
    };

    // The script.
    std::string path = "/dev/video7";
    /// Of the node.
    std::uint32_t capabilities = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING;
    std::vector<Format> formats;
    std::function<void(v4l2_pix_format&)> correct; ///< what the driver makes of a format
    std::map<unsigned long, int> failures; ///< by request; 0 stands for mmap
    std::uint32_t refusedCode = 0; ///< of a format that is listed and cannot be set
    unsigned long endlessList = 0; ///< the request whose first entry comes again and again
    std::vector<v4l2_queryctrl> controls;

    [[nodiscard]] host::V4L2Calls calls();

    /// Fills a queued buffer; without one the frame is missed. True when it was filled.
    bool push(const Frame& frame);
    void unplug();
    void plugIn();

    [[nodiscard]] v4l2_pix_format format() const { return locked(pixels_); }
    [[nodiscard]] std::optional<v4l2_fract> interval() const { return locked(interval_); }
    /// The values that controls were set to since the last call, by control and in order.
    [[nodiscard]] std::vector<std::pair<std::uint32_t, std::int32_t>> takeSettings()
    {
        const std::lock_guard lock(guard_);
        return std::exchange(settings_, {});
    }
    [[nodiscard]] std::size_t queuedBuffers() const
    {
        return static_cast<std::size_t>(std::ranges::count(locked(buffers_), true, &Buffer::isQueued));
    }
    [[nodiscard]] int count(unsigned long request) const { return locked(counts_)[request]; }
    [[nodiscard]] std::size_t openDescriptors() const { return locked(descriptors_).size(); }
    [[nodiscard]] std::size_t mappings() const { return locked(mappings_).size(); }
    /// Calls that a real kernel would have refused as a mistake.
    [[nodiscard]] std::vector<std::string> mistakes() const { return locked(mistakes_); }

private:
    struct Buffer {
        std::shared_ptr<std::vector<std::uint8_t>> memory;
        bool isQueued = false;
    };
    struct Mapping {
        std::shared_ptr<std::vector<std::uint8_t>> memory;
        int descriptor;
    };

    template <typename Value> Value locked(const Value& value) const
    {
        const std::lock_guard lock(guard_);
        return value;
    }

    int open(const char* node);
    int close(int descriptor);
    int ioctl(int descriptor, unsigned long request, void* argument);
    int answer(int descriptor, unsigned long request, void* argument);
    int enumerate(unsigned long request, void* argument);
    int useControl(unsigned long request, void* argument);
    int setFormat(v4l2_pix_format& pixels);
    int requestBuffers(int descriptor, v4l2_requestbuffers& request);
    int dequeue(v4l2_buffer& buffer);
    int queue(const v4l2_buffer& buffer);
    void stream(bool isOn);
    void releaseUnused(int descriptor);
    int mistake(std::string what);

    mutable std::mutex guard_;
    bool isPresent_ = true;
    bool isStreaming_ = false;
    int owner_ = -1;
    std::uint32_t sequence_ = 0;
    v4l2_pix_format pixels_{};
    std::optional<v4l2_fract> interval_;
    std::map<unsigned long, int> counts_;
    std::vector<std::pair<std::uint32_t, std::int32_t>> settings_;
    std::vector<Buffer> buffers_;
    std::deque<v4l2_buffer> done_;
    std::vector<int> descriptors_;
    std::vector<int> deadDescriptors_; ///< opened before the device was unplugged
    std::map<void*, Mapping> mappings_;
    std::vector<std::string> mistakes_;
};

} // namespace tamsel::tests
