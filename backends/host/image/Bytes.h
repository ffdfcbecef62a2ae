#pragma once

#include <formats/fileBytes.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace tamsel::host {

using Bytes = formats::ByteView;

/// The unsigned number of `size` bytes, up to 4, at `offset`; absent where the bytes end before.
[[nodiscard]] std::optional<std::uint32_t> numberAt(
    Bytes bytes, std::size_t offset, std::size_t size, std::endian order);

/// As much of the wanted part as is there.
[[nodiscard]] Bytes partOf(Bytes bytes, std::size_t offset, std::size_t size);

} // namespace tamsel::host
