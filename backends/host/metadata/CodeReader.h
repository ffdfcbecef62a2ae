#pragma once

#include <host/metadata/LinearCodeOutline.h>
#include <host/metadata/LumaPicture.h>
#include <host/metadata/PictureView.h>
#include <host/metadata/Quadrilateral.h>
#include <host/metadata/ZXingReader.h>

#include <tamsel/metadata/MetadataObjectType.h>

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace tamsel::host {

/// A code in a picture. Corners, in pixels, begin at the code's own top left one and continue clockwise, in the code's
/// own orientation.
struct FoundCode {
    MetadataObjectType kind;
    Quadrilateral corners;
    std::optional<std::string> text; ///< UTF-8; absent when the payload is not a text
};

/// Finds the codes of some kinds in pictures: any number of each, rotated by any right angle, mirrored. Not
/// thread-safe.
class CodeReader {
public:
    explicit CodeReader(std::vector<MetadataObjectType> kinds);

    /// All codes, by rows. Paints over pixels of the picture.
    [[nodiscard]] std::vector<FoundCode> read(LumaPicture& picture) const;

private:
    [[nodiscard]] bool wants(MetadataObjectType::Case kind) const;
    /// Absent when codes of this kind were not requested.
    [[nodiscard]] std::optional<MetadataObjectType> kindOf(const CodeRead& read) const;
    [[nodiscard]] std::vector<FoundCode> readMatrixCodes(
        const LumaPicture& picture, PictureArea area, const std::vector<Symbology>& symbologies) const;
    [[nodiscard]] std::vector<FoundCode> readLinearCodes(LumaPicture& picture) const;
    [[nodiscard]] bool isConfirmed(
        const LumaPicture& picture, const LinearCodeOutline& outline, const CodeRead& read) const;
    void lookCloser(const LumaPicture& picture, std::vector<FoundCode>& found) const;
    [[nodiscard]] std::vector<FoundCode> lookAt(
        const LumaPicture& picture, PictureArea area, ViewAngle angle) const;

    const std::vector<MetadataObjectType> kinds_;
    std::vector<Symbology> linear_;
    std::vector<Symbology> matrix_;
    std::vector<Symbology> anywhere_; ///< matrix codes that are found at any position
    std::vector<Symbology> centred_; ///< matrix codes that are only found in the middle of a picture
    std::vector<Symbology> oneSided_; ///< matrix codes that are not, or not always, read when mirrored
};

/// Codes of a view, placed in its picture.
[[nodiscard]] std::vector<FoundCode> seenIn(const PictureView& view, std::vector<FoundCode> codes);
[[nodiscard]] bool isThere(const std::vector<FoundCode>& found, PicturePoint point);
/// A code that overlaps a known one, or is the rest of it, is not new.
void addIfNew(std::vector<FoundCode>& found, FoundCode code);
void addNew(std::vector<FoundCode>& found, std::vector<FoundCode> codes);
void sortByRows(std::vector<FoundCode>& found);

/// Whether the last character is the check character of ISO/IEC 16388, annex A: the sum of all values, modulo 43.
[[nodiscard]] bool hasCode39CheckCharacter(std::string_view text);
/// Whether these are 14 digits of which the last is the check digit of the GS1 General Specifications, section 7.9.
[[nodiscard]] bool isGtin14(std::string_view text);

} // namespace tamsel::host
