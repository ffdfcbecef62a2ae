#pragma once

#include <median.h>

#include <tamsel/platform/CVPixelBuffer.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <random>
#include <vector>

namespace tamsel {

constexpr std::size_t pixels = 12'000'000;

/// Soft gradients and edges under camera noise: the more noise, the larger the file.
inline std::shared_ptr<platform::CVPixelBuffer> gradientsWithNoise(double noiseWidth = 2)
{
    constexpr std::size_t width = 4000;
    constexpr std::size_t height = pixels / width;
    const auto frame = std::make_shared<platform::CVPixelBuffer>(width, height);
    std::mt19937 random(7);
    std::normal_distribution<double> noise(0, noiseWidth);
    for (std::size_t y = 0; y < height; ++y) {
        std::byte* pixel = frame->baseAddress() + y * frame->bytesPerRow();
        for (std::size_t x = 0; x < width; ++x, pixel += 4) {
            const double wave
                = 60 * std::sin(static_cast<double>(x) / 310) * std::cos(static_cast<double>(y) / 230);
            const double edge = (x / 400 + y / 300) % 2 == 0 ? 20 : 0;
            const double grey = 120 + wave + edge + noise(random);
            for (int channel = 0; channel < 3; ++channel)
                pixel[channel]
                    = static_cast<std::byte>(std::clamp(grey + 8 * channel + noise(random), 0., 255.));
            pixel[3] = std::byte{255};
        }
    }
    return frame;
}

} // namespace tamsel
