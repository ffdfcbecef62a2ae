#pragma once

#include <algorithm>
#include <cmath>
#include <span>

namespace tamsel::host {

/// Brings foreign samples into the range of the engine. What is no number is silence.
inline void limitSamples(std::span<float> samples)
{
    for (float& sample : samples)
        sample = std::isfinite(sample) ? std::clamp(sample, -1.0F, 1.0F) : 0.0F;
}

} // namespace tamsel::host
