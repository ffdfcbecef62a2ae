#pragma once

#include <host/metadata/FaceBounds.h>
#include <host/metadata/LumaPicture.h>

#include <memory>
#include <vector>

namespace tamsel::host {

struct FoundFace {
    FaceBounds bounds; ///< in the stored picture, and entirely inside of it
    double confidence; ///< a score, not a probability
};

/// Finds faces that look into the camera, the largest first. `quarterTurns`, clockwise, make a picture upright. Not
/// thread-safe.
class FaceFinder {
public:
    FaceFinder(); ///< Returns at once: the detector is made for the first picture.
    ~FaceFinder();
    FaceFinder(const FaceFinder&) = delete;
    FaceFinder& operator=(const FaceFinder&) = delete;

    /// For consecutive frames: faces from about a twelfth of the longer side.
    [[nodiscard]] std::vector<FoundFace> find(const LumaPicture& picture, int quarterTurns);
    /// For a single picture: faces from about 40 pixels, and if there are none, faces in other orientations.
    [[nodiscard]] std::vector<FoundFace> search(const LumaPicture& picture, int quarterTurns);

private:
    class Detector;

    [[nodiscard]] std::vector<FoundFace> look(
        const LumaPicture& picture, int quarterTurns, double workingArea, double leastConfidence);

    std::unique_ptr<Detector> detector_;
};

} // namespace tamsel::host
