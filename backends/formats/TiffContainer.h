#pragma once

#include <formats/ImageContainer.h>

namespace tamsel::formats {

/// TIFF 6.0, and the raw formats that are TIFF: the whole file is the structure.
class TiffContainer final : public ImageContainer {
public:
    explicit TiffContainer(ByteView file);

    [[nodiscard]] std::expected<std::vector<Splice>, platform::Error> replaceExif(
        const std::vector<Splice>& changes) const override;
};

} // namespace tamsel::formats
