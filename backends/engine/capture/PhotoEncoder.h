#pragma once

#include <tamsel/platform/CGImageProperties.h>
#include <tamsel/platform/CVPixelBuffer.h>

#include <cstddef>
#include <optional>
#include <vector>

namespace tamsel::engine {

/// Makes the file of a still. Thread-safe.
class PhotoEncoder {
public:
    virtual ~PhotoEncoder() = default;

    /// A file with the stored pixels and the properties; absent when encoding fails.
    [[nodiscard]] virtual std::optional<std::vector<std::byte>> encodePhoto(
        const platform::CVPixelBuffer& pixels, const platform::PropertyDictionary& properties)
        = 0;
};

} // namespace tamsel::engine
