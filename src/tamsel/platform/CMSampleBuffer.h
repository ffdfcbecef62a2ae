#pragma once

#include <tamsel/platform/CVPixelBuffer.h>
#include <tamsel/platform/FrameLedger.h>
#include <tamsel/platform/Geometry.h>

#include <memory>
#include <utility>

namespace tamsel::platform {

/// One frame on its way: its image, its attachments, and its entry in the session's ledger. It belongs to one queue at
/// a time; the objects that it refers to may be shared.
class CMSampleBuffer {
public:
    explicit CMSampleBuffer(std::shared_ptr<CVPixelBuffer> imageBuffer,
        std::shared_ptr<const CameraIntrinsicMatrix> cameraIntrinsicMatrix = nullptr, FrameTicket ticket = {})
        : imageBuffer_(std::move(imageBuffer)),
          cameraIntrinsicMatrix_(std::move(cameraIntrinsicMatrix)),
          ticket_(std::move(ticket))
    {
    }

    /// Absent when the sample has no image.
    [[nodiscard]] const std::shared_ptr<CVPixelBuffer>& imageBuffer() const { return imageBuffer_; }

    /// The attachment kCMSampleBufferAttachmentKey_CameraIntrinsicMatrix; absent when the input does not know it.
    [[nodiscard]] const std::shared_ptr<const CameraIntrinsicMatrix>& cameraIntrinsicMatrix() const
    {
        return cameraIntrinsicMatrix_;
    }

    /// The frame's entry in the ledger.
    [[nodiscard]] const FrameTicket& ticket() const { return ticket_; }
    /// Settles the frame in the ledger.
    void settle(FrameLedger::Outcome outcome) { ticket_.settle(outcome); }

private:
    std::shared_ptr<CVPixelBuffer> imageBuffer_;
    std::shared_ptr<const CameraIntrinsicMatrix> cameraIntrinsicMatrix_;
    FrameTicket ticket_;
};

} // namespace tamsel::platform
