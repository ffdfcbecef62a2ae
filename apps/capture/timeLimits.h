#pragma once

#include <chrono>

// How long commands wait.

namespace tamsel::capture {

inline constexpr std::chrono::nanoseconds cameraLimit = std::chrono::seconds(15);
inline constexpr std::chrono::nanoseconds stillLimit = std::chrono::seconds(10);
/// For the answer of the person whether the camera may be used.
inline constexpr std::chrono::nanoseconds permissionLimit = std::chrono::minutes(2);
/// For the desktop to say that it was permitted before.
inline constexpr std::chrono::nanoseconds knownPermissionLimit = std::chrono::milliseconds(300);
/// A camera that is lost fails its still before its loss is reported.
inline constexpr std::chrono::nanoseconds lossLimit = std::chrono::seconds(1);
inline constexpr std::chrono::nanoseconds forEver = std::chrono::hours(24 * 365);
/// For encoding the remaining frames and writing the complete file.
inline constexpr std::chrono::nanoseconds filmLimit = std::chrono::minutes(10);
/// For the file of a session that has failed.
inline constexpr std::chrono::nanoseconds failureLimit = std::chrono::seconds(30);

} // namespace tamsel::capture
