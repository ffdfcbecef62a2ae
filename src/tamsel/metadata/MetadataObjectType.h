#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

namespace tamsel {

/// The kinds of metadata that can be detected: nine one-dimensional codes, four two-dimensional ones, and faces.
/// A kind's raw value is the platform's identifier for it, so both convert into each other as text.
class MetadataObjectType {
public:
    enum Case : std::uint8_t {
        code39,
        code39Mod43,
        code93,
        code128,
        ean8,
        ean13,
        interleaved2of5,
        itf14,
        upce,
        aztec,
        dataMatrix,
        pdf417,
        qr,
        face,
    };

    constexpr MetadataObjectType(Case value) : value_(value) { } // NOLINT: a case is a value of this type

    /// Absent unless the text equals a raw value byte for byte.
    [[nodiscard]] static std::optional<MetadataObjectType> fromRawValue(std::string_view rawValue);

    [[nodiscard]] std::string_view rawValue() const;

    constexpr operator Case() const { return value_; } // NOLINT: usable in a switch

private:
    Case value_;
};

/// The nine one-dimensional kinds, in declaration order.
[[nodiscard]] std::vector<MetadataObjectType> all1DBarcodes();
/// The four two-dimensional kinds, in declaration order.
[[nodiscard]] std::vector<MetadataObjectType> all2DBarcodes();
/// The one-dimensional kinds, then the two-dimensional ones. Faces are not included.
[[nodiscard]] std::vector<MetadataObjectType> allBarcodes();

} // namespace tamsel

template <> struct std::hash<tamsel::MetadataObjectType> {
    std::size_t operator()(tamsel::MetadataObjectType type) const noexcept
    {
        return std::hash<std::string_view>{}(type.rawValue());
    }
};
