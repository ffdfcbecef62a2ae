#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace tamsel::host {

/// The content of a zlib stream (RFC 1950); absent if it is damaged or larger than the limit.
[[nodiscard]] std::optional<std::vector<std::byte>> inflate(
    std::span<const std::byte> zlib, std::size_t limit);

} // namespace tamsel::host
