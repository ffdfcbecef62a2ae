#pragma once

#include <host/ffmpeg/MediaWait.h>
#include <host/ffmpeg/owners.h>

#include <cstdint>

namespace tamsel::host {

/// Lets the FFmpeg libraries read a pipe or another node that is no file, until the interest in it ends.
class PipeReader {
public:
    /// Takes ownership of the descriptor. The interest must outlive this object.
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
