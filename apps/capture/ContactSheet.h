#pragma once

#include "Picture.h"

#include <cstdint>
#include <vector>

namespace tamsel::capture {

/// Collects evenly spaced thumbnails of a session whose length is not known in advance: when it has too many, it
/// keeps every second one and takes half as many from then on.
class ContactSheet {
public:
    void add(const platform::CVPixelBuffer& frame);

    [[nodiscard]] bool isEmpty() const { return thumbnails_.empty(); }

    /// The thumbnails in rows of four.
    [[nodiscard]] Picture compose() const;

private:
    std::vector<Picture> thumbnails_;
    std::uint64_t seen_ = 0;
    std::uint64_t stride_ = 1;
};

} // namespace tamsel::capture
