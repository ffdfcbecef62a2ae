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

/// The frame, scaled down to `maximumWidth` by averaging.
[[nodiscard]] Picture makePicture(const platform::CVPixelBuffer& frame, std::size_t maximumWidth);

/// Refuses the name of a file that is not a kind of picture that can be written. Throws `Unusable`.
void requirePictureEnding(const std::string& file);

// Write a picture as PNG or JPEG, by the extension of the name; PNG by default. The error is one line that names the file.
[[nodiscard]] std::expected<void, std::string> writePicture(
    const platform::UIImage& image, const std::string& file);
[[nodiscard]] std::expected<void, std::string> writePicture(const Picture& picture, const std::string& file);

} // namespace tamsel::capture
