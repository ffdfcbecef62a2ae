#pragma once

#include "Environment.h"
#include "Files.h"
#include "options/Options.h"
#include "pictures/ContactSheet.h"
#include "report/Console.h"

#include <tamsel/Mutex.h>
#include <tamsel/facade/OvriSourceManager.h>
#include <tamsel/platform/Clock.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>

namespace tamsel::capture {

/// Checks and claims the pictures that frames are saved to, before threads start. Throws `Unusable`.
void claimFramePictures(FramePictures& pictures, const Inputs& inputs, const GlobalOptions& global);

/// Reports frames as they arrive, and saves the pictures that the options name.
class FrameReport final : public std::enable_shared_from_this<FrameReport> {
public:
    /// Creates the folder for saved frames. Throws `Unusable`.
    FrameReport(FramePictures pictures, Environment& environment, Console& console);

    // On the response queue. Return the index of the frame.
    std::uint64_t add(const OvriCaptureFrameUpdate& frame);
    /// Adds the frame without an event. The contact sheet shows the notes.
    std::uint64_t show(const OvriCaptureFrameUpdate& frame, FrameNotes notes);

    [[nodiscard]] std::uint64_t count() const { return count_; }
    [[nodiscard]] bool hasPicturesUnderWay() const { return picturesUnderWay_ > 0; }

    struct Summary {
        std::size_t width = 0;
        std::size_t height = 0;
        double framesPerSecond = 0; ///< 0 before the second frame
        double mediaTime = 0; ///< of the last frame, in seconds
        std::chrono::nanoseconds delay{}; ///< of the last frame, from its capture to the client
    };
    /// Absent before the first frame.
    [[nodiscard]] std::optional<Summary> summary() const;

    /// Writes the contact sheet. False when that failed, which has been reported.
    bool finishPictures();

private:
    void note(const OvriCaptureFrameUpdate& frame);
    void keep(const OvriCaptureFrameUpdate& frame, std::uint64_t index, FrameNotes notes);
    [[nodiscard]] std::string picturePath(std::uint64_t index) const;

    const FramePictures pictures_;
    platform::Clock& clock_;
    Console& console_;
    /// Pictures are written here, so that a slow disk does not delay the client.
    const std::shared_ptr<platform::DispatchQueue> pictureQueue_;

    std::atomic<std::uint64_t> count_ = 0;
    std::atomic<std::uint64_t> picturesUnderWay_ = 0;

    mutable Mutex guard_;
    Summary last_ TAMSEL_GUARDED_BY(guard_);
    std::optional<std::chrono::nanoseconds> firstFrame_ TAMSEL_GUARDED_BY(guard_);
    std::chrono::nanoseconds lastFrame_ TAMSEL_GUARDED_BY(guard_){};

    ContactSheet sheet_; ///< of the picture queue, until the end
};

} // namespace tamsel::capture
