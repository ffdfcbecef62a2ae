#include <host/ffmpeg/PipeReader.h>

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

namespace tamsel::host {

namespace {

constexpr int bufferSize = 1 << 15;
constexpr int pauseBetweenLooks = 50; // milliseconds

} // namespace

PipeReader::PipeReader(int descriptor, const MediaInterest& interest)
    : interest_(interest),
      descriptor_(descriptor),
      io_(avio_alloc_context(
          static_cast<unsigned char*>(av_malloc(bufferSize)), bufferSize, 0, this, &read, nullptr, nullptr))
{
}

PipeReader::~PipeReader()
{
    ::close(descriptor_);
}

int PipeReader::read(void* self, std::uint8_t* bytes, int size)
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

} // namespace tamsel::host
