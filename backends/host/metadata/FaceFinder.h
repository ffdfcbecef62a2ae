#pragma once

#include <host/metadata/FaceBounds.h>
#include <host/metadata/LumaPicture.h>

#include <memory>
#include <vector>

namespace tamsel::host {

struct FoundFace {
    FaceBounds bounds; ///< in the picture as it is stored, and nowhere outside of it
    double confidence; ///< grows with it; no probability
};

/// Finds faces that look into the camera, the largest first. `quarterTurns`, clockwise, bring a picture upright.
/// Not thread-safe.
class FaceFinder {
public:
    FaceFinder(); ///< Returns at once: the detector is made for the first picture.
    ~FaceFinder();
    FaceFinder(const FaceFinder&) = delete;
    FaceFinder& operator=(const FaceFinder&) = delete;

    /// For frames that come one after the other: faces from about a twelfth of the longer side.
    [[nodiscard]] std::vector<FoundFace> find(const LumaPicture& picture, int quarterTurns);
    /// For a single picture: faces from about 40 pixels, and if there are none, faces that are turned otherwise.
    [[nodiscard]] std::vector<FoundFace> search(const LumaPicture& picture, int quarterTurns);

private:
    class Detector;

    [[nodiscard]] std::vector<FoundFace> look(
        const LumaPicture& picture, int quarterTurns, double workingArea, double leastConfidence);

    std::unique_ptr<Detector> detector_;
};

} // namespace tamsel::host
