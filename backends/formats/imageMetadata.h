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

namespace tamsel::formats {

/// The content of a zlib stream (RFC 1950); absent when it is damaged or larger than the limit. Supplied by back ends
/// that have a library for it.
using Inflate = std::function<std::optional<std::vector<std::byte>>(
    std::span<const std::byte> zlib, std::size_t limit)>;

/// The uniform type identifier of an image file ("public.jpeg", "public.png", "org.webmproject.webp", "public.tiff",
/// "public.heic", "public.avif", "com.compuserve.gif", "com.microsoft.bmp"), from its first bytes; absent for anything
/// else.
[[nodiscard]] std::optional<std::string> imageType(std::span<const std::byte> file);

/// The metadata of the first image: "PixelWidth", "PixelHeight" and "Orientation" if they are known, and the
/// dictionaries "{TIFF}", "{Exif}" and "{GPS}" that have entries. Empty for a format without such properties here.
/// "Orientation" of HEIC and AVIF is the transformation of the picture, not that of the EXIF, which is in "{TIFF}".
/// Inflating is needed for the EXIF of some old PNG files only.
[[nodiscard]] platform::PropertyDictionary readImageProperties(
    std::span<const std::byte> file, const Inflate& inflate = {});

/// A copy of a JPEG, PNG, WebP, TIFF, HEIC or AVIF file, with the given properties set over those of its first image. A property
/// that the file has already, or without a tag, changes nothing. Everything else stays the same, byte for byte;
/// `pictureDataIsEqual` checks this before the file is returned. The error, one line, says why the file cannot be
/// rewritten.
[[nodiscard]] std::expected<std::vector<std::byte>, platform::Error> rewriteImage(
    std::span<const std::byte> file, const platform::PropertyDictionary& properties,
    const Inflate& inflate = {});

/// The same, without the final check.
[[nodiscard]] std::expected<std::vector<std::byte>, platform::Error> rewriteImageUnchecked(
    std::span<const std::byte> file, const platform::PropertyDictionary& properties,
    const Inflate& inflate = {});

} // namespace tamsel::formats
