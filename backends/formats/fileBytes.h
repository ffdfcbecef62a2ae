#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace tamsel::formats {

/// Bytes without ownership.
using ByteView = std::span<const std::byte>;

/// The order of a number's bytes: lowest or highest first.
enum class ByteOrder : std::uint8_t { little, big };

/// Whether `size` bytes from `at` on are inside.
[[nodiscard]] constexpr bool holds(ByteView bytes, std::size_t at, std::size_t size)
{
    return at <= bytes.size() && size <= bytes.size() - at;
}

/// Whether the bytes from `at` on are these characters.
[[nodiscard]] bool holdsText(ByteView bytes, std::size_t at, std::string_view text);
/// Whether both hold the same bytes.
[[nodiscard]] bool areEqual(ByteView one, ByteView other);

/// The number of two bytes at an offset, which must be inside.
[[nodiscard]] std::uint16_t number16(ByteView bytes, std::size_t at, ByteOrder order);
/// The same of four bytes.
[[nodiscard]] std::uint32_t number32(ByteView bytes, std::size_t at, ByteOrder order);

/// Appends bytes.
void append(std::vector<std::byte>& bytes, ByteView more);
/// Appends characters.
void appendText(std::vector<std::byte>& bytes, std::string_view text);
/// The lowest `size` bytes of a number.
void appendNumber(std::vector<std::byte>& bytes, std::uint64_t number, std::size_t size, ByteOrder order);

/// A change to a file: the replacement of its bytes from `begin` to `end`.
struct Splice {
    std::size_t begin = 0;
    std::size_t end = 0;
    std::vector<std::byte> bytes;
};

/// The file with the changes, which must not overlap; those at the same offset in the given order. Copies every byte
/// once.
[[nodiscard]] std::vector<std::byte> spliced(ByteView file, const std::vector<Splice>& changes);

} // namespace tamsel::formats
