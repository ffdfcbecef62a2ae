#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace tamsel::platform {

class PropertyValue;

/// The properties of a picture: text keys, each with one value, in the order in which the keys were first set.
class PropertyDictionary {
public:
    using Entry = std::pair<std::string, PropertyValue>;

    PropertyDictionary();
    PropertyDictionary(std::initializer_list<Entry> entries);
    PropertyDictionary(const PropertyDictionary&);
    PropertyDictionary(PropertyDictionary&&) noexcept;
    PropertyDictionary& operator=(const PropertyDictionary&);
    PropertyDictionary& operator=(PropertyDictionary&&) noexcept;
    ~PropertyDictionary();

    /// Absent when there is no such key. Valid until the dictionary is changed.
    [[nodiscard]] const PropertyValue* find(std::string_view key) const;
    [[nodiscard]] const std::string* findText(std::string_view key) const;
    [[nodiscard]] const PropertyDictionary* findDictionary(std::string_view key) const;
    /// Replaces the value in place, or adds the key at the end.
    void set(std::string_view key, PropertyValue value);
    /// False when there is no such key.
    bool remove(std::string_view key);

    [[nodiscard]] bool empty() const;
    [[nodiscard]] std::size_t size() const;
    [[nodiscard]] const Entry* begin() const;
    [[nodiscard]] const Entry* end() const;

    /// Equal keys and values in the same order.
    bool operator==(const PropertyDictionary& other) const;

private:
    std::vector<Entry> entries_;
};

/// A value of any kind. Kinds do not convert into each other: an integer is not a real.
class PropertyValue {
public:
    using List = std::vector<PropertyValue>;
    using Bytes = std::vector<std::byte>;
    using Variant = std::variant<std::string, std::int64_t, double, List, Bytes, PropertyDictionary>;

    PropertyValue(std::string text); // NOLINT: a value of one of the kinds is a property value
    PropertyValue(std::string_view text); // NOLINT
    PropertyValue(const char* text); // NOLINT
    PropertyValue(std::int64_t integer); // NOLINT
    template <std::integral Integer>
    PropertyValue(Integer integer) // NOLINT
        : PropertyValue(static_cast<std::int64_t>(integer))
    {
    }
    PropertyValue(double real); // NOLINT
    PropertyValue(List list); // NOLINT
    PropertyValue(Bytes bytes); // NOLINT
    PropertyValue(PropertyDictionary dictionary); // NOLINT
    PropertyValue(const PropertyValue&);
    PropertyValue(PropertyValue&&) noexcept;
    PropertyValue& operator=(const PropertyValue&);
    PropertyValue& operator=(PropertyValue&&) noexcept;
    ~PropertyValue();

    // Absent when the value is of another kind.
    [[nodiscard]] const std::string* text() const { return std::get_if<std::string>(&value_); }
    [[nodiscard]] const std::int64_t* integer() const { return std::get_if<std::int64_t>(&value_); }
    [[nodiscard]] const double* real() const { return std::get_if<double>(&value_); }
    [[nodiscard]] const List* list() const { return std::get_if<List>(&value_); }
    [[nodiscard]] const Bytes* bytes() const { return std::get_if<Bytes>(&value_); }
    [[nodiscard]] const PropertyDictionary* dictionary() const
    {
        return std::get_if<PropertyDictionary>(&value_);
    }
    /// Of an integer or a real.
    [[nodiscard]] std::optional<double> number() const;

    [[nodiscard]] const Variant& value() const { return value_; }

    bool operator==(const PropertyValue& other) const;

private:
    Variant value_;
};

/// The dictionary on one line, for people: `{"{TIFF}": {"Model": "Phone"}}`; bytes are shown as their count.
[[nodiscard]] std::string describe(const PropertyDictionary& dictionary);

// The layout of image properties: facts about the picture and the orientation at the top, and a dictionary for each
// of the directories of EXIF 2.32 (CIPA DC-008), keyed by the names of its tags; those of GPS without the prefix "GPS".

inline constexpr std::string_view kCGImagePropertyPixelWidth = "PixelWidth";
inline constexpr std::string_view kCGImagePropertyPixelHeight = "PixelHeight";
inline constexpr std::string_view kCGImagePropertyOrientation = "Orientation"; ///< 1 to 8

inline constexpr std::string_view kCGImagePropertyTIFFDictionary = "{TIFF}";
inline constexpr std::string_view kCGImagePropertyTIFFOrientation = "Orientation";
inline constexpr std::string_view kCGImagePropertyTIFFMake = "Make";
inline constexpr std::string_view kCGImagePropertyTIFFModel = "Model";
inline constexpr std::string_view kCGImagePropertyTIFFSoftware = "Software";
inline constexpr std::string_view kCGImagePropertyTIFFDateTime = "DateTime";
inline constexpr std::string_view kCGImagePropertyTIFFXResolution = "XResolution";
inline constexpr std::string_view kCGImagePropertyTIFFYResolution = "YResolution";
inline constexpr std::string_view kCGImagePropertyTIFFResolutionUnit = "ResolutionUnit";
inline constexpr std::string_view kCGImagePropertyTIFFYCbCrPositioning = "YCbCrPositioning";

inline constexpr std::string_view kCGImagePropertyExifDictionary = "{Exif}";
inline constexpr std::string_view kCGImagePropertyExifDateTimeOriginal = "DateTimeOriginal";
inline constexpr std::string_view kCGImagePropertyExifDateTimeDigitized = "DateTimeDigitized";
inline constexpr std::string_view kCGImagePropertyExifOffsetTime = "OffsetTime";
inline constexpr std::string_view kCGImagePropertyExifOffsetTimeOriginal = "OffsetTimeOriginal";
inline constexpr std::string_view kCGImagePropertyExifOffsetTimeDigitized = "OffsetTimeDigitized";
inline constexpr std::string_view kCGImagePropertyExifSubsecTime = "SubsecTime";
inline constexpr std::string_view kCGImagePropertyExifSubsecTimeOriginal = "SubsecTimeOriginal";
inline constexpr std::string_view kCGImagePropertyExifSubsecTimeDigitized = "SubsecTimeDigitized";
inline constexpr std::string_view kCGImagePropertyExifColorSpace = "ColorSpace";
inline constexpr std::string_view kCGImagePropertyExifPixelXDimension = "PixelXDimension";
inline constexpr std::string_view kCGImagePropertyExifPixelYDimension = "PixelYDimension";
inline constexpr std::string_view kCGImagePropertyExifFlash = "Flash";

inline constexpr std::string_view kCGImagePropertyGPSDictionary = "{GPS}";
inline constexpr std::string_view kCGImagePropertyGPSDateStamp = "DateStamp";
inline constexpr std::string_view kCGImagePropertyGPSTimeStamp = "TimeStamp";
inline constexpr std::string_view kCGImagePropertyGPSLatitudeRef = "LatitudeRef";
inline constexpr std::string_view kCGImagePropertyGPSLatitude = "Latitude";
inline constexpr std::string_view kCGImagePropertyGPSLongitudeRef = "LongitudeRef";
inline constexpr std::string_view kCGImagePropertyGPSLongitude = "Longitude";
inline constexpr std::string_view kCGImagePropertyGPSDOP = "DOP";
inline constexpr std::string_view kCGImagePropertyGPSAltitudeRef = "AltitudeRef";
inline constexpr std::string_view kCGImagePropertyGPSAltitude = "Altitude";
inline constexpr std::string_view kCGImagePropertyGPSImgDirectionRef = "ImgDirectionRef";
inline constexpr std::string_view kCGImagePropertyGPSImgDirection = "ImgDirection";

} // namespace tamsel::platform
