#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tamsel::formats {

/// What a flight recorder records. Kinds up to `microphone` describe the inputs, those up to `line` are of the platform,
/// those up to `setsMetadataDelegate` are calls of the client, and the rest are calls of its delegates.
enum class FlightKind : std::uint8_t {
    camera,
    microphone,
    cameraOpened,
    cameraStarted,
    cameraStopped,
    cameraPresent,
    cameraLost,
    frame,
    visit,
    delivered,
    gated,
    dropped,
    gyroPresent,
    deviceMotionPresent,
    gyro,
    deviceMotion,
    detection,
    code,
    face,
    still,
    movieOpened,
    movieFailed,
    movieFinished,
    microphoneStarted,
    microphoneLost,
    role,
    authorization,
    notification,
    orientation,
    report,
    line,
    create,
    release,
    startSession,
    startAnswered,
    stopCamera,
    pause,
    resume,
    prefersAspectFill,
    metadataDetection,
    startRecording,
    stopRecording,
    captureStill,
    provide,
    startMotion,
    stopMotion,
    setsDelegate,
    setsMotionDelegate,
    setsMetadataDelegate,
    didGetFrame,
    didGetSample,
    didGetVideo,
    didGetError,
    didSuspend,
    didResume,
    didDetectStability,
    didDetectFacingAngle,
    didDetectFace,
    didDetectCodes,
};
inline constexpr std::size_t flightKindCount = static_cast<std::size_t>(FlightKind::didDetectCodes) + 1;

/// A call of a client's operation.
[[nodiscard]] constexpr bool isClientCall(FlightKind kind)
{
    return kind >= FlightKind::create && kind < FlightKind::didGetFrame;
}
/// A call of a delegate.
[[nodiscard]] constexpr bool isDelegateCall(FlightKind kind)
{
    return kind >= FlightKind::didGetFrame;
}

/// How a kind is written: its name, the name of its text, and those of its numbers. Empty names are not used.
struct FlightFormat {
    static constexpr std::size_t numberCount = 9;

    std::string_view name;
    std::string_view text;
    std::array<std::string_view, numberCount> numbers;
};
[[nodiscard]] const FlightFormat& formatOf(FlightKind kind);

/// One event of a recording. Its text and its numbers are those of its format; an absent number is NaN.
struct FlightEvent {
    FlightEvent(FlightKind of, std::chrono::nanoseconds at) : time(at), kind(of) { numbers.fill(absent); }

    static constexpr double absent = __builtin_nan("");

    std::chrono::nanoseconds time; ///< since the recorder's beginning
    FlightKind kind;
    std::string place = {}; ///< the label of the queue, or a thread
    std::string text = {};
    std::array<double, FlightFormat::numberCount> numbers = {};

    [[nodiscard]] double number(std::size_t index) const { return numbers.at(index); }
    [[nodiscard]] bool is(std::size_t index) const { return numbers.at(index) == 1; }
    /// A time or a duration.
    [[nodiscard]] std::chrono::nanoseconds nanoseconds(std::size_t index) const
    {
        return std::chrono::nanoseconds(static_cast<std::int64_t>(numbers.at(index)));
    }
};

} // namespace tamsel::formats
