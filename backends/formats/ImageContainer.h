#pragma once

#include <formats/Orientation.h>
#include <formats/exifProperties.h>
#include <formats/fileBytes.h>
#include <formats/imageMetadata.h>

#include <cstdint>
#include <expected>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tamsel::formats {

/// The size of a picture, as stored.
struct PixelSize {
    std::uint32_t width = 0;
    std::uint32_t height = 0; ///< 0 where the file states it only after the picture
};

/// A picture file and its EXIF. The constructor reads what it can; the object does not own the bytes.
class ImageContainer {
public:
    virtual ~ImageContainer();

    [[nodiscard]] std::optional<PixelSize> size() const { return size_; }
    /// The TIFF structure with the EXIF of the first image; empty if the file has none.
    [[nodiscard]] ByteView exif() const { return exif_; }
    /// That of the picture where the format states it; the one in the EXIF has no meaning then.
    [[nodiscard]] std::optional<Orientation> orientation() const { return orientation_; }
    [[nodiscard]] NewExif newExif() const { return newExif_; }
    /// The reason why the file cannot be rewritten, in one line.
    [[nodiscard]] const std::optional<std::string>& problem() const { return problem_; }

    /// The edits of the file for these changes of its EXIF (of a new one if it has none).
    [[nodiscard]] virtual std::expected<std::vector<Splice>, platform::Error> replaceExif(
        const std::vector<Splice>& changes) const
        = 0;

protected:
    explicit ImageContainer(ByteView file) : file_(file) { }

    /// Records why the file cannot be rewritten; the first reason counts.
    void fail(std::string problem);
    /// The EXIF, or a new one, with the changes.
    [[nodiscard]] std::vector<std::byte> changedExif(const std::vector<Splice>& changes) const;

    ByteView file_;
    std::optional<PixelSize> size_;
    ByteView exif_;
    std::optional<Orientation> orientation_;
    NewExif newExif_ = NewExif::plain;

private:
    std::optional<std::string> problem_;
};

/// Absent for a file whose format has no EXIF that is read and written here.
[[nodiscard]] std::unique_ptr<ImageContainer> openContainer(ByteView file, const Inflate& inflate);

} // namespace tamsel::formats
