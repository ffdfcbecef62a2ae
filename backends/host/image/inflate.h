#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace tamsel::host {

/// The bytes that a zlib stream (RFC 1950) holds; absent if it is damaged or holds more than the limit.
[[nodiscard]] std::optional<std::vector<std::byte>> inflate(
    std::span<const std::byte> zlib, std::size_t limit);

} // namespace tamsel::host
