#pragma once

#include "Environment.h"
#include "Waiter.h"
#include "options/Options.h"
#include "report/Console.h"
#include "report/DetectionTeller.h"

#include <tamsel/facade/OvriSourceManager.h>

#include <atomic>
#include <memory>
#include <optional>
#include <vector>

namespace tamsel::capture {

/// Looks for codes and faces in what a camera shows, or in a video that is played once.
class DetectCommand final : public OvriSourceToSession,
                            public OvriMetadataOutputDelegate,
                            public std::enable_shared_from_this<DetectCommand> {
public:
    DetectCommand(const Options& options, Environment& environment);

    [[nodiscard]] ExitStatus run();

    // On the response queue.
    void sourceManagerDidGetFrame(OvriSourceManager& manager, const OvriCaptureFrameUpdate& frame) override;
    void sourceManagerDidGetSourceError(OvriSourceManager& manager, const SourceError& error) override;
    void sourceManagerDidDetect(OvriSourceManager& manager, const OvriMetadataFaceObject& face) override;
    void sourceManagerDidDetect(
        OvriSourceManager& manager, const std::vector<OvriMetadataMachineReadableCodeObject>& codes) override;

private:
    void watch();
    /// What is found from now on is in the frame that came last.
    void beginBatch();
    void finish();
    void writeAnnotated();

    const Options options_;
    Environment& environment_;
    Console console_;
    Waiter waiter_;
    const std::shared_ptr<platform::DispatchQueue> responseQueue_;
    std::shared_ptr<OvriSourceManager> manager_;
    std::atomic<bool> isOver_ = false; ///< the session cannot go on
    std::atomic<bool> hasFound_ = false;

    // Of the response queue.
    DetectionTeller teller_;
    std::uint64_t frames_ = 0;
    std::shared_ptr<const platform::CVBuffer> lastFrame_; ///< where it is to be annotated
    std::shared_ptr<const platform::CVBuffer> foundFrame_;
    std::optional<platform::CGRect> foundFace_; ///< in that frame
    std::vector<DetectedCode> foundCodes_;
};

/// How the stored pixels of a video lie, as its display matrix says; portrait for any other input.
[[nodiscard]] platform::AVCaptureVideoOrientation sensorOrientationOf(const std::string& input);

} // namespace tamsel::capture
