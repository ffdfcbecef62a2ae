#pragma once

#include "Media.h"

#include <tamsel/platform/CVPixelBuffer.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace tamsel::tests {

/// A picture of four patches, red and green above blue and white, as the ffmpeg command writes it with these filters and
/// options. Its right half goes on up to `rowPixels`, as in memory with padded rows.
[[nodiscard]] inline std::vector<std::uint8_t> patchPicture(
    int width, int height, int rowPixels, const std::string& filters, const std::string& options)
{
    const auto patch = [](const char* colour, int wide, int high) {
        return "color=" + std::string(colour) + ":s=" + std::to_string(wide) + "x" + std::to_string(high)
            + ",format=gbrp";
    };
    const int left = width / 2;
    const int top = height / 2;
    const ScratchFolder folder;
    if (!makeVideo("-f lavfi -i \"" + patch("red", left, top) + "[a];" + patch("lime", rowPixels - left, top)
                + "[b];" + patch("blue", left, height - top) + "[c];"
                + patch("white", rowPixels - left, height - top)
                + "[d];[a][b]hstack[e];[c][d]hstack[f];[e][f]vstack," + filters + "\" -frames:v 1 " + options,
            folder.file("picture")))
        return {};
    const std::string bytes = readFile(folder.file("picture"));
    return {bytes.begin(), bytes.end()};
}

/// Compressed, with as many samples of colour as this pixel format of ffmpeg has.
[[nodiscard]] inline std::vector<std::uint8_t> patchJpeg(
    int width, int height, const std::string& format = "yuvj420p")
{
    // Cut to its size at the end, or the last samples of colour would be mixed with nothing.
    return patchPicture(width, height, width + 1,
        "scale=out_color_matrix=bt601:out_range=pc,format=" + format + ",crop=" + std::to_string(width) + ":"
            + std::to_string(height) + ":0:0:exact=1",
        "-c:v mjpeg -q:v 1 -f mjpeg");
}

/// Empty, or what is wrong with the middles of the patches and the last pixels, of which no value is off by more than 3.
[[nodiscard]] inline std::string patchFault(const platform::CVPixelBuffer& buffer)
{
    constexpr int patches[2][2][3] = {{{0, 0, 255}, {0, 255, 0}}, {{255, 0, 0}, {255, 255, 255}}};
    std::string fault;
    for (const std::size_t y : {buffer.height() / 4, buffer.height() * 3 / 4, buffer.height() - 1}) {
        for (const std::size_t x : {buffer.width() / 4, buffer.width() * 3 / 4, buffer.width() - 1}) {
            for (std::size_t part = 0; part < 4; ++part) {
                const int value = std::to_integer<int>(buffer.pixel(x, y)[part]);
                const int wanted = part == 3
                    ? 255
                    : patches[y < buffer.height() / 2 ? 0 : 1][x < buffer.width() / 2 ? 0 : 1][part];
                if (std::abs(value - wanted) > (part == 3 ? 0 : 3))
                    fault += "BGRA"[part] + std::string("(") + std::to_string(x) + "," + std::to_string(y)
                        + ")=" + std::to_string(value) + " ";
            }
        }
    }
    return fault;
}

} // namespace tamsel::tests
