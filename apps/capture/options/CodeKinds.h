#pragma once

#include <tamsel/metadata/MetadataObjectType.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <utility>

namespace tamsel::capture {

using CodeKind = std::pair<std::string_view, MetadataObjectType>;

/// The kinds of codes as a person names them.
inline constexpr std::array<CodeKind, 13> codeKinds{{
    {"code39", MetadataObjectType::code39},
    {"code39Mod43", MetadataObjectType::code39Mod43},
    {"code93", MetadataObjectType::code93},
    {"code128", MetadataObjectType::code128},
    {"ean8", MetadataObjectType::ean8},
    {"ean13", MetadataObjectType::ean13},
    {"interleaved2of5", MetadataObjectType::interleaved2of5},
    {"itf14", MetadataObjectType::itf14},
    {"upce", MetadataObjectType::upce},
    {"aztec", MetadataObjectType::aztec},
    {"dataMatrix", MetadataObjectType::dataMatrix},
    {"pdf417", MetadataObjectType::pdf417},
    {"qr", MetadataObjectType::qr},
}};

/// Absent when it is not a kind of code.
[[nodiscard]] inline std::optional<std::string_view> nameOf(std::optional<MetadataObjectType> kind)
{
    const auto* found = std::ranges::find_if(
        codeKinds, [&](const CodeKind& entry) { return kind && entry.second == *kind; });
    return found == codeKinds.end() ? std::nullopt : std::optional(found->first);
}

} // namespace tamsel::capture
