#pragma once

#include <host/ffmpeg/MediaWait.h>
#include <host/ffmpeg/owners.h>

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>

namespace tamsel::host {

/// Lets the FFmpeg libraries read a pipe or another special node, until the interest in it ends.
class PipeReader {
public:
    /// Takes ownership of the descriptor. The interest must outlive this object.
    PipeReader(int descriptor, const MediaInterest& interest) : interest_(interest), descriptor_(descriptor)
    {
    }
    ~PipeReader() { ::close(descriptor_); }
    PipeReader(const PipeReader&) = delete;
    PipeReader& operator=(const PipeReader&) = delete;

    [[nodiscard]] AVIOContext* io() const { return io_.get(); }

private:
    static constexpr int bufferSize = 1 << 15;
    static constexpr int pauseBetweenLooks = 50; // milliseconds

    static int read(void* self, std::uint8_t* bytes, int size)
    {
        const auto& [interest, descriptor, io] = *static_cast<const PipeReader*>(self);
        while (!interest.hasEnded()) {
            // Before a writer has opened the pipe, `poll` waits, while `read` would report the end.
            pollfd polled{.fd = descriptor, .events = POLLIN, .revents = 0};
            if (::poll(&polled, 1, pauseBetweenLooks) <= 0)
                continue;
            const ssize_t count = ::read(descriptor, bytes, static_cast<std::size_t>(size));
            if (count > 0)
                return static_cast<int>(count);
            if (count == 0)
                return AVERROR_EOF;
            if (errno != EAGAIN && errno != EINTR)
                return AVERROR(errno);
        }
        return AVERROR_EXIT;
    }

    const MediaInterest& interest_;
    const int descriptor_;
    const OwnedIo io_{avio_alloc_context(
        static_cast<unsigned char*>(av_malloc(bufferSize)), bufferSize, 0, this, &read, nullptr, nullptr)};
};

} // namespace tamsel::host
