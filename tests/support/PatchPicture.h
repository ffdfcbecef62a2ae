#pragma once

#include <tamsel/platform/CVPixelBuffer.h>

#include <linux/videodev2.h>

#include <cstdint>
#include <string>
#include <vector>

namespace tamsel::tests {

/// A picture of four patches: red, green in its upper half, blue, white in its lower one.
struct PatchColours {
    double red = 0.299; ///< share of red in luma
    double blue = 0.114;
    bool isFull = false;
};

/// As a device lays it out.
[[nodiscard]] std::vector<std::uint8_t> patchPicture(
    const v4l2_pix_format& format, const PatchColours& colours = {});

/// Compressed; the pixels for each sample of colour are 1 or 2.
[[nodiscard]] std::vector<std::uint8_t> patchJpeg(
    int width, int height, int horizontalStep, int verticalStep);

/// Empty, or what is wrong with the middles of the patches, of which no value is off by more than 3.
[[nodiscard]] std::string patchFault(const platform::CVPixelBuffer& buffer);

} // namespace tamsel::tests
