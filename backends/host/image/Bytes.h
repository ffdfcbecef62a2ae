#pragma once

#include <formats/fileBytes.h>

#include <cstddef>
#include <cstdint>
#include <optional>

namespace tamsel::host {

using Bytes = formats::ByteView;

/// The unsigned number of `size` bytes, up to 4, at `offset`; absent if the bytes end before. The highest byte is first.
[[nodiscard]] std::optional<std::uint32_t> bigNumber(Bytes bytes, std::size_t offset, std::size_t size);
/// The same; the lowest byte is first.
[[nodiscard]] std::optional<std::uint32_t> littleNumber(Bytes bytes, std::size_t offset, std::size_t size);

/// The part, truncated where the bytes end.
[[nodiscard]] Bytes partOf(Bytes bytes, std::size_t offset, std::size_t size);

} // namespace tamsel::host
