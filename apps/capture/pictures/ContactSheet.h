#pragma once

#include "pictures/Annotation.h"
#include "pictures/Picture.h"

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace tamsel::capture {

/// The drawing on a thumbnail.
struct FrameNotes {
    std::vector<Finding> findings;
    std::string caption;
};

/// Collects evenly spaced thumbnails of a session of unknown length: when there are too many, it drops every second one and
/// halves the rate.
class ContactSheet {
public:
    /// Call it once for each frame, on one thread. `add` takes the wanted frames and may run on another thread.
    [[nodiscard]] bool wantsNext() { return seen_++ % stride_ == 0; }
    void add(const platform::CVPixelBuffer& frame, const FrameNotes& notes);

    [[nodiscard]] bool isEmpty() const { return thumbnails_.empty(); }

    /// The thumbnails in rows of four.
    [[nodiscard]] Picture compose() const;

private:
    std::vector<Picture> thumbnails_;
    std::uint64_t seen_ = 0;
    std::atomic<std::uint64_t> stride_ = 1;
};

} // namespace tamsel::capture
