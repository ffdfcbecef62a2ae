#pragma once

#include <host/metadata/FaceBounds.h>

#include <chrono>
#include <cstdint>
#include <vector>

namespace tamsel::host {

/// Recognises the faces of a stream from one detection to the next by their positions. Not thread-safe.
class FaceTracks {
public:
    /// An identifier for each of the faces, from 1. A face keeps it while it stays, also when some detections miss it;
    /// no two faces of a stream have the same.
    [[nodiscard]] std::vector<std::int64_t> identify(
        const std::vector<FaceBounds>& faces, std::chrono::nanoseconds captureTime);

private:
    struct Track {
        std::int64_t identifier;
        FaceBounds bounds; ///< the last known position
        std::chrono::nanoseconds seen;
    };

    std::vector<Track> tracks_;
    std::int64_t lastIdentifier_ = 0;
};

} // namespace tamsel::host
