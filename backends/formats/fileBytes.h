#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace tamsel::formats {

/// Bytes that somebody else owns.
using ByteView = std::span<const std::byte>;

/// Which byte of a number comes first: the lowest or the highest.
enum class ByteOrder : std::uint8_t { little, big };

/// Whether `size` bytes from `at` on lie inside.
[[nodiscard]] constexpr bool holds(ByteView bytes, std::size_t at, std::size_t size)
{
    return at <= bytes.size() && size <= bytes.size() - at;
}

/// Whether the bytes from `at` on are these characters.
[[nodiscard]] bool holdsText(ByteView bytes, std::size_t at, std::string_view text);
/// Whether both hold the same bytes.
[[nodiscard]] bool areEqual(ByteView one, ByteView other);

/// The number of two bytes at a place, which must lie inside.
[[nodiscard]] std::uint16_t number16(ByteView bytes, std::size_t at, ByteOrder order);
/// The same of four bytes.
[[nodiscard]] std::uint32_t number32(ByteView bytes, std::size_t at, ByteOrder order);

/// Puts bytes at the end.
void append(std::vector<std::byte>& bytes, ByteView more);
/// The same of characters.
void appendText(std::vector<std::byte>& bytes, std::string_view text);
/// The lowest `size` bytes of a number.
void appendNumber(std::vector<std::byte>& bytes, std::uint64_t number, std::size_t size, ByteOrder order);

/// A change to a file: what replaces its bytes from `begin` to `end`.
struct Splice {
    std::size_t begin = 0;
    std::size_t end = 0;
    std::vector<std::byte> bytes;
};

/// The file with the changes, which must not overlap; those at the same place in the order given. Copies every byte
/// once.
[[nodiscard]] std::vector<std::byte> spliced(ByteView file, const std::vector<Splice>& changes);

} // namespace tamsel::formats
