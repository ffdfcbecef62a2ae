#pragma once

#include <host/ffmpeg/MediaWait.h>
#include <host/ffmpeg/owners.h>

#include <cstdint>

namespace tamsel::host {

/// Lets the FFmpeg libraries read a pipe or another node that is no file, until nobody is interested in it any more.
class PipeReader {
public:
    /// Owns the descriptor from now on. The interest must outlive this.
    PipeReader(int descriptor, const MediaInterest& interest);
    ~PipeReader();
    PipeReader(const PipeReader&) = delete;
    PipeReader& operator=(const PipeReader&) = delete;

    [[nodiscard]] AVIOContext* io() const { return io_.get(); }

private:
    static int read(void* self, std::uint8_t* bytes, int size);

    const MediaInterest& interest_;
    const int descriptor_;
    const OwnedIo io_;
};

} // namespace tamsel::host
