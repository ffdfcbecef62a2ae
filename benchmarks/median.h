#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace tamsel {

/// The upper one of two in the middle. There must be values.
inline double median(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::ranges::nth_element(values, middle);
    return *middle;
}

} // namespace tamsel
