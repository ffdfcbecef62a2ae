#pragma once

#include <tamsel/platform/UIImage.h>

#include <cstddef>
#include <cstdint>
#include <expected>
#include <span>
#include <string>
#include <vector>

namespace tamsel::capture {

/// RGB pixels, three bytes each, rows from the top without padding.
struct Picture {
    std::size_t width = 0;
    std::size_t height = 0;
    std::vector<std::uint8_t> rgb;
};

/// The frame, at most `maximumWidth` wide; made smaller by averaging.
[[nodiscard]] Picture makePicture(const platform::CVPixelBuffer& frame, std::size_t maximumWidth);

/// Write a PNG file. The error is one line that names the file.
[[nodiscard]] std::expected<void, std::string> writePng(
    const platform::UIImage& image, const std::string& file);
[[nodiscard]] std::expected<void, std::string> writePng(const Picture& picture, const std::string& file);

} // namespace tamsel::capture
