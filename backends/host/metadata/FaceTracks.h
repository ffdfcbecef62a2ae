#pragma once

#include <host/metadata/FaceBounds.h>

#include <chrono>
#include <cstdint>
#include <vector>

namespace tamsel::host {

/// Recognises the faces of one look at a stream in the next one, by their places. Not thread-safe.
class FaceTracks {
public:
    /// An identifier for each of the faces, from 1. A face keeps it as long as it stays, also when some looks miss it; no two
    /// faces of a stream have the same.
    [[nodiscard]] std::vector<std::int64_t> identify(
        const std::vector<FaceBounds>& faces, std::chrono::nanoseconds captureTime);

private:
    struct Track {
        std::int64_t identifier;
        FaceBounds bounds; ///< where it was seen last
        std::chrono::nanoseconds seen;
    };

    std::vector<Track> tracks_;
    std::int64_t lastIdentifier_ = 0;
};

} // namespace tamsel::host
