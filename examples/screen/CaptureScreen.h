#pragma once

#include <tamsel/tamsel.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

namespace screen {

struct Options {
    std::filesystem::path folder = "."; ///< of the stills and movies
    bool usesFrontCamera = false; ///< at first
    /// The still is taken by itself when they hold at the same time, and again after one of them has changed.
    std::vector<tamsel::CaptureCondition> conditions = {};
    std::vector<tamsel::MetadataObjectType> kinds = tamsel::allBarcodes(); ///< what is looked for
    tamsel::CameraConfiguration::SessionPreset preset = tamsel::CameraConfiguration::SessionPreset::photo;
    tamsel::MotionOptions motion = {};
};

/// A capture screen in a window, until it is destroyed.
class CaptureScreen {
public:
    virtual ~CaptureScreen() = default;
    /// As the key q does: an unfinished movie is completed first, unless it is called again.
    virtual void close() = 0;
};

/// On the main thread; `closed` is called there, once. Throws `std::runtime_error` when there is no display. The platform
/// must outlive the screen.
[[nodiscard]] std::unique_ptr<CaptureScreen> openScreen(
    const Options& options, tamsel::platform::Platform& platform, std::function<void()> closed);

} // namespace screen
