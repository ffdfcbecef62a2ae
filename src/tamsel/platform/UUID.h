#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <string>

namespace tamsel::platform {

/// A universally unique identifier.
class UUID {
public:
    /// A new random one: version 4 of RFC 9562. Thread-safe.
    [[nodiscard]] static UUID random();

    /// For example "0E984725-C51C-4BF4-9960-E1C80E27ABA0".
    [[nodiscard]] std::string uuidString() const;

    auto operator<=>(const UUID&) const = default;

private:
    explicit UUID(std::array<std::uint8_t, 16> bytes) : bytes_(bytes) { }

    std::array<std::uint8_t, 16> bytes_;
};

} // namespace tamsel::platform
