#include <host/metadata/FaceTracks.h>

#include <algorithm>
#include <cstddef>
#include <tuple>

namespace tamsel::host {

namespace {

constexpr std::chrono::milliseconds grace(500);
/// A face may move by half of its size from one detection to the next.
constexpr double leastOverlap = 0.2;

/// The intersection divided by the union: 0 to 1.
double overlap(const FaceBounds& one, const FaceBounds& other)
{
    const double width
        = std::min(one.left + one.width, other.left + other.width) - std::max(one.left, other.left);
    const double height
        = std::min(one.top + one.height, other.top + other.height) - std::max(one.top, other.top);
    if (width <= 0 || height <= 0)
        return 0;
    return width * height / (one.area() + other.area() - width * height);
}

struct Match {
    double overlap;
    std::size_t face;
    std::size_t track;
};

} // namespace

std::vector<std::int64_t> FaceTracks::identify(
    const std::vector<FaceBounds>& faces, std::chrono::nanoseconds captureTime)
{
    std::erase_if(tracks_, [&](const Track& track) { return captureTime - track.seen > grace; });

    std::vector<Match> matches;
    for (std::size_t face = 0; face < faces.size(); ++face) {
        for (std::size_t track = 0; track < tracks_.size(); ++track) {
            if (const double shared = overlap(faces[face], tracks_[track].bounds); shared >= leastOverlap)
                matches.push_back({shared, face, track});
        }
    }
    std::ranges::sort(
        matches, {}, [](const Match& match) { return std::tuple(-match.overlap, match.face, match.track); });

    std::vector<std::int64_t> identifiers(faces.size());
    std::vector<bool> isTaken(tracks_.size());
    for (const auto& [shared, face, track] : matches) {
        if (identifiers[face] != 0 || isTaken[track])
            continue;
        isTaken[track] = true;
        identifiers[face] = tracks_[track].identifier;
        tracks_[track] = {identifiers[face], faces[face], captureTime};
    }
    for (std::size_t face = 0; face < faces.size(); ++face) {
        if (identifiers[face] == 0) {
            identifiers[face] = ++lastIdentifier_;
            tracks_.push_back({identifiers[face], faces[face], captureTime});
        }
    }
    return identifiers;
}

} // namespace tamsel::host
