#pragma once

#include <formats/TiffEditor.h>
#include <formats/exifTags.h>

#include <tamsel/platform/CGImageProperties.h>

#include <optional>

namespace tamsel::formats {

/// The property that an entry of the tag states. Absent when it does not lie in the block or is none: of a type that
/// does not fit, without digits where some are due, or with a number that is not finite.
[[nodiscard]] std::optional<platform::PropertyValue> readValue(
    const ExifTag& tag, const TiffBlock& block, const TiffEntry& entry);

/// The value as `readValue` would give it after it was written, but for the precision of reals; absent when the tag
/// cannot take it.
[[nodiscard]] std::optional<platform::PropertyValue> valueFor(
    const ExifTag& tag, const platform::PropertyValue& value);

/// Of a value that comes from `valueFor`.
[[nodiscard]] TiffValue encodeValue(
    const ExifTag& tag, const platform::PropertyValue& value, ByteOrder order);

} // namespace tamsel::formats
