#pragma once

#include <host/ffmpeg/owners.h>
#include <host/image/Bytes.h>

namespace tamsel::host {

/// The picture in a packet of a video of PNG files; null when it does not decode. The decoder of the FFmpeg libraries
/// unpacks all data of such a file, which can be gigabytes beside a few pixels.
[[nodiscard]] OwnedFrame decodePngFrame(const AVPacket& packet);

} // namespace tamsel::host
