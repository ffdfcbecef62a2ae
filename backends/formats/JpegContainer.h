#pragma once

#include <formats/ImageContainer.h>

namespace tamsel::formats {

/// JPEG (ITU-T T.81, annex B) with EXIF in an APP1 segment (CIPA DC-008-2019, 4.7). Reads the segments before the first
/// scan and nothing after.
class JpegContainer final : public ImageContainer {
public:
    explicit JpegContainer(ByteView file);

    [[nodiscard]] std::expected<std::vector<Splice>, platform::Error> replaceExif(
        const std::vector<Splice>& changes) const override;

private:
    /// A segment with its marker.
    struct Segment {
        unsigned marker = 0;
        std::size_t begin = 0;
        std::size_t end = 0;
    };

    void readSegment(const Segment& segment);
    void readExif(const Segment& segment);
    void readFrame(const Segment& segment);
    void followPreviews(std::vector<std::byte>& block) const;
    void followPictures(std::size_t exifBegin, std::ptrdiff_t growth, std::vector<Splice>& changes) const;

    std::optional<Segment> exifSegment_;
    std::optional<Segment> picturesSegment_;
    std::size_t newExifPlace_ = 2;
    bool isBeforeExif_ = true; ///< no segment but JFIF so far
};

} // namespace tamsel::formats
