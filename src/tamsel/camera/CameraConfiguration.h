#pragma once

#include <tamsel/platform/AVCaptureSession.h>
#include <tamsel/platform/Error.h>

#include <cstdint>
#include <expected>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tamsel::platform {
class UIDevice;
}

namespace tamsel {

/// The configuration of a camera session. Immutable: a camera gets another one as a whole.
struct CameraConfiguration {
    /// The position of a camera. Raw values are the cases' names.
    class Position {
    public:
        enum Case : std::uint8_t { front, back, unspecified };

        constexpr Position(Case value) : value_(value) { } // NOLINT: a case is a value of this type

        /// Absent unless the text is exactly "front", "back" or "unspecified".
        [[nodiscard]] static std::optional<Position> fromRawValue(std::string_view rawValue);
        [[nodiscard]] std::string_view rawValue() const;
        /// As one text value, which is the raw value.
        [[nodiscard]] std::string encode() const { return std::string(rawValue()); }
        /// The error is one line with the text and the valid values.
        [[nodiscard]] static std::expected<Position, platform::Error> decode(std::string_view text);
        /// The position that device lookup takes.
        [[nodiscard]] platform::AVCaptureDevicePosition capturePosition() const;

        constexpr operator Case() const { return value_; } // NOLINT: usable in a switch

    private:
        Case value_;
    };

    /// Session quality. `none` selects the high preset; it does not keep the current preset.
    enum class SessionPreset : std::uint8_t { photo, none };

    const Position position;
    const SessionPreset preset;
    const bool videoRecordingEnabled; ///< a movie output and an audio input are prepared

    bool operator==(const CameraConfiguration&) const = default;
};

/// The preset of the platform for a quality.
[[nodiscard]] platform::AVCaptureSessionPreset capturePreset(CameraConfiguration::SessionPreset preset);

/// The device types to search for at a position, in order.
[[nodiscard]] std::vector<platform::AVCaptureDeviceType> deviceTypes(
    CameraConfiguration::Position position, const platform::UIDevice& device);

} // namespace tamsel

template <> struct std::hash<tamsel::CameraConfiguration::Position> {
    std::size_t operator()(tamsel::CameraConfiguration::Position position) const noexcept
    {
        return std::hash<std::string_view>{}(position.rawValue());
    }
};
