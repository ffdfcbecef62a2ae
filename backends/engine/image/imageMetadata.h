#pragma once

#include <tamsel/platform/CGImageProperties.h>
#include <tamsel/platform/Error.h>

#include <cstddef>
#include <expected>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tamsel::engine {

/// The uniform type identifier of an image file ("public.jpeg", "public.png", "org.webmproject.webp", "public.tiff",
/// "public.heic", "public.avif", "com.compuserve.gif", "com.microsoft.bmp"), from its first bytes; absent for anything
/// else.
[[nodiscard]] std::optional<std::string> imageType(std::span<const std::byte> file);

/// What the file states about its first image: "PixelWidth", "PixelHeight" and "Orientation" where they are known, and
/// the dictionaries "{TIFF}", "{Exif}" and "{GPS}" that have entries. Empty for a format without such properties here.
[[nodiscard]] platform::PropertyDictionary readImageProperties(std::span<const std::byte> file);

/// A JPEG, PNG, WebP or TIFF file anew, with the given properties set over those of its first image. A property that is
/// the file's own already, or that no tag stands for, changes nothing. Everything else stays as it is, byte for byte.
[[nodiscard]] std::expected<std::vector<std::byte>, platform::Error> rewriteImage(
    std::span<const std::byte> file, const platform::PropertyDictionary& properties);

} // namespace tamsel::engine
