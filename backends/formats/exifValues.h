#pragma once

#include <formats/TiffEditor.h>
#include <formats/exifTags.h>

#include <tamsel/platform/CGImageProperties.h>

#include <optional>

namespace tamsel::formats {

/// The property of an entry of the tag. Absent when it exceeds the block or is invalid: of a type that does not fit,
/// without required digits, or with a number that is not finite.
[[nodiscard]] std::optional<platform::PropertyValue> readValue(
    const ExifTag& tag, const TiffBlock& block, const TiffEntry& entry);

/// The value as `readValue` would return it after it was written, except for the precision of reals; absent when the
/// tag cannot hold it.
[[nodiscard]] std::optional<platform::PropertyValue> valueFor(
    const ExifTag& tag, const platform::PropertyValue& value);

/// Of a value that comes from `valueFor`.
[[nodiscard]] TiffValue encodeValue(
    const ExifTag& tag, const platform::PropertyValue& value, ByteOrder order);

} // namespace tamsel::formats
